#pragma once

#include <string>
#include <vector>

#include "queue/OpenQueue.h"
#include "queue/QueueChecks.h"

namespace moxsupply {

// Finds out why a queue shows no levels: looks at what the print server says of it, asks its
// printer directly, as both kinds where need be, and then has the queue report. A printer that is
// printing is not asked. `filterFolder`: where the print server has its filters; empty when it runs
// on another machine, from where its printers need not be within reach.
//
// Takes as long as the printer does, but not much longer than three minutes.
std::vector<Finding> diagnose(OpenQueue& open, const std::string& filterFolder);

}  // namespace moxsupply
