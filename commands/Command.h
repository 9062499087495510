#pragma once

#include <unistd.h>

#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "commands/Option.h"
#include "text/Problem.h"

namespace moxsupply {

// Exit statuses that all commands share; 0 is success.
constexpr int kExitFailed = 1;  // the arguments were right, and still it did not work
constexpr int kExitMisuse = 2;  // the arguments were wrong, or the set-up is

// A command and its arguments.
using CommandLine = std::vector<std::string>;

// A subcommand, described: how it is typed, what its help says, and what it does.
struct Command {
  std::string_view name;
  std::string_view usage;  // without "Usage: "
  std::string_view about;  // what it does; the first line stands in the list of commands
  std::string footer = {};
  std::vector<Option> options = {};

  // Whether what was given goes together; called before `run`.
  std::function<Result<>()> agree = {};

  std::function<int()> run;  // returns the exit status

  // Where a command line behind "--" goes, and that the command takes one.
  std::optional<CommandLine>* besides = nullptr;

  // All arguments are the business of another program, which `run` becomes.
  bool passesAllOn = false;

  // Says what is wrong with the arguments and returns the exit status, where that is not done as
  // every command does it.
  std::function<int(const Problem&)> complain = {};
};

// What `command` ran into, and what to try, as it is said on standard error.
[[nodiscard]] std::string complaint(std::string_view command, const Problem& problem);

// Says on standard error what `command` ran into, and what to try. Returns the exit status.
int complain(std::string_view command, const Problem& problem);

// The same of what nobody else has caught: that memory has run out, say, or that the machine
// refuses a thread. Allocates nothing.
int complainOfEnd(const std::exception& error) noexcept;

// From now on this program ends with that line, and not with a signal, also where a library has no
// memory and lets no exception out: a JSON value, say, in its destructor.
void sayWhenMemoryRunsOut() noexcept;

// Whether to colour standard output.
[[nodiscard]] bool wantsColor(Coloring when);

// What is said from now on is for people. Those who have a program read what comes do not call it.
void speakTheReadersLanguage();

// Writes to standard output, or to what stood there; says so when that fails. Returns the exit
// status.
int print(std::string_view command, std::string_view text, int output = STDOUT_FILENO);

}  // namespace moxsupply
