#include <array>
#include <clocale>
#include <exception>
#include <span>

#include "commands/Command.h"
#include "commands/CommandLine.h"
#include "commands/ExporterCommand.h"
#include "commands/LevelsAsMetrics.h"
#include "commands/LevelsCommand.h"
#include "commands/QueryServerCommand.h"
#include "commands/QueueLevelsCommand.h"

// The commands of `moxsupply` that need more libraries than the others. It stands where moxsupply
// finds it, and speaks in its name.
int main(int argc, char** argv) try {
  using namespace moxsupply;
  sayWhenMemoryRunsOut();
  // The terminal's characters; but the names of supplies are labels, which no language changes.
  std::setlocale(LC_CTYPE, "");

  const std::array<Program::Subcommand, 4> commands = {{
      {"levels", [] { return levelsCommand(levelsAsMetrics); }},
      {"exporter", exporterCommand},
      {"queue-levels", queueLevelsCommand},
      {"query-server", queryServerCommand},
  }};
  return runCommandLine({"Ask NPA printers for their supplies, for monitoring.", "", commands},
                        {argv, static_cast<std::size_t>(argc)});
} catch (const std::exception& error) {
  return moxsupply::complainOfEnd(error);
}
