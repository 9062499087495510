#include <array>
#include <clocale>
#include <exception>
#include <span>
#include <string_view>

#include "commands/CheckCommand.h"
#include "commands/Command.h"
#include "commands/CommandLine.h"
#include "commands/DecodeCommand.h"
#include "commands/LevelsCommand.h"
#include "commands/OtherProgram.h"
#include "commands/ReportCommand.h"
#include "commands/SimulateCommand.h"

int main(int argc, char** argv) try {
  using namespace moxsupply;
  sayWhenMemoryRunsOut();
  std::setlocale(LC_CTYPE, "");     // what the terminal can show
  std::setlocale(LC_MESSAGES, "");  // the language of the supplies' names

  const auto ofQueues = [argv](std::string_view name, std::string_view about) {
    return commandOf(kCupsProgram, name, about, argv);
  };
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
      {"queues",
       [&] {
         return ofQueues("queues", "Show what the print server knows of all queues' supplies.");
       }},
      {"refresh",
       [&] {
         return ofQueues("refresh",
                         "Have a print queue report its printer's levels now, and show them.");
       }},
      {"enable",
       [&] { return ofQueues("enable", "Let a print queue report its printer's supplies."); }},
      {"disable",
       [&] {
         return ofQueues("disable",
                         "Take away again what `moxsupply enable` added to a print queue.");
       }},
      {"doctor",
       [&] { return ofQueues("doctor", "Find out why a print queue shows no supply levels."); }},
      {"report", reportCommand},
      {"decode", decodeCommand},
      {"simulate", simulateCommand},
  }};
  return runCommandLine({"Ask NPA printers for their supplies.",
                         "moxsupply COMMAND --help tells more about each.\n", commands},
                        {argv, static_cast<std::size_t>(argc)});
} catch (const std::exception& error) {
  return moxsupply::complainOfEnd(error);
}
