#pragma once

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "text/Problem.h"

namespace moxsupply {

// Each subcommand adds itself to `app`, and when it is the one given puts what it does into `run`,
// which returns the exit status. Parsing arguments does nothing else.
using RunCommand = std::function<int()>;

// Exit statuses that all subcommands share; 0 is success.
constexpr int kExitFailed = 1;  // the arguments were right, and still it did not work
constexpr int kExitMisuse = 2;  // the arguments were wrong, or the set-up is

// Takes the command line apart and runs the command that it gives. Returns the exit status.
int runCommandLine(CLI::App& app, const RunCommand& run, int argc, const char* const* argv);

// Says on standard error what `command` ran into, and what to try. Returns the exit status.
int complain(std::string_view command, const Problem& problem);

// Whether to colour standard output: "always", "never", or "auto": on a terminal that can.
bool wantsColor(std::string_view when);

// Writes to standard output, or to what stood there; says so when that fails. Returns the exit
// status.
int print(std::string_view command, std::string_view text, int output = STDOUT_FILENO);

// The help of the program or a subcommand: its usage as it is given here, what it does, its
// options.
class Help : public CLI::Formatter {
 public:
  explicit Help(std::string usage) : mUsage(std::move(usage)) { column_width(26); }

  std::string make_usage(const CLI::App* /*app*/, std::string /*name*/) const override {
    return {};
  }

  std::string make_description(const CLI::App* app) const override {
    return "Usage: " + mUsage + "\n\n" + app->get_description() + '\n';
  }

  // In the list of subcommands, each with the first line of what it does.
  std::string make_subcommand(const CLI::App* subcommand) const override {
    const std::string description = subcommand->get_description();
    std::string line = "  " + subcommand->get_name();
    line.resize(get_column_width(), ' ');
    return line + description.substr(0, description.find('\n')) + '\n';
  }

 private:
  std::string mUsage;
};

}  // namespace moxsupply
