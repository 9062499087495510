#include <clocale>
#include <cstdio>
#include <exception>

#include "host/CheckCommand.h"
#include "host/Command.h"
#include "host/DecodeCommand.h"
#include "host/DisableCommand.h"
#include "host/DoctorCommand.h"
#include "host/EnableCommand.h"
#include "host/LevelsCommand.h"
#include "host/MonitoringProgram.h"
#include "host/RefreshCommand.h"
#include "host/ReportCommand.h"
#include "host/SimulateCommand.h"

int main(int argc, char** argv) try {
  std::setlocale(LC_CTYPE, "");     // what the terminal can show
  std::setlocale(LC_MESSAGES, "");  // the language of the supplies' names

  CLI::App app("Ask NPA printers for their supplies.", "moxsupply");
  app.formatter(std::make_shared<moxsupply::Help>("moxsupply COMMAND [OPTION...]"));
  app.footer("moxsupply COMMAND --help tells more about each.\n");
  app.require_subcommand(1);
  app.set_version_flag("--version", "moxsupply " MOXSUPPLY_VERSION);
  moxsupply::RunCommand run;
  moxsupply::addLevelsCommand(
      app, run, [&](const auto&) { return moxsupply::becomeMonitoringProgram(argv); });
  moxsupply::addCheckCommand(app, run);
  moxsupply::addMonitoringCommands(app, run, argv);
  moxsupply::addRefreshCommand(app, run);
  moxsupply::addEnableCommand(app, run);
  moxsupply::addDisableCommand(app, run);
  moxsupply::addDoctorCommand(app, run);
  moxsupply::addReportCommand(app, run);
  moxsupply::addDecodeCommand(app, run);
  const moxsupply::CommandLine besides = moxsupply::takeCommandBesides(argc, argv);
  moxsupply::addSimulateCommand(app, run, besides);

  return moxsupply::runCommandLine(app, run, argc, argv);
} catch (const std::exception& error) {
  std::fprintf(stderr, "moxsupply: %s\n", error.what());
  return moxsupply::kExitMisuse;
}
