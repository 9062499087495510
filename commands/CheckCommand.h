#pragma once

#include "commands/Command.h"

namespace moxsupply {

// `moxsupply check`: a plugin for monitoring systems. What it has to say, also of its arguments, is
// one line on standard output, and its exit statuses are theirs.
Command checkCommand();

}  // namespace moxsupply
