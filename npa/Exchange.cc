#include "npa/Exchange.h"

#include <algorithm>

#include "npa/BigEndianReader.h"
#include "npa/Packet.h"

namespace moxsupply {

bool answers(std::span<const std::uint8_t> reply, const Echo& echo) noexcept {
  const BigEndianReader in(reply);
  return in.u8(0) == kPacketStart &&
         std::ranges::equal(in.bytesAsFarAsTheyGo(4, echo.size()), echo);
}

Status awaitAnswer(const MoxNPAUtilityCommand& npa, const Echo& echo, std::uint32_t timeout,
                   BufferBetweenAttempts buffer, std::span<std::uint8_t, kReplyBufferSize> reply,
                   std::uint32_t& length) noexcept {
  constexpr int kMostAttempts = 4;
  for (int attempt = 1; attempt <= kMostAttempts; ++attempt) {
    if (buffer == BufferBetweenAttempts::kCleared) std::ranges::fill(reply, std::uint8_t{0});
    const Status status = npa.getNPAReply(reply, length, timeout);
    if (answers(reply, echo)) return status;
  }
  return Status::kNothingReceived;
}

}  // namespace moxsupply
