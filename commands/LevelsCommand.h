#pragma once

#include <functional>
#include <string>
#include <vector>

#include "commands/Command.h"
#include "commands/PrinterOptions.h"
#include "links/SupplyRequest.h"
#include "text/Written.h"

namespace moxsupply {

// What `levels --format openmetrics` runs, which not every program can do itself. Returns the exit
// status.
using LevelsAsMetrics = std::function<int(const PrinterOptions& options)>;

// `moxsupply levels`: asks a printer directly and shows its supplies.
Command levelsCommand(LevelsAsMetrics asMetrics);

// How another program runs it, `program` being the path of moxsupply, to get a report as JSON by
// the deadline, in seconds, of the printer whose device URI it has in its environment as
// DEVICE_URI.
CommandLine levelsForPrograms(const std::string& program, std::optional<PrinterKind> kind,
                              std::uint32_t deadline);

// What it would write, of a printer that this process asks as `request` says. Others see to the
// deadline.
[[nodiscard]] Written levelsForPrograms(SupplyRequest request);

}  // namespace moxsupply
