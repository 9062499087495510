#pragma once

#include "commands/Command.h"

namespace moxsupply {

// `moxsupply decode`: shows a transcript as a person wants to read it.
Command decodeCommand();

}  // namespace moxsupply
