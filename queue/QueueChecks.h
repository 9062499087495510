#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "queue/OpenQueue.h"
#include "queue/Refresh.h"
#include "system/ConfinementMeans.h"
#include "text/Problem.h"

namespace moxsupply {

// What a finding means for the people who use the queue; the worst is the last.
enum class Weight : std::uint8_t {
  kGood,
  kCostly,      // levels come, and something else suffers
  kNoLevels,    // levels do not come, or are not right
  kNoPrinting,  // jobs do not reach the printer either
};

// One thing that was looked at.
struct Finding {
  Weight weight = Weight::kGood;
  std::string what;          // one line; harmless for a terminal
  std::string advice = {};   // what can be done, in sentences
  std::string command = {};  // what mends it, as it is typed, where that is no command of ours
  Remedy remedy = {};        // where it is

  [[nodiscard]] bool isGood() const { return weight == Weight::kGood; }
};

// What the queue and its PPD file say, in the order in which it matters. Whatever is wrong here
// keeps levels from coming.
std::vector<Finding> checkQueue(const OpenQueue& open);

// Whether the queue prints what it gets.
Finding checkService(const PrintQueue& queue);

// Whether the print server runs the command filter in `folder`: it takes only programs, and folders
// of programs, that belong to root and that nobody else may write.
Finding checkFilterProgram(const std::string& folder);

// Whether what a printer sends is decoded by a process that can do nothing else; nothing where it
// is.
std::optional<Finding> checkKernel(const ConfinementMeans& means);

// What one report of the queue shows, once all the rest is right.
Finding checkReport(const Result<Refreshed>& report);

// A sentence that the levels which the queue shows are old; empty when it shows none.
std::string remarkOnOldLevels(const PrintQueue& queue);

}  // namespace moxsupply
