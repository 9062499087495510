#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "npa/MoxNPAUtilityCommand.h"
#include "values/Status.h"

namespace moxsupply {

// A reply is stored in a buffer of this size; what comes beyond it is read and dropped.
constexpr std::size_t kReplyBufferSize = 4096;

// The first three body bytes of a request. Bytes 4, 5 and 6 of the reply to it repeat them.
using Echo = std::array<std::uint8_t, 3>;

// Whether `reply` begins as the answer to the request.
bool answers(std::span<const std::uint8_t> reply, const Echo& echo) noexcept;

// Whether the buffer is set to zero before each attempt. Where it is kept, a reply that brings less
// than a head leaves the rest of the one before it in place, and is judged by that.
enum class BufferBetweenAttempts : bool { kKept, kCleared };

// Reads up to four replies, each into `reply`, until one is the answer. The request is not sent
// again. Blocks; `timeout` is for each single read, in seconds.
//   kSuccess          the answer is in `reply`, `length` bytes of it
//   kReadError        the answer broke off within its first 6 bytes
//   kNothingReceived  none of the four was the answer
Status awaitAnswer(const MoxNPAUtilityCommand& npa, const Echo& echo, std::uint32_t timeout,
                   BufferBetweenAttempts buffer, std::span<std::uint8_t, kReplyBufferSize> reply,
                   std::uint32_t& length) noexcept;

}  // namespace moxsupply
