#pragma once

#include "front/MoxFilter.h"
#include "links/Recording.h"
#include "supplies/Report.h"
#include "system/Apart.h"
#include "text/Problem.h"

namespace moxsupply {

// What came of asking a printer.
struct ConfinedAnswer {
  Report report = {moxsupply::Status::kNothingReceived, {}};
  Result<> transcript = {};   // whether it is whole, or why not
  std::string notAsked = {};  // why the printer could not be asked; empty where it was
};

// Asks the printer that is on this process's standard output and back channel, as askAsFilter does,
// but in a process of its own, which cannot speak to the print server, and do nothing else either
// (Confinement). One that is not done by `end` has received nothing; one that cannot begin, or
// dies, has not asked. This process must have one thread only.
[[nodiscard]] ConfinedAnswer askConfined(MoxFilter& filter, Recording* recording,
                                         Apart::Clock::time_point end);

}  // namespace moxsupply
