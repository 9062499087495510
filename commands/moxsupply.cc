#include <algorithm>
#include <array>
#include <clocale>
#include <cstdio>
#include <exception>
#include <functional>
#include <span>
#include <string_view>

#include "commands/CheckCommand.h"
#include "commands/Command.h"
#include "commands/DecodeCommand.h"
#include "commands/DisableCommand.h"
#include "commands/DoctorCommand.h"
#include "commands/EnableCommand.h"
#include "commands/LevelsCommand.h"
#include "commands/MonitoringProgram.h"
#include "commands/RefreshCommand.h"
#include "commands/ReportCommand.h"
#include "commands/SimulateCommand.h"

namespace {

struct Subcommand {
  std::string_view name;
  std::function<void(CLI::App&, moxsupply::RunCommand&)> add;
};

// Adds the subcommand that is asked for; all of them for the help, or when none has that name. To
// set them all up takes longer than to ask a printer and to decode its answer.
void addSubcommands(CLI::App& app, moxsupply::RunCommand& run, std::string_view askedFor,
                    std::span<const Subcommand> subcommands) {
  const bool isOne =
      std::ranges::find(subcommands, askedFor, &Subcommand::name) != subcommands.end();
  for (const auto& [name, add] : subcommands) {
    if (!isOne || name == askedFor) add(app, run);
  }
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
  const moxsupply::CommandLine besides = moxsupply::takeCommandBesides(argc, argv);
  const auto asMetrics = [argv](const auto&) { return moxsupply::becomeMonitoringProgram(argv); };
  using CLI::App;
  using moxsupply::RunCommand;
  const std::array<Subcommand, 10> subcommands = {{
      {"levels", [&](App& to, RunCommand& r) { moxsupply::addLevelsCommand(to, r, asMetrics); }},
      {"check", moxsupply::addCheckCommand},
      {"exporter", [&](App& to, RunCommand& r) { moxsupply::addMonitoringCommands(to, r, argv); }},
      {"refresh", moxsupply::addRefreshCommand},
      {"enable", moxsupply::addEnableCommand},
      {"disable", moxsupply::addDisableCommand},
      {"doctor", moxsupply::addDoctorCommand},
      {"report", moxsupply::addReportCommand},
      {"decode", moxsupply::addDecodeCommand},
      {"simulate", [&](App& to, RunCommand& r) { moxsupply::addSimulateCommand(to, r, besides); }},
  }};
  addSubcommands(app, run, argc > 1 ? argv[1] : "", subcommands);

  return moxsupply::runCommandLine(app, run, argc, argv);
} catch (const std::exception& error) {
  std::fprintf(stderr, "moxsupply: %s\n", error.what());
  return moxsupply::kExitMisuse;
}
