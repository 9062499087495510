#pragma once

#include "commands/Command.h"

namespace moxsupply {

// `moxsupply history`: remembers what printers answered, and tells what befell their cartridges.
Command historyCommand();

}  // namespace moxsupply
