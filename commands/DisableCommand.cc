#include "commands/DisableCommand.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "commands/EachQueue.h"
#include "commands/PrinterOptions.h"
#include "queue/EnabledQueues.h"
#include "queue/ForgottenLevels.h"
#include "queue/OpenQueue.h"
#include "queue/PpdEdit.h"
#include "queue/Subscription.h"
#include "text/TerminalText.h"

namespace moxsupply {

namespace {

constexpr std::string_view kCommand = "disable";

constexpr std::chrono::seconds kPatience(30);

// A package is removed within a minute. From here on what many queues have published stays, and
// their drivers are put back all the same.
constexpr std::chrono::seconds kTimeToForget(30);

struct DisableOptions {
  std::string queue;
  bool all = false;
};

bool isRemembered(const std::string& queue) {
  const auto queues = enabledQueues();
  return queues && queues->contains(queue);
}

// Puts the driver back. Returns what people see of it no longer, or still.
Result<std::string> disable(OpenQueue& open, bool hasTimeToForget) {
  const std::string& name = open.queue.name;
  const std::string ppd = withoutSupplyReports(open.ppd);
  if (ppd == open.ppd && !isRemembered(name)) {
    return "was not set up by moxsupply enable; nothing was changed";
  }
  const auto forgotten = hasTimeToForget ? forgetLevels(open) : failure("there was no time");
  if (!open.ppd.empty()) {
    if (const auto set = open.server.setPpd(name, ppd); !set) return tl::unexpected(set.error());
  }
  const auto noted = changeEnabledQueues([&](EnabledQueues& queues) { queues.erase(name); });
  if (!noted) return tl::unexpected(noted.error());
  if (forgotten) return "no longer reports its supplies";
  return fmt::format("no longer reports its supplies; its last levels are still shown, since {}",
                     forgotten.error().what);
}

int disableOne(const std::string& name) {
  auto open = openQueue(name);
  if (!open) return complain(kCommand, open.error());
  const auto disabled = disable(*open, true);
  if (!disabled) return complain(kCommand, disabled.error());
  const auto subscribed = subscribeAsEnabled(open->server);
  if (!subscribed) return complain(kCommand, subscribed.error());
  return print(kCommand, fmt::format("{} {}.\n", forTerminal(name), *disabled));
}

// The queues that are set up, or were and are so no longer; nothing is left of those that are gone.
Result<std::vector<std::string>> queuesToDisable() {
  auto server = PrintServer::connect();
  if (!server) return tl::unexpected(std::move(server).error());
  auto there = server->queuesWithPrinter();
  if (!there) return there;
  const auto remembered = enabledQueues();
  if (!remembered) return tl::unexpected(remembered.error());
  const auto isThere = [&there](const auto& queue) {
    return std::ranges::find(*there, queue.first) != there->end();
  };
  const auto cleaned = changeEnabledQueues([&isThere](EnabledQueues& queues) {
    std::erase_if(queues, [&isThere](const auto& queue) { return !isThere(queue); });
  });
  if (!cleaned) return tl::unexpected(cleaned.error());

  auto taking = server->queuesThatTakeCommands();
  if (!taking) return taking;
  std::vector<std::string> queues;
  for (const std::string& name : *there) {
    const bool takesCommands = std::ranges::find(*taking, name) != taking->end();
    const auto ppd = takesCommands ? server->ppd(name) : Result<std::string>();
    if (remembered->contains(name) || hasSupplyReports(ppd.value_or(""))) queues.push_back(name);
  }
  return queues;
}

int disableAll() {
  const auto queues = queuesToDisable();
  if (!queues) return complain(kCommand, queues.error());
  const auto end = std::chrono::steady_clock::now() + kTimeToForget;
  const int exitStatus = doForEachQueue(
      kCommand, *queues, kPatience, [end](const std::string& name, const TellOutcome& tell) {
        auto open = openQueue(name);
        if (!open) tell({open.error().what, false});
        const auto disabled = disable(*open, std::chrono::steady_clock::now() < end);
        tell(disabled ? QueueOutcome{*disabled} : QueueOutcome{disabled.error().what, false});
      });
  const auto subscribed =
      PrintServer::connect().and_then([](PrintServer&& server) { return unsubscribe(server); });
  return subscribed ? exitStatus : complain(kCommand, subscribed.error());
}

Result<> agree(const DisableOptions& options) {
  if (options.all == !options.queue.empty()) return misuse("name one queue, or give --all");
  return {};
}

}  // namespace

Command disableCommand() {
  const auto options = std::make_shared<DisableOptions>();
  Option queue = queueArgument(options->queue);
  queue.isRequired = false;
  return {
      .name = kCommand,
      .usage =
          "moxsupply disable QUEUE\n"
          "       moxsupply disable --all",
      .about =
          "Take away again what `moxsupply enable` added to a print queue.\n"
          "\n"
          "The queue's driver (PPD file) is then what it was, to the byte, but for "
          "changes that others\n"
          "made meanwhile, which stay. What it has reported goes, too: the message, the alerts, "
          "and the\n"
          "levels, which become -1. Needs an administrator's rights. With --all: every queue that "
          "is set\n"
          "up, a line each.",
      .footer = "Exit status: 0 it is as it was; 1 the print server refused; 2 no such queue.\n",
      .options = {queue, flag("--all", options->all, "all queues that are set up")},
      .agree = [options] { return agree(*options); },
      .run = [options] { return options->all ? disableAll() : disableOne(options->queue); },
  };
}

}  // namespace moxsupply
