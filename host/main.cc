#include <fmt/core.h>

#include <clocale>
#include <cstdio>
#include <exception>

#include "host/Command.h"
#include "host/ReportCommand.h"
#include "host/SimulateCommand.h"

namespace {

int complainOfArguments(const CLI::App& app, const CLI::ParseError& error) {
  std::string command = "moxsupply";
  for (const CLI::App* chosen : app.get_subcommands()) command += ' ' + chosen->get_name();
  fmt::print(stderr, "{}: {} (see {} --help)\n", command, error.what(), command);
  return moxsupply::kExitMisuse;
}

}  // namespace

int main(int argc, char** argv) try {
  std::setlocale(LC_ALL, "");

  CLI::App app("Ask NPA printers for their supplies.", "moxsupply");
  app.require_subcommand(1);
  app.set_version_flag("--version", "moxsupply " MOXSUPPLY_VERSION);
  moxsupply::RunCommand run;
  moxsupply::addReportCommand(app, run);
  const moxsupply::CommandLine besides = moxsupply::takeCommandBesides(argc, argv);
  moxsupply::addSimulateCommand(app, run, besides);

  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& help) {  // --help and --version
    return app.exit(help);
  } catch (const CLI::ParseError& error) {
    return complainOfArguments(app, error);
  }
  return run();
} catch (const std::exception& error) {
  std::fprintf(stderr, "moxsupply: %s\n", error.what());
  return moxsupply::kExitMisuse;
}
