#include "queue/Subscription.h"

#include <algorithm>
#include <string>
#include <vector>

#include "queue/EnabledQueues.h"

namespace moxsupply {

namespace {

const std::string& recipient() {
  static const std::string kRecipient = std::string(kNotifier) + ':';
  return kRecipient;
}

bool isOurs(const PrintSubscription& subscription) { return subscription.recipient == recipient(); }

// Takes ours away, but for the first `kept`.
Result<> cancelOurs(PrintServer& server, std::ptrdiff_t kept) {
  auto all = server.subscriptions();
  if (!all) return tl::unexpected(std::move(all).error());
  std::erase_if(*all, [](const PrintSubscription& one) { return !isOurs(one); });
  std::ranges::sort(*all, {}, &PrintSubscription::id);
  for (; std::ssize(*all) > kept; all->pop_back()) {
    if (auto cancelled = server.cancelSubscription(all->back().id); !cancelled) return cancelled;
  }
  return {};
}

}  // namespace

Result<Subscription> subscription(PrintServer& server) {
  const auto all = server.subscriptions();
  if (!all) return tl::unexpected(all.error());
  if (std::ranges::any_of(*all, isOurs)) return Subscription::kThere;
  const bool isHidden =
      std::ranges::any_of(*all, [](const auto& one) { return one.recipient.empty(); });
  return isHidden ? Subscription::kHidden : Subscription::kMissing;
}

Result<> subscribe(PrintServer& server) {
  const auto found = subscription(server);
  if (!found) return tl::unexpected(found.error());
  if (*found == Subscription::kThere) return {};
  if (auto made = server.subscribeToEndsOfJobs(recipient()); !made) return made;
  return cancelOurs(server, 1);  // somebody may have done the same meanwhile
}

Result<> unsubscribe(PrintServer& server) { return cancelOurs(server, 0); }

Result<> subscribeAsEnabled(PrintServer& server) {
  const auto queues = enabledQueues();
  if (!queues) return tl::unexpected(queues.error());
  const bool isWanted =
      std::ranges::any_of(*queues, [](const auto& queue) { return queue.second.afterJobs; });
  return isWanted ? subscribe(server) : unsubscribe(server);
}

}  // namespace moxsupply
