#include "commands/RefreshCommand.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "json/AsciiJson.h"
#include "queue/EnabledQueues.h"
#include "queue/OpenQueue.h"
#include "queue/QueueSupplies.h"
#include "queue/Refresh.h"
#include "renderings/StateReasons.h"
#include "renderings/SupplyJson.h"
#include "renderings/SupplyTable.h"
#include "system/ManyApart.h"
#include "text/ProgressLine.h"
#include "text/ShellWord.h"
#include "text/TerminalText.h"
#include "text/Translated.h"
#include "text/Written.h"

namespace moxsupply {

namespace {

constexpr std::string_view kCommand = "refresh";

enum class Format : std::uint8_t { kTable, kJson };

struct RefreshOptions {
  std::vector<std::string> queues;
  bool all = false;
  Format format = Format::kTable;
  Coloring coloring = Coloring::kAuto;
  std::uint32_t deadline = 60;  // seconds
};

// What came of refreshing a queue.
struct Attempt {
  std::string name;
  std::optional<PrintQueue> queue = {};  // as it is afterwards; none where that is not known
  std::optional<Problem> problem = {};   // why its levels are not new
  bool isSilent = false;                 // its printer did not answer

  [[nodiscard]] int exitStatus() const {
    if (!problem) return 0;
    return problem->isMisuse ? kExitMisuse : kExitFailed;
  }
};

Problem didNotAnswer(const PrintQueue& queue) {
  const std::string name = forTerminal(queue.name);
  return {.what = queue.markerNames.empty()
                      ? translated("the printer of \"{}\" gave no levels; it never has", name)
                      : translated("the printer of \"{}\" gave no levels; those shown are its last "
                                   "ones",
                                   name),
          .advice =
              translated("Is it switched on and awake? `moxsupply doctor {}` looks for the reason.",
                         shellWord(queue.name))};
}

Attempt attempt(OpenQueue& open, std::uint32_t deadline) {
  const std::string name = open.queue.name;
  auto refreshed = refresh(open.server, name, std::chrono::seconds(deadline));
  if (!refreshed) return {name, std::move(open.queue), std::move(refreshed).error()};
  Attempt attempt = {name, std::move(refreshed)->queue};
  attempt.isSilent = attempt.queue->hasReason(kDoesNotAnswer);
  if (attempt.isSilent) attempt.problem = didNotAnswer(*attempt.queue);
  return attempt;
}

Attempt attempt(const std::string& name, std::uint32_t deadline) {
  auto open = openQueue(name);
  if (!open) return {name, {}, std::move(open).error()};
  if (auto can = takesReportLevels(*open); !can) {
    return {name, std::move(open->queue), std::move(can).error()};
  }
  return attempt(*open, deadline);
}

Measure measureFor(const std::string& queue) {
  return measureOf(enabledQueues().value_or(EnabledQueues()), queue);
}

// Of a printer that did not answer, the last levels; of a report that did not come about, nothing.
std::string asTable(const Attempt& attempt, Coloring coloring) {
  if (!attempt.queue || (attempt.problem && !attempt.isSilent)) return {};
  const PrintQueue& queue = *attempt.queue;
  std::string text;
  if (!attempt.isSilent || !queue.markerNames.empty()) {
    text = fmt::format("{}, {}\n\n", forTerminal(queue.name),
                       countedSupplies(queue.markerNames.size())) +
           supplyTable(suppliesOf(queue), wantsColor(coloring), columnsOfOutput(),
                       measureFor(queue.name));
  }
  if (!attempt.isSilent && !queue.markerMessage.empty()) {
    text += fmt::format("\n{}\n", forTerminal(queue.markerMessage));
  }
  return text;
}

// A line, also of a queue that is not refreshed: what it showed before stays.
std::string asJson(const Attempt& attempt) {
  using Json = nlohmann::ordered_json;
  const Supplies supplies = attempt.queue ? suppliesOf(*attempt.queue) : Supplies();
  return asciiJson(Json{{"queue", attempt.name},
                        {"refreshed", !attempt.problem},
                        {"why", attempt.problem ? Json(attempt.problem->what) : Json()},
                        {"supplies", suppliesAsJson(supplies, measureFor(attempt.name))}}) +
         '\n';
}

std::string inALine(const Attempt& attempt) {
  const auto words = [&]() -> std::string {
    if (attempt.isSilent) return translated("no answer");
    if (attempt.problem) return attempt.problem->what;
    const Supplies supplies = suppliesOf(*attempt.queue);
    const std::string needs = needsInWords(supplies, measureFor(attempt.name));
    if (needs.empty()) return okInWords(supplies);
    return fmt::format("{}: {}", countedSupplies(supplies.list.size()), needs);
  };
  return fmt::format("{}: {}\n", forTerminal(attempt.name), words());
}

Written partOf(const Attempt& attempt, const RefreshOptions& options) {
  return {attempt.exitStatus(),
          options.format == Format::kJson ? asJson(attempt) : asTable(attempt, options.coloring),
          attempt.problem ? complaint(kCommand, *attempt.problem) : ""};
}

// A line about each queue. A printer that is off is no failure: it is the ordinary state of most
// printers at night, when nobody wants to be told.
Written partOfAll(const std::string& name, const RefreshOptions& options) {
  const auto lineOf = [&options](const Attempt& done) {
    return Written{0, options.format == Format::kJson ? asJson(done) : inALine(done), {}};
  };
  auto open = openQueue(name);
  if (!open) return lineOf({name, {}, std::move(open).error()});
  if (!takesReportLevels(*open)) return {0, {}, {}};  // not ours, or out of service
  const Attempt done = attempt(*open, options.deadline);
  static_cast<void>(purgeReports(open->server, name));  // who may not leaves them to who may
  return lineOf(done);
}

// Several at once, shown in their order; each once those before it are there.
int refreshEach(const std::vector<std::string>& names, const RefreshOptions& options) {
  // Dead printers take ten seconds each. The print server has 100 connections in all, and a queue
  // takes two for a moment, of its refresh and of its filter.
  constexpr std::size_t kMostAtOnce = 40;
  constexpr std::chrono::seconds kBesides(15);
  int exitStatus = 0;
  bool hasShown = false;
  ProgressLine progress;
  const auto show = [&](const Written& part) {
    progress.clear();
    const bool isBlock = !options.all && options.format == Format::kTable && !part.output.empty();
    const int printed = print(kCommand, (isBlock && hasShown ? "\n" : "") + part.output);
    hasShown = hasShown || isBlock;
    fmt::print(stderr, "{}", part.errors);
    exitStatus = std::max({exitStatus, part.exitStatus, printed});
    return printed == 0;
  };
  const auto died = [&](const std::string& name) {
    const Attempt none = {name, {}, failure(translated("it did not come to an end")).value()};
    Written part = partOf(none, options);
    if (options.all && options.format == Format::kTable) part = {kExitFailed, inALine(none), {}};
    return part;
  };
  doApart(
      {.count = names.size(),
       .atOnce = kMostAtOnce,
       .patience = std::chrono::seconds(options.deadline) + kBesides,
       .work =
           [&](std::size_t place, const Apart::Finish& finish) {
             finish(packed(options.all ? partOfAll(names[place], options)
                                       : partOf(attempt(names[place], options.deadline), options)));
           },
       .take =
           [&](std::size_t place, const auto& result) {
             const auto part = unpacked(result.value_or(""));
             return show(part ? *part : died(names[place]));
           },
       .wait =
           [&](std::size_t over) {
             progress.waitingFor(translated("{} of {} queues have reported", over, names.size()));
             progress.refresh();
           }});
  return exitStatus;
}

int refreshAll(const RefreshOptions& options) {
  const auto names = PrintServer::connect().and_then(
      [](PrintServer&& server) { return server.queuesThatTakeCommands(); });
  return names ? refreshEach(*names, options) : complain(kCommand, names.error());
}

int refreshOne(const RefreshOptions& options) {
  const Written part = partOf(attempt(options.queues.front(), options.deadline), options);
  if (const int printed = print(kCommand, part.output); printed != 0) return printed;
  fmt::print(stderr, "{}", part.errors);
  return part.exitStatus;
}

int runRefresh(const RefreshOptions& options) {
  if (options.all) return refreshAll(options);
  return options.queues.size() == 1 ? refreshOne(options) : refreshEach(options.queues, options);
}

Result<> agree(const RefreshOptions& options) {
  if (options.all != options.queues.empty()) return misuse("name queues, or give --all");
  return {};
}

}  // namespace

Command refreshCommand() {
  const auto options = std::make_shared<RefreshOptions>();
  return {
      .name = kCommand,
      .usage =
          "moxsupply refresh QUEUE... [--format table|json] [--deadline SECONDS]\n"
          "                  [--color auto|always|never]\n"
          "       moxsupply refresh --all [--format table|json] [--deadline SECONDS]",
      .about =
          "Have print queues report their printers' levels now, and show them.\n"
          "\n"
          "Sends each queue one ReportLevels job and waits for it. The levels are then where "
          "desktops,\n"
          "lpstat and monitoring look for them. A queue must have been set up with `moxsupply\n"
          "enable`. With --all: every such queue that is in service, a line each. Several queues\n"
          "report at once.",
      .footer =
          "Exit status: 0 the levels were shown; with --all, also when printers did not answer; 1 "
          "the\n"
          "printer did not answer, and its last levels were shown; 2 the arguments or the queue "
          "are\n"
          "wrong.\n",
      .options = {texts("QUEUE", options->queues, " ", "names of print queues"),
                  flag("--all", options->all, "all queues that are set up for it"),
                  choice<Format>("--format", options->format,
                                 {{"table", Format::kTable}, {"json", Format::kJson}}, "FORMAT",
                                 "table, or json: a line for each queue (table)"),
                  seconds("--deadline", options->deadline, {.least = 1},
                          "longest wait for each queue (60)"),
                  coloring(options->coloring)},
      .agree = [options] { return agree(*options); },
      .run =
          [options] {
            if (options->format == Format::kTable) speakTheReadersLanguage();
            return runRefresh(*options);
          },
  };
}

}  // namespace moxsupply
