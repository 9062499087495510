#include "commands/RefreshCommand.h"

#include <fmt/format.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "queue/OpenQueue.h"
#include "queue/QueueSupplies.h"
#include "queue/Refresh.h"
#include "renderings/StateReasons.h"
#include "renderings/SupplyTable.h"
#include "text/Decimal.h"
#include "text/TerminalText.h"

namespace moxsupply {

namespace {

constexpr std::string_view kCommand = "refresh";

struct RefreshOptions {
  std::string queue;
  bool all = false;
  std::string color = "auto";
  std::string deadline = "60";
};

std::string titleOf(const PrintQueue& queue) {
  return fmt::format("{}, {} {}\n\n", forTerminal(queue.name), queue.markerNames.size(),
                     queue.markerNames.size() == 1 ? "supply" : "supplies");
}

Problem didNotAnswer(const PrintQueue& queue) {
  return {fmt::format("the printer of \"{}\" gave no levels; {}", forTerminal(queue.name),
                      queue.markerNames.empty() ? "it never has" : "those shown are its last ones"),
          fmt::format("Is it switched on and awake? `moxsupply doctor {}` looks for the reason.",
                      forTerminal(queue.name))};
}

int refreshOne(OpenQueue open, const RefreshOptions& options, std::chrono::seconds deadline) {
  if (const auto problem = whyNoCommands(open)) return complain(kCommand, *problem);
  const auto result = refresh(open.server, open.queue.name, deadline);
  if (const auto* problem = std::get_if<Problem>(&result)) return complain(kCommand, *problem);

  const PrintQueue& queue = std::get<Refreshed>(result).queue;
  const bool isSilent = queue.hasReason(kDoesNotAnswer);
  std::string text;
  if (!isSilent || !queue.markerNames.empty()) {
    text = titleOf(queue) + supplyTable(suppliesOf(queue), wantsColor(options.color));
  }
  if (!isSilent && !queue.markerMessage.empty()) {
    text += fmt::format("\n{}\n", forTerminal(queue.markerMessage));
  }
  if (const int exitStatus = print(kCommand, text); exitStatus != 0) return exitStatus;
  return isSilent ? complain(kCommand, didNotAnswer(queue)) : 0;
}

// A line about each queue. A printer that is off is no failure: it is the ordinary state of most
// printers at night, when nobody wants to be told.
int refreshAll(std::chrono::seconds deadline) {
  auto connected = PrintServer::connect();
  if (const auto* problem = std::get_if<Problem>(&connected)) return complain(kCommand, *problem);
  const auto names = std::get<PrintServer>(connected).queuesThatTakeCommands();
  if (const auto* problem = std::get_if<Problem>(&names)) return complain(kCommand, *problem);

  for (const std::string& name : std::get<std::vector<std::string>>(names)) {
    auto opened = openQueue(name);
    auto* open = std::get_if<OpenQueue>(&opened);
    if (open == nullptr || whyNoCommands(*open)) continue;  // not ours, or out of service
    const auto result = refresh(open->server, name, deadline);
    std::string line;
    if (const auto* problem = std::get_if<Problem>(&result)) {
      line = problem->what;
    } else {
      const PrintQueue& queue = std::get<Refreshed>(result).queue;
      line = queue.hasReason(kDoesNotAnswer) ? "no answer"
                                             : fmt::format("{} supplies", queue.markerNames.size());
    }
    const int exitStatus = print(kCommand, fmt::format("{}: {}\n", forTerminal(name), line));
    if (exitStatus != 0) return exitStatus;
  }
  return 0;
}

int runRefresh(const RefreshOptions& options) {
  const auto deadline = decimal(options.deadline);
  if (!deadline || *deadline == 0) {
    return complain(
        kCommand, {fmt::format("--deadline: expected a whole number of seconds from 1, not \"{}\"",
                               options.deadline),
                   {},
                   true});
  }
  if (options.all == !options.queue.empty()) {
    return complain(kCommand, {"name one queue, or give --all", {}, true});
  }
  if (options.all) return refreshAll(std::chrono::seconds(*deadline));
  auto opened = openQueue(options.queue);
  if (const auto* problem = std::get_if<Problem>(&opened)) return complain(kCommand, *problem);
  return refreshOne(std::get<OpenQueue>(std::move(opened)), options,
                    std::chrono::seconds(*deadline));
}

}  // namespace

void addRefreshCommand(CLI::App& app, RunCommand& run) {
  CLI::App* command = app.add_subcommand(
      "refresh",
      "Have a print queue report its printer's levels now, and show them.\n"
      "\n"
      "Sends the queue one ReportLevels job and waits for it. The levels are then where desktops,\n"
      "lpstat and monitoring look for them. The queue must have been set up with `moxsupply\n"
      "enable`. With --all: every such queue that is in service, one after the other, a line "
      "each.");
  command->formatter(std::make_shared<Help>(
      "moxsupply refresh QUEUE [--deadline SECONDS] [--color auto|always|never]\n"
      "       moxsupply refresh --all [--deadline SECONDS]"));
  command->footer(
      "Exit status: 0 the levels were shown; with --all, also when printers did not answer; 1 the\n"
      "printer did not answer, and its last levels were shown; 2 the arguments or the queue are\n"
      "wrong.\n");

  const auto options = std::make_shared<RefreshOptions>();
  command->add_option("QUEUE", options->queue, "name of a print queue")->option_text(" ");
  command->add_flag("--all", options->all, "all queues that are set up for it");
  command->add_option("--deadline", options->deadline, "longest wait for each queue (60)")
      ->option_text("SECONDS");
  command->add_option("--color", options->color, "auto, always or never (auto: on a terminal)")
      ->option_text("WHEN")
      ->check(CLI::IsMember({"auto", "always", "never"}));
  command->callback([&run, options] { run = [=] { return runRefresh(*options); }; });
}

}  // namespace moxsupply
