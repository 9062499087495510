#include "commands/EnableCommand.h"

#include <fmt/format.h>

#include <memory>
#include <string>

#include "links/DeviceUri.h"
#include "queue/OpenQueue.h"
#include "queue/PpdEdit.h"
#include "queue/QueueSettings.h"
#include "text/Decimal.h"
#include "text/TerminalText.h"

namespace moxsupply {

namespace {

constexpr std::string_view kCommand = "enable";

struct EnableOptions {
  std::string queue;
  std::string type;
  std::string timeout = "2";
  std::string deadline = "45";
};

// Why the command filter is of no use on this queue.
std::optional<Problem> whyImpossible(const OpenQueue& open) {
  const std::string scheme = open.queue.deviceUri.substr(0, open.queue.deviceUri.find(':'));
  if (open.ppd.empty()) return queueIsRaw(open.queue.name);
  if (!bringsAnswersBack(scheme)) {
    return Problem{
        fmt::format("the printer of \"{}\" is reached over {}://, which brings no answers back",
                    forTerminal(open.queue.name), forTerminal(scheme)),
        "Supplies can be asked over usb, socket, dnssd and mdns connections.", true};
  }
  return std::nullopt;
}

// What the print server makes of the filter, now that the queue names it.
std::optional<Problem> whyUnusable(const PrintQueue& queue) {
  for (const char* reason : {"cups-missing-filter-warning", "cups-insecure-filter-warning"}) {
    if (!queue.hasReason(reason)) continue;
    return Problem{
        fmt::format("\"{}\" is set up, but the print server does not run the filter ({})",
                    forTerminal(queue.name), reason),
        fmt::format("Run: moxsupply doctor {}", forTerminal(queue.name))};
  }
  return std::nullopt;
}

int runEnable(const EnableOptions& options) {
  PpdSettings settings;
  settings.printerType = printerTypeOf(options.type).value_or("");
  for (auto [name, text, seconds] :
       {std::tuple("--timeout", &options.timeout, &settings.timeout),
        std::tuple("--deadline", &options.deadline, &settings.deadline)}) {
    const auto number = decimal(*text);
    if (!number || *number == 0) {
      return complain(
          kCommand,
          {fmt::format("{}: expected a whole number of seconds from 1, not \"{}\"", name, *text),
           {},
           true});
    }
    *seconds = *number;
  }

  auto opened = openQueue(options.queue);
  if (const auto* problem = std::get_if<Problem>(&opened)) return complain(kCommand, *problem);
  auto& open = std::get<OpenQueue>(opened);
  if (const auto problem = whyImpossible(open)) return complain(kCommand, *problem);

  const std::string name = forTerminal(options.queue);
  const std::string ppd = withSupplyReports(open.ppd, settings);
  if (ppd == open.ppd)
    return print(kCommand, fmt::format("{} is set up like this already.\n", name));
  if (const auto problem = open.server.setPpd(options.queue, ppd)) {
    return complain(kCommand, *problem);
  }
  const auto after = open.server.queue(options.queue);
  if (const auto* problem = std::get_if<Problem>(&after)) return complain(kCommand, *problem);
  if (const auto problem = whyUnusable(std::get<PrintQueue>(after))) {
    return complain(kCommand, *problem);
  }
  return print(kCommand,
               fmt::format("{0} reports its supplies from now on, whenever it is asked to.\n"
                           "Ask it: moxsupply refresh {0}\n",
                           name));
}

}  // namespace

void addEnableCommand(CLI::App& app, RunCommand& run) {
  CLI::App* command = app.add_subcommand(
      "enable",
      "Let a print queue report its printer's supplies.\n"
      "\n"
      "Adds the command filter commandtomox to the queue's own driver (PPD file), with the "
      "commands\n"
      "that it takes, and switches off the print server's own way of asking (SNMP), which would\n"
      "overwrite the levels. All else of the driver stays as it is. Needs an administrator's\n"
      "rights. `moxsupply disable` takes it away again; a new driver for the queue does so too.");
  command->formatter(std::make_shared<Help>(
      "moxsupply enable QUEUE --type laser|inkjet [--timeout SECONDS] [--deadline SECONDS]"));
  command->footer(
      "Examples:\n"
      "  sudo moxsupply enable office --type laser\n"
      "\n"
      "Exit status: 0 the queue is set up; 1 the print server refused; 2 the arguments are wrong, "
      "or\n"
      "the queue cannot report supplies.\n");

  const auto options = std::make_shared<EnableOptions>();
  command->add_option("QUEUE", options->queue, "name of a print queue")
      ->required()
      ->option_text(" ");
  command->add_option("--type", options->type, "laser or inkjet; `moxsupply levels` finds it out")
      ->required()
      ->option_text("TYPE")
      ->check(CLI::IsMember({"laser", "inkjet"}));
  command->add_option("--timeout", options->timeout, "longest wait for each single read (2)")
      ->option_text("SECONDS");
  command->add_option("--deadline", options->deadline, "longest time for everything (45)")
      ->option_text("SECONDS");
  command->callback([&run, options] { run = [=] { return runEnable(*options); }; });
}

}  // namespace moxsupply
