#include "npa/Payload.h"

#include "npa/BigEndianReader.h"
#include "npa/BoundedWriter.h"
#include "npa/Packet.h"

namespace moxsupply {

namespace {

bool isAsWanted(const PacketHead& head, const AnswerKind& kind) noexcept {
  if (kind.laterStart && head.start != kind.laterStart) return false;
  return head.moreFollow() || !kind.lastFlags || head.flags == kind.lastFlags;
}

}  // namespace

std::optional<std::span<const std::uint8_t>> answerIn(std::span<const std::uint8_t> reply,
                                                      std::uint32_t length,
                                                      const AnswerKind& kind) noexcept {
  const auto bytes = BigEndianReader(reply).bytesAsFarAsTheyGo(0, length);
  if (bytes.size() < kShortestAnswer || !answers(bytes, kind)) return std::nullopt;
  if (kind.byte7 && BigEndianReader(bytes).u8(7) != kind.byte7) return std::nullopt;
  return bytes;
}

std::span<std::uint8_t> joinedPayload(std::span<const std::uint8_t> answer, const AnswerKind& kind,
                                      std::span<std::uint8_t> buffer) noexcept {
  const BigEndianReader in(answer);
  BoundedWriter payload(buffer);
  std::size_t position = 0;
  std::size_t headSize = kind.headSize;
  for (bool goesOn = true; goesOn;) {
    const std::size_t at = position % kind.positionWrap;
    const auto head = PacketHead::read(in, at);
    if (!in.bytes(at, headSize) || !isAsWanted(*head, kind) || head->size() < headSize) break;
    const std::size_t size = head->size() - headSize;
    const auto data = in.bytesAsFarAsTheyGo(at + headSize, size);
    const bool isWhole = payload.append(data) && data.size() == size;
    goesOn = isWhole && head->moreFollow() && answer.size() > payload.size();
    position += head->size();
    headSize = kLaterHeadSize;
  }
  return payload.written();
}

}  // namespace moxsupply
