#pragma once

#include "commands/Command.h"

namespace moxsupply {

// `moxsupply simulate`: a printer on TCP, which may run a command against itself.
Command simulateCommand();

}  // namespace moxsupply
