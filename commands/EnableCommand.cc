#include "commands/EnableCommand.h"

#include <fmt/format.h>

#include <memory>
#include <string>

#include "commands/PrinterOptions.h"
#include "links/DeviceUri.h"
#include "queue/OpenQueue.h"
#include "queue/PpdEdit.h"
#include "text/ShellWord.h"
#include "text/TerminalText.h"

namespace moxsupply {

namespace {

constexpr std::string_view kCommand = "enable";

struct EnableOptions {
  std::string queue;
  PpdSettings settings;
};

// Whether the command filter is of use on this queue, or why not.
Result<> canReport(const OpenQueue& open) {
  if (auto driver = hasDriver(open); !driver) return driver;
  if (bringsAnswersBack(open.queue.deviceUri)) return {};
  return misuse(
      fmt::format("the printer of \"{}\" is reached over {}, which brings no answers back",
                  forTerminal(open.queue.name), forTerminal(linkOf(open.queue.deviceUri))),
      std::string(kOtherLinks));
}

// Whether the print server runs the filter, now that the queue names it.
Result<> isRun(const PrintQueue& queue) {
  for (const char* reason : {"cups-missing-filter-warning", "cups-insecure-filter-warning"}) {
    if (!queue.hasReason(reason)) continue;
    auto problem =
        failure(fmt::format("\"{}\" is set up, but the print server does not run the filter ({})",
                            forTerminal(queue.name), reason));
    problem.value().remedy = {Remedy::Kind::kExamineQueue, queue.name};
    return problem;
  }
  return {};
}

int runEnable(const EnableOptions& options) {
  auto open = openQueue(options.queue);
  if (!open) return complain(kCommand, open.error());
  if (const auto can = canReport(*open); !can) return complain(kCommand, can.error());

  const std::string name = forTerminal(options.queue);
  const std::string ppd = withSupplyReports(open->ppd, options.settings);
  if (ppd == open->ppd) {
    return print(kCommand, fmt::format("{} is set up like this already.\n", name));
  }
  const auto after = open->server.setPpd(options.queue, ppd).and_then([&] {
    return open->server.queue(options.queue);
  });
  if (!after) return complain(kCommand, after.error());
  if (const auto run = isRun(*after); !run) return complain(kCommand, run.error());
  return print(kCommand,
               fmt::format("{} reports its supplies from now on, whenever it is asked to.\n"
                           "Ask it: moxsupply refresh {}\n",
                           name, shellWord(options.queue)));
}

Option requiredType(PrinterKind& kind) {
  Option option = choice<PrinterKind>(
      "--type", kind, {{"laser", PrinterKind::kLaser}, {"inkjet", PrinterKind::kInkjet}}, "TYPE",
      "laser or inkjet; `moxsupply levels` finds it out");
  option.isRequired = true;
  return option;
}

}  // namespace

Command enableCommand() {
  const auto options = std::make_shared<EnableOptions>();
  return {
      .name = kCommand,
      .usage =
          "moxsupply enable QUEUE --type laser|inkjet [--timeout SECONDS] [--deadline SECONDS]",
      .about =
          "Let a print queue report its printer's supplies.\n"
          "\n"
          "Adds the command filter commandtomox to the queue's own driver (PPD file), with the "
          "commands\n"
          "that it takes, and switches off the print server's own way of asking (SNMP), which "
          "would\n"
          "overwrite the levels. All else of the driver stays as it is. Needs an administrator's\n"
          "rights. `moxsupply disable` takes it away again; a new driver for the queue does so "
          "too.",
      .footer =
          "Examples:\n"
          "  sudo moxsupply enable office --type laser\n"
          "\n"
          "Exit status: 0 the queue is set up; 1 the print server refused; 2 the arguments are "
          "wrong, "
          "or\n"
          "the queue cannot report supplies.\n",
      .options = {queueArgument(options->queue), requiredType(options->settings.kind),
                  seconds("--timeout", options->settings.timeout, {.least = 1},
                          "longest wait for each single read (2)"),
                  seconds("--deadline", options->settings.deadline, {.least = 1},
                          "longest time for everything (45)")},
      .run = [options] { return runEnable(*options); },
  };
}

}  // namespace moxsupply
