#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>

#include "npa/BigEndianReader.h"
#include "npa/Packet.h"

namespace moxsupply {

// So many replies to a request are looked at.
constexpr int kMostAttempts = 4;
// A reply is stored in a buffer of this size; what comes beyond it is read and dropped.
constexpr std::size_t kReplyBufferSize = 4096;
// A reply of fewer bytes is none.
constexpr std::size_t kShortestReply = 6;
// An answer of fewer bytes is not decoded.
constexpr std::size_t kShortestAnswer = 8;
// A packet behind the first has one byte more than its start, length and flags; nobody looks at it.
constexpr std::size_t kLaterHeadSize = 5;
// Of an answer to a laser query, so much payload is taken.
constexpr std::size_t kPayloadBufferSize = 4096;

// The first three body bytes of a request. Bytes 4, 5 and 6 of the answer to it repeat them.
using Echo = std::array<std::uint8_t, 3>;
constexpr std::size_t kEchoAt = 4;

// Whether the reply buffer is set to zero before each attempt. Where it is kept, a reply that
// brings less than a head leaves the rest of the one before it in place, and is judged by that.
enum class BufferBetweenAttempts : bool { kKept, kCleared };

// How the answer to a request begins, and where its payload is. A byte that may be any is none.
struct AnswerKind {
  Echo echo;
  std::optional<std::uint8_t> byte7;       // judged once the reply was taken for the answer
  std::size_t headSize;                    // of the first packet: its payload begins here
  std::size_t positionWrap;                // later packets are read at their positions modulo this
  std::optional<std::uint8_t> laterStart;  // what a later packet must begin with
  std::optional<std::uint8_t> lastFlags;   // what the flags of a last packet must be
  BufferBetweenAttempts buffer;
};

constexpr auto kAny = std::nullopt;
constexpr auto kNoWrap = std::numeric_limits<std::size_t>::max();

// To the inkjet query: the items.
constexpr AnswerKind kInkjetAnswer = {
    {0xE0, 0x81, 0x00}, 0xFF, 8, kNoWrap, kPacketStart, 0x50, BufferBetweenAttempts::kKept};

// To the device query: the supplies table.
constexpr AnswerKind kDeviceAnswer = {{0xE0, 0x21, 0x01},          0x00, 8, 65'536, kAny, kAny,
                                      BufferBetweenAttempts::kKept};

// To the supplies query: the model-family record. A later packet at position 256 or beyond is read
// at its position modulo 256: its decoder keeps the position in 8 bits, and that is part of what it
// returns.
constexpr AnswerKind kSuppliesAnswer = {
    {0xE0, 0x07, 0x02}, kAny, 7, 256, kAny, kAny, BufferBetweenAttempts::kCleared};

// Whether `reply` begins as the answer to the request.
inline bool answers(std::span<const std::uint8_t> reply, const AnswerKind& kind) noexcept {
  const BigEndianReader in(reply);
  return in.u8(0) == kPacketStart &&
         std::ranges::equal(in.bytesAsFarAsTheyGo(kEchoAt, kind.echo.size()), kind.echo);
}

}  // namespace moxsupply
