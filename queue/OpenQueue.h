#pragma once

#include <string>
#include <string_view>

#include "queue/PrintServer.h"
#include "text/Problem.h"

namespace moxsupply {

// A command of the print server's administrator as it is typed: its programs are not in everybody's
// path. `command`: with {} for the queue's name, which is any text.
[[nodiscard]] std::string asAdministrator(std::string_view command, const std::string& queue);

// A queue by its name, with the connection to its print server.
struct OpenQueue {
  PrintServer server;
  PrintQueue queue;
  std::string ppd;  // its PPD file; empty for a raw queue
};

[[nodiscard]] Result<OpenQueue> openQueue(const std::string& name);

// That a name is no queue's, but that of a printer which was found on the network, at `uri`.
[[nodiscard]] Problem foundOnTheNetwork(const std::string& name, const std::string& uri);

// The command that gives the queue a driver which passes its data on unchanged. `type`: "laser" or
// "inkjet".
[[nodiscard]] std::string passThroughCommand(const std::string& queue, std::string_view type);

// Whether the queue has a driver, or why nothing can be done with it: it is a raw queue.
[[nodiscard]] Result<> hasDriver(const OpenQueue& open);

// Whether its printer can be asked by a command file, or why the supplies of the queue cannot be
// had.
[[nodiscard]] Result<> takesReportLevels(const OpenQueue& open);

}  // namespace moxsupply
