#include <clocale>
#include <cstdio>
#include <exception>
#include <memory>

#include "commands/Command.h"
#include "commands/ExporterCommand.h"
#include "commands/LevelsAsMetrics.h"
#include "commands/LevelsCommand.h"

// The commands of `moxsupply` that need more libraries than the others. It stands where moxsupply
// finds it, and speaks in its name.
int main(int argc, char** argv) try {
  // The terminal's characters; but the names of supplies are labels, which no language changes.
  std::setlocale(LC_CTYPE, "");

  CLI::App app("Ask NPA printers for their supplies, for monitoring.", "moxsupply");
  app.formatter(std::make_shared<moxsupply::Help>("moxsupply COMMAND [OPTION...]"));
  app.require_subcommand(1);
  moxsupply::RunCommand run;
  moxsupply::addLevelsCommand(app, run, moxsupply::levelsAsMetrics);
  moxsupply::addExporterCommand(app, run);
  return moxsupply::runCommandLine(app, run, argc, argv);
} catch (const std::exception& error) {
  std::fprintf(stderr, "moxsupply: %s\n", error.what());
  return moxsupply::kExitMisuse;
}
