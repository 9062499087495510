#include <fmt/core.h>

#include <clocale>
#include <cstdio>
#include <exception>

#include "host/Command.h"
#include "host/DecodeCommand.h"
#include "host/DisableCommand.h"
#include "host/DoctorCommand.h"
#include "host/EnableCommand.h"
#include "host/LevelsCommand.h"
#include "host/RefreshCommand.h"
#include "host/ReportCommand.h"
#include "host/SimulateCommand.h"
#include "host/TerminalText.h"

namespace {

int complainOfArguments(const CLI::App& app, const CLI::ParseError& error, const char* first) {
  std::string command = "moxsupply";
  if (app.get_subcommands().empty() && first != nullptr && *first != '-') {
    fmt::print(stderr, "moxsupply: there is no command \"{}\" (see moxsupply --help)\n",
               moxsupply::forTerminal(first));
    return moxsupply::kExitMisuse;
  }
  for (const CLI::App* chosen : app.get_subcommands()) command += ' ' + chosen->get_name();
  fmt::print(stderr, "{}: {} (see {} --help)\n", command, error.what(), command);
  return moxsupply::kExitMisuse;
}

}  // namespace

int main(int argc, char** argv) try {
  std::setlocale(LC_CTYPE, "");     // what the terminal can show
  std::setlocale(LC_MESSAGES, "");  // the language of the supplies' names

  CLI::App app("Ask NPA printers for their supplies.", "moxsupply");
  app.formatter(std::make_shared<moxsupply::Help>("moxsupply COMMAND [OPTION...]"));
  app.footer("moxsupply COMMAND --help tells more about each.\n");
  app.require_subcommand(1);
  app.set_version_flag("--version", "moxsupply " MOXSUPPLY_VERSION);
  moxsupply::RunCommand run;
  moxsupply::addLevelsCommand(app, run);
  moxsupply::addRefreshCommand(app, run);
  moxsupply::addEnableCommand(app, run);
  moxsupply::addDisableCommand(app, run);
  moxsupply::addDoctorCommand(app, run);
  moxsupply::addReportCommand(app, run);
  moxsupply::addDecodeCommand(app, run);
  const moxsupply::CommandLine besides = moxsupply::takeCommandBesides(argc, argv);
  moxsupply::addSimulateCommand(app, run, besides);

  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& help) {  // --help and --version
    return app.exit(help);
  } catch (const CLI::ParseError& error) {
    return complainOfArguments(app, error, argc > 1 ? argv[1] : nullptr);
  }
  return run();
} catch (const std::exception& error) {
  std::fprintf(stderr, "moxsupply: %s\n", error.what());
  return moxsupply::kExitMisuse;
}
