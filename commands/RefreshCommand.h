#pragma once

#include "commands/Command.h"

namespace moxsupply {

// `moxsupply refresh`: has print queues report the levels of their printers now.
void addRefreshCommand(CLI::App& app, RunCommand& run);

}  // namespace moxsupply
