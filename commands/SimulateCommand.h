#pragma once

#include <optional>
#include <string>
#include <vector>

#include "commands/Command.h"

namespace moxsupply {

// A command and its arguments.
using CommandLine = std::optional<std::vector<std::string>>;

// Takes "--" and the command behind it from the arguments of `moxsupply simulate`. CLI11 would take
// some of it for its own: it reads an argument "[a,b]" as two.
CommandLine takeCommandBesides(int& argc, const char* const* argv);

// `moxsupply simulate`: a printer on TCP, which may run `besides` against itself.
void addSimulateCommand(CLI::App& app, RunCommand& run, const CommandLine& besides);

}  // namespace moxsupply
