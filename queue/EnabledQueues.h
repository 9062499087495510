#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "supplies/Attention.h"
#include "supplies/Supply.h"
#include "text/Problem.h"

namespace moxsupply {

// How `moxsupply enable` was told to set a queue up.
struct EnabledQueue {
  PrinterKind kind = PrinterKind::kLaser;
  int low = kLowLevel;    // percent, from which on downwards a supply is low
  bool afterJobs = true;  // its printer is asked again after print jobs

  friend bool operator==(const EnabledQueue&, const EnabledQueue&) = default;
};

using EnabledQueues = std::map<std::string, EnabledQueue>;  // by the queue's name

// By what a queue's supplies are judged, also those of one that was not enabled.
[[nodiscard]] Measure measureOf(const EnabledQueues& enabled, const std::string& queue);

// What was enabled is remembered in $STATE_DIRECTORY/queues.json, or else in
// /var/lib/moxsupply/queues.json, which everybody may read and root writes: a queue's driver may be
// replaced, and what stood in it with it.

// No queues where there is no such file.
[[nodiscard]] Result<EnabledQueues> enabledQueues();

// Changes what is remembered, one process after the other. A file that cannot be read is left as it
// is, and so is one that the change does not change.
[[nodiscard]] Result<> changeEnabledQueues(const std::function<void(EnabledQueues&)>& change);

}  // namespace moxsupply
