#pragma once

#include "commands/PrinterOptions.h"

namespace moxsupply {

// `moxsupply levels PRINTER --format openmetrics`: asks the printer and writes what came of it as
// metrics, also when it gave nothing. Returns the exit status.
int levelsAsMetrics(const PrinterOptions& options);

}  // namespace moxsupply
