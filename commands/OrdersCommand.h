#pragma once

#include "commands/Command.h"

namespace moxsupply {

// `moxsupply orders`: which cartridges to buy so that no printer runs out.
Command ordersCommand();

}  // namespace moxsupply
