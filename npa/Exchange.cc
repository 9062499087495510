#include "npa/Exchange.h"

#include <algorithm>

namespace moxsupply {

Status awaitAnswer(const MoxNPAUtilityCommand& npa, const AnswerKind& kind, std::uint32_t timeout,
                   std::span<std::uint8_t, kReplyBufferSize> reply,
                   std::uint32_t& length) noexcept {
  for (int attempt = 1; attempt <= kMostAttempts; ++attempt) {
    if (kind.buffer == BufferBetweenAttempts::kCleared) std::ranges::fill(reply, std::uint8_t{0});
    const Status status = npa.getNPAReply(reply, length, timeout);
    if (answers(reply, kind)) return status;
  }
  return Status::kNothingReceived;
}

}  // namespace moxsupply
