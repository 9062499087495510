#pragma once

#include "commands/Command.h"

namespace moxsupply {

// `moxsupply enable`: puts the command filter on a print queue.
Command enableCommand();

}  // namespace moxsupply
