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

Result<OpenQueue> openQueue(const std::string& name);

// Why nothing can be done with a raw queue.
Problem queueIsRaw(const std::string& name);

// Why the supplies of a queue cannot be had; nothing when its printer can be asked by a command
// file.
std::optional<Problem> whyNoCommands(const OpenQueue& open);

}  // namespace moxsupply
