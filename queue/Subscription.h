#pragma once

#include <cstdint>

#include "queue/PrintServer.h"
#include "text/Problem.h"

namespace moxsupply {

// The print server tells our notifier of ended jobs because of a subscription: one for all its
// queues, since there can be a hundred in all, that does not end and survives a restart.

// The notifier's program in the print server's folder of notifiers.
constexpr const char* kNotifier = "moxsupply";

enum class Subscription : std::uint8_t {
  kMissing,
  kThere,
  kHidden,  // there are some, and whose notifiers they start is kept from this user
};
[[nodiscard]] Result<Subscription> subscription(PrintServer& server);

// Makes the subscription where it is missing. Takes the notifier to be installed.
[[nodiscard]] Result<> subscribe(PrintServer& server);

// Takes it away where it is there.
[[nodiscard]] Result<> unsubscribe(PrintServer& server);

// Does the one of both that the enabled queues want: whether any is to be asked after print jobs.
[[nodiscard]] Result<> subscribeAsEnabled(PrintServer& server);

}  // namespace moxsupply
