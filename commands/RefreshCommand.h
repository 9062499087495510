#pragma once

#include "commands/Command.h"

namespace moxsupply {

// `moxsupply refresh`: has print queues report the levels of their printers now.
Command refreshCommand();

}  // namespace moxsupply
