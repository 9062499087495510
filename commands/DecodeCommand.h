#pragma once

#include "commands/Command.h"

namespace moxsupply {

// `moxsupply decode`: shows a transcript as a person wants to read it.
void addDecodeCommand(CLI::App& app, RunCommand& run);

}  // namespace moxsupply
