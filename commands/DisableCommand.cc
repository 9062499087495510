#include "commands/DisableCommand.h"

#include <fmt/format.h>

#include <memory>
#include <string>

#include "commands/PrinterOptions.h"
#include "queue/EnabledQueues.h"
#include "queue/OpenQueue.h"
#include "queue/PpdEdit.h"
#include "text/TerminalText.h"

namespace moxsupply {

namespace {

constexpr std::string_view kCommand = "disable";

int runDisable(const std::string& name) {
  auto open = openQueue(name);
  if (!open) return complain(kCommand, open.error());
  const bool isSetUp = hasSupplyReports(open->ppd);
  if (isSetUp) {
    const auto changed = open->server.setPpd(name, withoutSupplyReports(open->ppd));
    if (!changed) return complain(kCommand, changed.error());
  }
  const auto forgotten =
      changeEnabledQueues([&name](EnabledQueues& queues) { queues.erase(name); });
  if (!forgotten) return complain(kCommand, forgotten.error());
  if (!isSetUp) {
    return print(kCommand,
                 fmt::format("{} was not set up by moxsupply enable; nothing was changed.\n",
                             forTerminal(name)));
  }
  return print(kCommand, fmt::format("{} no longer reports its supplies.\n", forTerminal(name)));
}

}  // namespace

Command disableCommand() {
  const auto queue = std::make_shared<std::string>();
  return {
      .name = kCommand,
      .usage = "moxsupply disable QUEUE",
      .about =
          "Take away again what `moxsupply enable` added to a print queue.\n"
          "\n"
          "The queue's driver (PPD file) is then what it was, to the byte, but for "
          "changes that others\n"
          "made meanwhile, which stay. Needs an administrator's rights.",
      .footer = "Exit status: 0 it is as it was; 1 the print server refused; 2 no such queue.\n",
      .options = {queueArgument(*queue)},
      .run = [queue] { return runDisable(*queue); },
  };
}

}  // namespace moxsupply
