#pragma once

#include "commands/Command.h"

namespace moxsupply {

// `moxsupply forecast`: when cartridges will be empty.
Command forecastCommand();

}  // namespace moxsupply
