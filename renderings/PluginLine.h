#pragma once

#include <string>
#include <string_view>

#include "supplies/Supplies.h"

namespace moxsupply {

// What a monitoring plugin ends with. The numbers are the exit statuses that such a system knows.
enum class PluginState : int { kOk = 0, kWarning = 1, kCritical = 2, kUnknown = 3 };

// Which levels, in percent, are too low.
struct PluginThresholds {
  int warning = 20;
  int critical = 5;              // not above `warning`
  bool judgesFusersToo = false;  // and containers, and all else that is no cartridge
};

struct PluginResult {
  PluginState state;
  std::string line;  // ends with a newline
};

// The supplies as a monitoring plugin tells them: the state, in a sentence what led to it, worst
// first, and behind a bar each level as performance data, in the printer's order.
PluginResult pluginResult(const Supplies& supplies, const PluginThresholds& thresholds);

// The line that says why there is nothing to judge.
PluginResult pluginUnknown(std::string_view why);

}  // namespace moxsupply
