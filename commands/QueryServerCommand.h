#pragma once

#include "commands/Command.h"

namespace moxsupply {

// What the exporter starts to ask printers on the network: a command of moxsupply-monitoring that
// people do not see. It stays, and forks a process for each query that comes over its standard
// input (ForkServer, ConnectedQuery), which is confined before it hears anything of a printer.
[[nodiscard]] Command queryServerCommand();

// How it is started. `program`: moxsupply-monitoring.
[[nodiscard]] CommandLine queryServerForPrograms(const std::string& program);

}  // namespace moxsupply
