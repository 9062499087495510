#pragma once

#include "commands/Command.h"

namespace moxsupply {

// `moxsupply disable`: takes the command filter from a print queue again.
Command disableCommand();

}  // namespace moxsupply
