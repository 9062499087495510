#pragma once

#include <string_view>

#include "commands/Command.h"

namespace moxsupply {

// `moxsupply check`: a plugin for monitoring systems. What it has to say is one line on standard
// output, and its exit statuses are theirs.
void addCheckCommand(CLI::App& app, RunCommand& run);

// Says in that way that nothing could be judged. Returns the exit status.
int complainOfCheck(std::string_view why);

}  // namespace moxsupply
