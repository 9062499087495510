#pragma once

#include "commands/Command.h"

namespace moxsupply {

// Becomes the program that knows metrics, with the same arguments: the libraries that only
// monitoring needs would make every start of this one slower. Returns, with the exit status and
// after a word on standard error, only when that program is not there.
int becomeMonitoringProgram(char* const* argv);

// `moxsupply exporter`, which is a command of that program.
Command exporterOfMonitoring(char* const* argv);

}  // namespace moxsupply
