#include "commands/Command.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "commands/CheckCommand.h"
#include "system/FileDescriptor.h"
#include "text/TerminalText.h"

namespace moxsupply {

namespace {

int complainOfArguments(const CLI::App& app, const CLI::ParseError& error, const char* first) {
  std::string command = "moxsupply";
  if (app.get_subcommands().empty() && first != nullptr && *first != '-') {
    fmt::print(stderr, "moxsupply: there is no command \"{}\" (see moxsupply --help)\n",
               forTerminal(first));
    return kExitMisuse;
  }
  for (const CLI::App* chosen : app.get_subcommands()) {
    // A plugin is read on standard output, and its caller takes 2 for a printer in trouble.
    if (chosen->get_name() == "check") return complainOfCheck(error.what());
    command += ' ' + chosen->get_name();
  }
  fmt::print(stderr, "{}: {} (see {} --help)\n", command, error.what(), command);
  return kExitMisuse;
}

}  // namespace

int runCommandLine(CLI::App& app, const RunCommand& run, int argc, const char* const* argv) {
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& help) {  // --help and --version
    return app.exit(help);
  } catch (const CLI::ParseError& error) {
    return complainOfArguments(app, error, argc > 1 ? argv[1] : nullptr);
  }
  return run();
}

int complain(std::string_view command, const Problem& problem) {
  fmt::print(stderr, "moxsupply {}: {}\n", command, problem.what);
  if (!problem.advice.empty()) fmt::print(stderr, "{}\n", problem.advice);
  return problem.isMisuse ? kExitMisuse : kExitFailed;
}

bool wantsColor(std::string_view when) {
  if (when != "auto") return when == "always";
  const char* terminal = std::getenv("TERM");
  return ::isatty(STDOUT_FILENO) == 1 && std::getenv("NO_COLOR") == nullptr &&
         terminal != nullptr && std::string_view(terminal) != "dumb";
}

int print(std::string_view command, std::string_view text, int output) {
  const int error = writeAll(output, text);
  if (error == 0) return 0;
  return complain(command, {fmt::format("standard output: {}", std::strerror(error)), {}, true});
}

}  // namespace moxsupply
