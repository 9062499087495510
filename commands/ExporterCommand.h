#pragma once

#include "commands/Command.h"

namespace moxsupply {

// `moxsupply exporter`: serves the supplies of many printers over HTTP.
Command exporterCommand();

}  // namespace moxsupply
