#pragma once

#include <functional>

#include "commands/Command.h"
#include "commands/SupplyQuery.h"

namespace moxsupply {

// What `levels --format openmetrics` runs, which not every program can do itself. Returns the exit
// status.
using LevelsAsMetrics = std::function<int(const SupplyQueryOptions& options)>;

// `moxsupply levels`: asks a printer directly and shows its supplies.
void addLevelsCommand(CLI::App& app, RunCommand& run, const LevelsAsMetrics& asMetrics);

}  // namespace moxsupply
