#include "commands/DisableCommand.h"

#include <fmt/format.h>

#include <memory>
#include <string>

#include "queue/OpenQueue.h"
#include "queue/PpdEdit.h"
#include "text/TerminalText.h"

namespace moxsupply {

namespace {

constexpr std::string_view kCommand = "disable";

int runDisable(const std::string& name) {
  auto opened = openQueue(name);
  if (const auto* problem = std::get_if<Problem>(&opened)) return complain(kCommand, *problem);
  auto& open = std::get<OpenQueue>(opened);
  if (!hasSupplyReports(open.ppd)) {
    return print(kCommand,
                 fmt::format("{} was not set up by moxsupply enable; nothing was changed.\n",
                             forTerminal(name)));
  }
  if (const auto problem = open.server.setPpd(name, withoutSupplyReports(open.ppd))) {
    return complain(kCommand, *problem);
  }
  return print(kCommand, fmt::format("{} no longer reports its supplies.\n", forTerminal(name)));
}

}  // namespace

void addDisableCommand(CLI::App& app, RunCommand& run) {
  CLI::App* command =
      app.add_subcommand("disable",
                         "Take away again what `moxsupply enable` added to a print queue.\n"
                         "\n"
                         "The queue's driver (PPD file) is then what it was, to the byte, but for "
                         "changes that others\n"
                         "made meanwhile, which stay. Needs an administrator's rights.");
  command->formatter(std::make_shared<Help>("moxsupply disable QUEUE"));
  command->footer("Exit status: 0 it is as it was; 1 the print server refused; 2 no such queue.\n");
  const auto queue = std::make_shared<std::string>();
  command->add_option("QUEUE", *queue, "name of a print queue")->required()->option_text(" ");
  command->callback([&run, queue] { run = [=] { return runDisable(*queue); }; });
}

}  // namespace moxsupply
