#pragma once

#include "host/Command.h"

namespace moxsupply {

// `moxsupply levels`: asks a printer directly and shows its supplies.
void addLevelsCommand(CLI::App& app, RunCommand& run);

}  // namespace moxsupply
