#include <array>
#include <clocale>
#include <cstdio>
#include <exception>
#include <span>

#include "commands/CheckCommand.h"
#include "commands/CommandLine.h"
#include "commands/DecodeCommand.h"
#include "commands/DisableCommand.h"
#include "commands/DoctorCommand.h"
#include "commands/EnableCommand.h"
#include "commands/LevelsCommand.h"
#include "commands/OtherProgram.h"
#include "commands/QueuesCommand.h"
#include "commands/RefreshCommand.h"
#include "commands/ReportCommand.h"
#include "commands/SimulateCommand.h"

int main(int argc, char** argv) try {
  using namespace moxsupply;
  std::setlocale(LC_CTYPE, "");     // what the terminal can show
  std::setlocale(LC_MESSAGES, "");  // the language of the supplies' names

  const auto asMetrics = [argv](const auto&) { return become(kMonitoringProgram, argv); };
  const std::array<Program::Subcommand, 14> commands = {{
      {"levels", [&] { return levelsCommand(asMetrics); }},
      {"check", checkCommand},
      {"exporter",
       [argv] {
         return commandOf(kMonitoringProgram, "exporter",
                          "Serve the supplies of many printers to Prometheus.", argv);
       }},
      {"history",
       [argv] {
         return commandOf(kHistoryProgram, "history",
                          "Remember what printers answered, and what befell their cartridges.",
                          argv);
       }},
      {"forecast",
       [argv] {
         return commandOf(kHistoryProgram, "forecast", "Tell when cartridges will be empty.", argv);
       }},
      {"orders",
       [argv] {
         return commandOf(kHistoryProgram, "orders",
                          "Tell which cartridges to buy so that no printer runs out.", argv);
       }},
      {"queues", queuesCommand},
      {"refresh", refreshCommand},
      {"enable", enableCommand},
      {"disable", disableCommand},
      {"doctor", doctorCommand},
      {"report", reportCommand},
      {"decode", decodeCommand},
      {"simulate", simulateCommand},
  }};
  return runCommandLine({"Ask NPA printers for their supplies.",
                         "moxsupply COMMAND --help tells more about each.\n", commands},
                        {argv, static_cast<std::size_t>(argc)});
} catch (const std::exception& error) {
  std::fprintf(stderr, "moxsupply: %s\n", error.what());
  return moxsupply::kExitMisuse;
}
