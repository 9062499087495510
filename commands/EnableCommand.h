#pragma once

#include "commands/Command.h"

namespace moxsupply {

// `moxsupply enable`: puts the command filter on a print queue.
void addEnableCommand(CLI::App& app, RunCommand& run);

}  // namespace moxsupply
