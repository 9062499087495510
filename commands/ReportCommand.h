#pragma once

#include "commands/Command.h"

namespace moxsupply {

// `moxsupply report`: one query inside a filter pipeline.
void addReportCommand(CLI::App& app, RunCommand& run);

}  // namespace moxsupply
