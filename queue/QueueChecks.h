#pragma once

#include <string>
#include <vector>

#include "queue/OpenQueue.h"
#include "queue/Refresh.h"
#include "text/Problem.h"

namespace moxsupply {

// One thing that was looked at.
struct Finding {
  bool isGood = true;
  std::string what;    // one line; harmless for a terminal
  std::string advice;  // what mends it, where that is no command of ours
  Remedy remedy;       // where it is
};

// What the queue and its PPD file say, in the order in which it matters. Whatever is wrong here
// keeps levels from coming.
std::vector<Finding> checkQueue(const OpenQueue& open);

// Whether the print server runs the command filter in `folder`: it takes only programs, and folders
// of programs, that belong to root and that nobody else may write.
Finding checkFilterProgram(const std::string& folder);

// What one report of the queue shows, once all the rest is right.
Finding checkReport(const Result<Refreshed>& report);

}  // namespace moxsupply
