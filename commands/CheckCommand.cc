#include "commands/CheckCommand.h"

#include <fmt/format.h>
#include <unistd.h>

#include <clocale>
#include <exception>
#include <memory>
#include <string_view>

#include "commands/PrinterOptions.h"
#include "renderings/PluginLine.h"
#include "supplies/Supplies.h"
#include "system/FileDescriptor.h"
#include "system/KeptOutput.h"
#include "values/Status.h"

namespace moxsupply {

namespace {

struct CheckOptions {
  // Seconds. Below the ten that remote executors of plugins grant: one that is killed says nothing.
  PrinterOptions printer = {.deadline = 9};
  PluginThresholds thresholds;
};

// Writes the line. One that is lost must not pass for a good one.
int tell(const PluginResult& result, int output = STDOUT_FILENO) {
  if (writeAll(output, result.line) != 0) return static_cast<int>(PluginState::kUnknown);
  return static_cast<int>(result.state);
}

PluginResult unknown(const Problem& problem) { return pluginUnknown(problem.what); }

int check(const CheckOptions& options) {
  const KeptOutput output;
  const auto onDeadline = [&](const Problem& problem) {
    ::_exit(tell(unknown(problem), output.descriptor()));
  };
  const auto request = supplyRequest(options.printer, onDeadline);
  if (!request) return tell(unknown(request.error()));
  const auto answer = askForSupplies(*request, onDeadline);
  if (!answer) return tell(unknown(answer.error()));
  const auto& [status, report] = answer->report;
  if (status != Status::kSuccess) return tell(unknown(whyNoSupplies(*answer, *request)));
  return tell(pluginResult(suppliesFromReport(report), options.thresholds));
}

int runCheck(const CheckOptions& options) try {
  // Data is kept under the supplies' names, which therefore must not change with the language.
  std::setlocale(LC_MESSAGES, "C");
  return check(options);
} catch (const std::exception& error) {
  return tell(pluginUnknown(error.what()));
}

Result<> agree(const PluginThresholds& thresholds) {
  if (thresholds.warning >= thresholds.critical) return {};
  return misuse(
      fmt::format("--warning {} is below --critical {}: what is critical has long "
                  "been worth a warning",
                  thresholds.warning, thresholds.critical));
}

}  // namespace

Command checkCommand() {
  const auto options = std::make_shared<CheckOptions>();
  PrinterOptions& printer = options->printer;
  PluginThresholds& thresholds = options->thresholds;
  return {
      .name = "check",
      .usage =
          "moxsupply check [PRINTER] [--warning PERCENT] [--critical PERCENT] [--all]\n"
          "                       [--type auto|laser|inkjet] [--timeout SECONDS]\n"
          "                       [--deadline SECONDS]",
      .about =
          "Check a printer's supplies, as a plugin of a monitoring system.\n"
          "\n"
          "Prints one line, with performance data, and ends with the exit status that Nagios, "
          "Icinga\n"
          "and others of their kind expect of a plugin. PRINTER is what `moxsupply levels` takes.\n"
          "\n"
          "CRITICAL is a cartridge that is empty, missing, the wrong one or not valid here, or "
          "below\n"
          "--critical; WARNING one below --warning. Fusers, imaging units and containers for "
          "waste\n"
          "only show their levels: they are changed when the printer says so, and some printers "
          "tell\n"
          "how full a container is where others tell how much room is left. Where yours tells what "
          "is\n"
          "left, --all judges them like cartridges. A level that is not known is said to be so; "
          "with\n"
          "none known at all the state is UNKNOWN.",
      .footer =
          "Without --type it takes 4 seconds to find out that a printer is an inkjet printer. The\n"
          "deadline must come before the monitoring system kills its plugin, often after 10 or 60\n"
          "seconds.\n"
          "\n"
          "Examples:\n"
          "  moxsupply check socket://192.0.2.7\n"
          "  moxsupply check socket://192.0.2.7 --type laser -w 15 -c 3\n"
          "\n"
          "Exit status: 0 OK; 1 WARNING; 2 CRITICAL; 3 UNKNOWN: the printer could not be reached "
          "or\n"
          "did not give its supplies, or the arguments or the set-up are wrong.\n",
      .options = {printerArgument(printer.printer),
                  percentage("-w,--warning", thresholds.warning, "warn below this level (20)"),
                  percentage("-c,--critical", thresholds.critical,
                             "below this one it is critical (5)"),
                  flag("--all", thresholds.judgesFusersToo,
                       "judge fusers and containers like cartridges"),
                  printerType(printer.kind), readTimeout(printer), deadline(printer)},
      .agree = [options] { return agree(options->thresholds); },
      .run = [options] { return runCheck(*options); },
      // A plugin is read on standard output, and its caller takes 2 for a printer in trouble.
      .complain = [](const Problem& problem) { return tell(unknown(problem)); },
  };
}

}  // namespace moxsupply
