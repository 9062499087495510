#pragma once

#include <cstdint>
#include <span>

#include "npa/Answers.h"
#include "npa/MoxNPAUtilityCommand.h"
#include "values/Status.h"

namespace moxsupply {

// Reads up to four replies, each into `reply`, until one is the answer. The request is not sent
// again. Blocks; `timeout` is for each single read, in seconds.
//   kSuccess          the answer is in `reply`, `length` bytes of it
//   kReadError        the answer broke off within its first 6 bytes
//   kNothingReceived  none of the four was the answer
Status awaitAnswer(const MoxNPAUtilityCommand& npa, const AnswerKind& kind, std::uint32_t timeout,
                   std::span<std::uint8_t, kReplyBufferSize> reply, std::uint32_t& length) noexcept;

}  // namespace moxsupply
