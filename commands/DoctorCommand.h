#pragma once

#include "commands/Command.h"

namespace moxsupply {

// `moxsupply doctor`: finds out why a print queue shows no levels.
Command doctorCommand();

}  // namespace moxsupply
