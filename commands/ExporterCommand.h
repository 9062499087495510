#pragma once

#include "commands/Command.h"

namespace moxsupply {

// `moxsupply exporter`: serves the supplies of many printers to Prometheus and to people.
void addExporterCommand(CLI::App& app, RunCommand& run);

}  // namespace moxsupply
