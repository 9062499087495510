#pragma once

#include "commands/Command.h"

namespace moxsupply {

// `moxsupply queues`: what the print server knows of all queues' supplies.
Command queuesCommand();

}  // namespace moxsupply
