#pragma once

#include "commands/Command.h"

namespace moxsupply {

// `moxsupply report`: one query inside a filter pipeline.
Command reportCommand();

}  // namespace moxsupply
