#pragma once

#include <string>

#include "queue/PrintServer.h"
#include "text/Problem.h"

namespace moxsupply {

// A queue by its name, with the connection to its print server.
struct OpenQueue {
  PrintServer server;
  PrintQueue queue;
  std::string ppd;  // its PPD file; empty for a raw queue
};

[[nodiscard]] Result<OpenQueue> openQueue(const std::string& name);

// Whether the queue has a driver, or why nothing can be done with it: it is a raw queue.
[[nodiscard]] Result<> hasDriver(const OpenQueue& open);

// Whether its printer can be asked by a command file, or why the supplies of the queue cannot be
// had.
[[nodiscard]] Result<> takesReportLevels(const OpenQueue& open);

}  // namespace moxsupply
