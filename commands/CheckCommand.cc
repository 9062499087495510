#include "commands/CheckCommand.h"

#include <fmt/format.h>
#include <unistd.h>

#include <clocale>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>

#include "commands/SupplyQuery.h"
#include "renderings/PluginLine.h"
#include "supplies/Supplies.h"
#include "system/FileDescriptor.h"
#include "system/KeptOutput.h"
#include "text/Decimal.h"
#include "values/Status.h"

namespace moxsupply {

namespace {

// Seconds. Below the ten that remote executors of plugins grant: one that is killed says nothing.
constexpr std::string_view kDeadline = "9";

struct CheckOptions {
  SupplyQueryOptions query;
  std::string warning = "20";
  std::string critical = "5";
  bool all = false;
};

// Writes the line. One that is lost must not pass for a good one.
int tell(const PluginResult& result, int output = STDOUT_FILENO) {
  if (writeAll(output, result.line) != 0) return static_cast<int>(PluginState::kUnknown);
  return static_cast<int>(result.state);
}

PluginResult unknown(const Problem& problem) { return pluginUnknown(problem.what); }

// Percent, 0 to 100.
std::optional<int> percentage(const std::string& text) {
  const auto number = decimal(text);
  if (!number || *number > 100) return std::nullopt;
  return static_cast<int>(*number);
}

Result<PluginThresholds> thresholdsOf(const CheckOptions& options) {
  constexpr std::string_view kExpected = "{}: expected a percentage from 0 to 100, not \"{}\"";
  const auto warning = percentage(options.warning);
  if (!warning) return Problem{fmt::format(kExpected, "--warning", options.warning), {}, true};
  const auto critical = percentage(options.critical);
  if (!critical) return Problem{fmt::format(kExpected, "--critical", options.critical), {}, true};
  if (*warning < *critical) {
    return Problem{fmt::format("--warning {} is below --critical {}: what is critical has long "
                               "been worth a warning",
                               *warning, *critical),
                   {},
                   true};
  }
  return PluginThresholds{*warning, *critical, options.all};
}

int check(const CheckOptions& options) {
  const auto thresholds = thresholdsOf(options);
  if (const auto* problem = std::get_if<Problem>(&thresholds)) return tell(unknown(*problem));

  const KeptOutput output;
  const auto onDeadline = [&](const Problem& problem) {
    ::_exit(tell(unknown(problem), output.descriptor()));
  };
  const auto prepared = supplyQuery(options.query, onDeadline);
  if (const auto* problem = std::get_if<Problem>(&prepared)) return tell(unknown(*problem));
  const auto& query = std::get<SupplyQuery>(prepared);
  const auto result = askForSupplies(query, onDeadline);
  if (const auto* problem = std::get_if<Problem>(&result)) return tell(unknown(*problem));
  const auto& answer = std::get<PrinterAnswer>(result);
  if (answer.status != Status::kSuccess) return tell(unknown(whyNoSupplies(answer, query)));
  return tell(
      pluginResult(suppliesFromReport(answer.json), std::get<PluginThresholds>(thresholds)));
}

int runCheck(const CheckOptions& options) try {
  // Data is kept under the supplies' names, which therefore must not change with the language.
  std::setlocale(LC_MESSAGES, "C");
  return check(options);
} catch (const std::exception& error) {
  return complainOfCheck(error.what());
}

}  // namespace

int complainOfCheck(std::string_view why) { return tell(pluginUnknown(why)); }

void addCheckCommand(CLI::App& app, RunCommand& run) {
  CLI::App* command = app.add_subcommand(
      "check",
      "Check a printer's supplies, as a plugin of a monitoring system.\n"
      "\n"
      "Prints one line, with performance data, and ends with the exit status that Nagios, Icinga\n"
      "and others of their kind expect of a plugin. PRINTER is what `moxsupply levels` takes.\n"
      "\n"
      "CRITICAL is a cartridge that is empty, missing, the wrong one or not valid here, or below\n"
      "--critical; WARNING one below --warning. Fusers, imaging units and containers for waste\n"
      "only show their levels: they are changed when the printer says so, and some printers tell\n"
      "how full a container is where others tell how much room is left. Where yours tells what is\n"
      "left, --all judges them like cartridges. A level that is not known is said to be so; with\n"
      "none known at all the state is UNKNOWN.");
  command->formatter(std::make_shared<Help>(
      "moxsupply check PRINTER [--warning PERCENT] [--critical PERCENT] [--all]\n"
      "                       [--type auto|laser|inkjet] [--timeout SECONDS]\n"
      "                       [--deadline SECONDS]"));
  command->footer(
      "Without --type it takes 4 seconds to find out that a printer is an inkjet printer. The\n"
      "deadline must come before the monitoring system kills its plugin, often after 10 or 60\n"
      "seconds.\n"
      "\n"
      "Examples:\n"
      "  moxsupply check socket://192.0.2.7\n"
      "  moxsupply check socket://192.0.2.7 --type laser -w 15 -c 3\n"
      "\n"
      "Exit status: 0 OK; 1 WARNING; 2 CRITICAL; 3 UNKNOWN: the printer could not be reached or\n"
      "did not give its supplies, or the arguments or the set-up are wrong.\n");

  const auto options = std::make_shared<CheckOptions>();
  options->query.deadline = kDeadline;
  command->add_option("PRINTER", options->query.printer, "device URI, or name of a print queue")
      ->required()
      ->option_text(" ");
  command->add_option("-w,--warning", options->warning, "warn below this level (20)")
      ->option_text("PERCENT");
  command->add_option("-c,--critical", options->critical, "below this one it is critical (5)")
      ->option_text("PERCENT");
  command->add_flag("--all", options->all, "judge fusers and containers like cartridges");
  command->add_option("--type", options->query.type, "auto, laser or inkjet (auto)")
      ->option_text("TYPE")
      ->check(CLI::IsMember({"auto", "laser", "inkjet"}));
  command->add_option("--timeout", options->query.timeout, "longest wait for each single read (2)")
      ->option_text("SECONDS");
  command->add_option("--deadline", options->query.deadline, "longest time for everything (9)")
      ->option_text("SECONDS");
  command->callback([&run, options] { run = [=] { return runCheck(*options); }; });
}

}  // namespace moxsupply
