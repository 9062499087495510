#include "commands/EnableCommand.h"

#include <fmt/format.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "commands/EachQueue.h"
#include "commands/PrinterOptions.h"
#include "links/DeviceUri.h"
#include "queue/EnabledQueues.h"
#include "queue/OpenQueue.h"
#include "queue/PpdEdit.h"
#include "queue/PpdFile.h"
#include "queue/QueueSettings.h"
#include "queue/Subscription.h"
#include "supplies/Supplies.h"
#include "text/ShellWord.h"
#include "text/TerminalText.h"
#include "values/Status.h"

namespace moxsupply {

namespace {

constexpr std::string_view kCommand = "enable";

constexpr std::string_view kSwitchTimerOn = "sudo systemctl enable --now moxsupply-refresh.timer";

struct EnableOptions {
  std::string queue;
  bool all = false;
  std::optional<PrinterKind> kind;  // none: it is to be found out
  bool noAfterJobs = false;
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

// Sets the queue up, and returns whether that has changed anything.
Result<bool> enable(OpenQueue& open, const PpdSettings& settings) {
  const std::string& name = open.queue.name;
  const std::string ppd = withSupplyReports(open.ppd, settings);
  const bool isNew = ppd != open.ppd;
  if (isNew) {
    if (const auto set = open.server.setPpd(name, ppd); !set) return tl::unexpected(set.error());
  }
  const auto remembered = changeEnabledQueues([&](EnabledQueues& queues) {
    queues[name].kind = settings.kind;
    queues[name].afterJobs = settings.afterJobs;
    queues[name].low = settings.lowLevel;
  });
  if (!remembered) return tl::unexpected(remembered.error());
  if (!isNew) return false;
  const auto after = open.server.queue(name);
  if (!after) return tl::unexpected(after.error());
  if (const auto run = isRun(*after); !run) return tl::unexpected(run.error());
  return true;
}

// Has the print server tell of the jobs that matter now.
int subscribeForAll() {
  const auto subscribed = PrintServer::connect().and_then(
      [](PrintServer&& server) { return subscribeAsEnabled(server); });
  return subscribed ? EXIT_SUCCESS : complain(kCommand, subscribed.error());
}

int enableOne(const EnableOptions& options) {
  auto open = openQueue(options.queue);
  if (!open) return complain(kCommand, open.error());
  if (const auto can = canReport(*open); !can) return complain(kCommand, can.error());
  const auto enabled = enable(*open, options.settings);
  if (!enabled) return complain(kCommand, enabled.error());
  if (const int exitStatus = subscribeForAll(); exitStatus != 0) return exitStatus;
  const std::string name = forTerminal(options.queue);
  if (!*enabled) return print(kCommand, fmt::format("{} is set up like this already.\n", name));
  const std::string_view when = options.settings.afterJobs
                                    ? "after print jobs and whenever it is asked to"
                                    : "whenever it is asked to";
  return print(
      kCommand,
      fmt::format("{} reports its supplies from now on, {}.\n"
                  "Ask it: moxsupply refresh {}\n"
                  "Have all queues asked every night, also those that nobody prints on: {}\n",
                  name, when, shellWord(options.queue), kSwitchTimerOn));
}

// As the queue is set up already; nothing where it is not.
std::optional<PpdSettings> settingsOf(const OpenQueue& open) {
  if (!hasSupplyReports(open.ppd)) return std::nullopt;
  const auto ppd = PpdFile::fromText(open.ppd);
  if (!ppd) return std::nullopt;
  const auto settings = queueSettings(*ppd, "", open.queue.deviceUri);
  if (!settings) return std::nullopt;
  return PpdSettings{settings->kind, settings->timeout, settings->deadline, asksAfterJobs(open.ppd),
                     settings->lowLevel};
}

// As which the printer answers.
Result<PrinterKind> kindOf(const OpenQueue& open, const EnableOptions& options,
                           const OnDeadline& onDeadline) {
  const PrinterOptions printer = {.printer = open.queue.name,
                                  .kind = options.kind,
                                  .timeout = options.settings.timeout,
                                  .deadline = options.settings.deadline};
  const auto request = supplyRequest(printer, onDeadline);
  if (!request) return tl::unexpected(request.error());
  const auto answer = askForSupplies(*request, onDeadline);
  if (!answer) return tl::unexpected(answer.error());
  const auto kind = suppliesFromReport(answer->report.dictionary).kind;
  if (answer->report.status == Status::kSuccess && kind) return *kind;
  return tl::unexpected(whyNoSupplies(*answer, *request));
}

void enableEach(const EnableOptions& options, const std::string& name, const TellOutcome& tell) {
  const auto leaveAlone = [&tell](const Problem& problem) {
    tell({fmt::format("left alone: {}", problem.what)});
  };
  auto open = openQueue(name);
  if (!open) return tell({open.error().what, false});
  if (const auto can = canReport(*open); !can) return leaveAlone(can.error());
  PpdSettings settings = options.settings;
  if (const auto former = settingsOf(*open)) {
    settings = *former;
  } else {
    const auto kind = kindOf(*open, options, leaveAlone);
    if (!kind) return leaveAlone(kind.error());
    settings.kind = *kind;
  }
  const auto enabled = enable(*open, settings);
  if (!enabled) return tell({enabled.error().what, false});
  tell({*enabled ? fmt::format("reports its supplies from now on, as a printer of the type {}",
                               typedKind(settings.kind))
                 : "is set up like this already"});
}

int enableAll(const EnableOptions& options) {
  const auto queues = PrintServer::connect().and_then(
      [](PrintServer&& server) { return server.queuesWithPrinter(); });
  if (!queues) return complain(kCommand, queues.error());
  const auto patience = std::chrono::seconds(options.settings.deadline) + std::chrono::seconds(15);
  const int exitStatus = doForEachQueue(
      kCommand, *queues, patience, [&options](const std::string& name, const TellOutcome& tell) {
        enableEach(options, name, tell);
      });
  const int subscribed = subscribeForAll();
  return exitStatus != EXIT_SUCCESS ? exitStatus : subscribed;
}

Option typeOption(EnableOptions& options) {
  return choice<std::optional<PrinterKind>>(
      "--type", options.kind, {{"laser", PrinterKind::kLaser}, {"inkjet", PrinterKind::kInkjet}},
      "TYPE", "laser or inkjet; `moxsupply levels` finds it out");
}

Result<> agree(EnableOptions& options) {
  if (options.all == !options.queue.empty()) return misuse("name one queue, or give --all");
  if (!options.all && !options.kind) return misuse("--type is required");
  options.settings.kind = options.kind.value_or(PrinterKind::kLaser);
  options.settings.afterJobs = !options.noAfterJobs;
  return {};
}

}  // namespace

Command enableCommand() {
  const auto options = std::make_shared<EnableOptions>();
  Option queue = queueArgument(options->queue);
  queue.isRequired = false;
  return {
      .name = kCommand,
      .usage =
          "moxsupply enable QUEUE --type laser|inkjet [--low PERCENT] [--no-after-jobs]\n"
          "                 [--timeout SECONDS] [--deadline SECONDS]\n"
          "       moxsupply enable --all [--type laser|inkjet] [--low PERCENT] [--no-after-jobs]\n"
          "                 [--timeout SECONDS] [--deadline SECONDS]",
      .about =
          "Let a print queue report its printer's supplies.\n"
          "\n"
          "Adds the command filter commandtomox to the queue's own driver (PPD file), with the "
          "commands\n"
          "that it takes, and switches off the print server's own way of asking (SNMP), which "
          "would\n"
          "overwrite the levels. All else of the driver stays as it is. From then on the printer "
          "is\n"
          "asked after each print job, at most once a minute. Needs an administrator's\n"
          "rights. `moxsupply disable` takes it away again; a new driver for the queue does so "
          "too.\n"
          "With --all: every queue whose printer answers, which tells its type; a line each.",
      .footer =
          "Examples:\n"
          "  sudo moxsupply enable office --type laser\n"
          "  sudo moxsupply enable --all --low 15\n"
          "\n"
          "Exit status: 0 the queue is set up; 1 the print server refused; 2 the arguments are "
          "wrong, "
          "or\n"
          "the queue cannot report supplies.\n",
      .options = {queue, flag("--all", options->all, "all queues whose printers answer"),
                  typeOption(*options),
                  percentage("--low", options->settings.lowLevel,
                             "low at this level and below (10)",
                             {.least = kLeastLowLevel, .most = kMostLowLevel}),
                  flag("--no-after-jobs", options->noAfterJobs,
                       "do not ask the printer after print jobs"),
                  seconds("--timeout", options->settings.timeout, {.least = 1},
                          "longest wait for each single read (2)"),
                  seconds("--deadline", options->settings.deadline, {.least = 1},
                          "longest time for everything (45)")},
      .agree = [options] { return agree(*options); },
      .run = [options] { return options->all ? enableAll(*options) : enableOne(*options); },
  };
}

}  // namespace moxsupply
