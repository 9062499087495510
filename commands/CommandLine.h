#pragma once

#include <functional>
#include <span>
#include <string_view>

#include "commands/Command.h"

namespace moxsupply {

// A program of several commands. Each is described only when it is asked for, or when all are: to
// set them all up takes longer than to ask a printer and to decode its answer.
struct Program {
  struct Subcommand {
    std::string_view name;
    std::function<Command()> describe;
  };

  std::string_view about;
  std::string_view footer;
  std::span<const Subcommand> subcommands;
};

// Takes the command line that was given apart and runs its command. Returns the exit status.
int runCommandLine(const Program& program, std::span<const char* const> given);

}  // namespace moxsupply
