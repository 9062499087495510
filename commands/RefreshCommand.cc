#include "commands/RefreshCommand.h"

#include <fmt/format.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "commands/EachQueue.h"
#include "queue/OpenQueue.h"
#include "queue/QueueSupplies.h"
#include "queue/Refresh.h"
#include "renderings/StateReasons.h"
#include "renderings/SupplyTable.h"
#include "text/ShellWord.h"
#include "text/TerminalText.h"
#include "text/Translated.h"

namespace moxsupply {

namespace {

constexpr std::string_view kCommand = "refresh";

struct RefreshOptions {
  std::string queue;
  bool all = false;
  Coloring coloring = Coloring::kAuto;
  std::uint32_t deadline = 60;  // seconds
};

std::string titleOf(const PrintQueue& queue) {
  return fmt::format("{}, {}\n\n", forTerminal(queue.name),
                     countedSupplies(queue.markerNames.size()));
}

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

int refreshOne(const RefreshOptions& options) {
  auto open = openQueue(options.queue);
  if (!open) return complain(kCommand, open.error());
  if (const auto can = takesReportLevels(*open); !can) return complain(kCommand, can.error());
  const auto refreshed =
      refresh(open->server, open->queue.name, std::chrono::seconds(options.deadline));
  if (!refreshed) return complain(kCommand, refreshed.error());

  const PrintQueue& queue = refreshed->queue;
  const bool isSilent = queue.hasReason(kDoesNotAnswer);
  std::string text;
  if (!isSilent || !queue.markerNames.empty()) {
    text = titleOf(queue) +
           supplyTable(suppliesOf(queue), wantsColor(options.coloring), columnsOfOutput());
  }
  if (!isSilent && !queue.markerMessage.empty()) {
    text += fmt::format("\n{}\n", forTerminal(queue.markerMessage));
  }
  if (const int exitStatus = print(kCommand, text); exitStatus != 0) return exitStatus;
  return isSilent ? complain(kCommand, didNotAnswer(queue)) : 0;
}

std::string resultInWords(const Result<Refreshed>& refreshed) {
  if (!refreshed) return refreshed.error().what;
  if (refreshed->queue.hasReason(kDoesNotAnswer)) return translated("no answer");
  return countedSupplies(refreshed->queue.markerNames.size());
}

// A line about each queue. A printer that is off is no failure: it is the ordinary state of most
// printers at night, when nobody wants to be told.
int refreshAll(std::chrono::seconds deadline) {
  auto names = PrintServer::connect().and_then(
      [](PrintServer&& server) { return server.queuesThatTakeCommands(); });
  if (!names) return complain(kCommand, names.error());
  std::erase_if(*names, [](const std::string& name) {  // not ours, or out of service
    const auto open = openQueue(name);
    return !open || !takesReportLevels(*open);
  });

  constexpr std::chrono::seconds kBesides(15);
  return doForEachQueue(
      kCommand, *names, deadline + kBesides,
      [deadline](const std::string& name, const TellOutcome& tell) {
        auto open = openQueue(name);
        if (!open) return tell({open.error().what});
        const std::string result = resultInWords(refresh(open->server, name, deadline));
        static_cast<void>(purgeReports(open->server, name));  // who may not leaves them to who may
        tell({result});
      });
}

int runRefresh(const RefreshOptions& options) {
  if (options.all == !options.queue.empty()) {
    return complain(kCommand, misuse("name one queue, or give --all").value());
  }
  return options.all ? refreshAll(std::chrono::seconds(options.deadline)) : refreshOne(options);
}

}  // namespace

Command refreshCommand() {
  const auto options = std::make_shared<RefreshOptions>();
  Option queue = argument("QUEUE", options->queue, "name of a print queue");
  queue.isRequired = false;
  return {
      .name = kCommand,
      .usage =
          "moxsupply refresh QUEUE [--deadline SECONDS] [--color auto|always|never]\n"
          "       moxsupply refresh --all [--deadline SECONDS]",
      .about =
          "Have a print queue report its printer's levels now, and show them.\n"
          "\n"
          "Sends the queue one ReportLevels job and waits for it. The levels are then where "
          "desktops,\n"
          "lpstat and monitoring look for them. The queue must have been set up with `moxsupply\n"
          "enable`. With --all: every such queue that is in service, several at once, a line "
          "each.",
      .footer =
          "Exit status: 0 the levels were shown; with --all, also when printers did not answer; 1 "
          "the\n"
          "printer did not answer, and its last levels were shown; 2 the arguments or the queue "
          "are\n"
          "wrong.\n",
      .options = {queue, flag("--all", options->all, "all queues that are set up for it"),
                  seconds("--deadline", options->deadline, {.least = 1},
                          "longest wait for each queue (60)"),
                  coloring(options->coloring)},
      .run =
          [options] {
            speakTheReadersLanguage();
            return runRefresh(*options);
          },
  };
}

}  // namespace moxsupply
