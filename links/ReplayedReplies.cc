#include "links/ReplayedReplies.h"

#include <utility>

#include "links/ReplayedLink.h"
#include "npa/MoxNPAUtilityCommand.h"
#include "transcript/ReplayPace.h"

namespace moxsupply {

namespace {

constexpr int kMostAttempts = 4;
constexpr std::size_t kMostBytes = 4096;  // are kept of a reply

}  // namespace

std::vector<Reply> replayedReplies(
    const transcript::Session& answers,
    const std::function<bool(std::span<const std::uint8_t>)>& isAnswer) {
  const ReplayedLink link(answers);
  const std::uint32_t timeout = transcript::ReplayPace(answers).timeout();
  const MoxNPAUtilityCommand npa;
  std::vector<Reply> replies;
  for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
    Reply reply(kMostBytes);
    std::uint32_t length = 0;
    if (npa.getNPAReply(reply, length, timeout) != Status::kSuccess) length = 0;
    reply.resize(length);
    const bool isLast = length > 0 && isAnswer(reply);
    replies.push_back(std::move(reply));
    if (isLast) break;
  }
  return replies;
}

}  // namespace moxsupply
