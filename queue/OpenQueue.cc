#include "queue/OpenQueue.h"

#include <fmt/format.h>

#include <utility>

#include "queue/PpdFile.h"
#include "text/ShellWord.h"
#include "text/TerminalText.h"
#include "text/Translated.h"

namespace moxsupply {

namespace {

// What `lpstat -e` shows may be no queue.
Problem explained(Problem noQueue, PrintServer& server, const std::string& name) {
  if (!noQueue.isMisuse) return noQueue;
  const std::string uri = server.printerFoundAs(name);
  return uri.empty() ? noQueue : foundOnTheNetwork(name, uri);
}

}  // namespace

std::string asAdministrator(std::string_view command, const std::string& queue) {
  return fmt::format("sudo /usr/sbin/{}", fmt::format(fmt::runtime(command), shellWord(queue)));
}

Problem foundOnTheNetwork(const std::string& name, const std::string& uri) {
  return {.what = translated("\"{}\" is a printer that was found on the network, no queue of this "
                             "print server; programs print to it without one, over IPP, and fetch "
                             "its levels themselves",
                             forTerminal(name)),
          .advice = translated("A queue for it is made with this command."),
          .isMisuse = true,
          .command = fmt::format("{} -E -v {} -m everywhere",
                                 asAdministrator("lpadmin -p {}", name), shellWord(uri))};
}

Result<OpenQueue> openQueue(const std::string& name) {
  auto server = PrintServer::connect();
  if (!server) return tl::unexpected(std::move(server).error());
  auto queue = server->queue(name);
  if (!queue) return tl::unexpected(explained(std::move(queue).error(), *server, name));
  auto ppd = server->ppd(name);
  if (!ppd) return tl::unexpected(std::move(ppd).error());
  return OpenQueue{*std::move(server), *std::move(queue), *std::move(ppd)};
}

std::string passThroughCommand(const std::string& queue, std::string_view type) {
  return fmt::format("{} -m drv:///moxsupply.drv/{}-passthrough.ppd",
                     asAdministrator("lpadmin -p {}", queue), type);
}

Result<> hasDriver(const OpenQueue& open) {
  if (!open.ppd.empty()) return {};
  const std::string queue = forTerminal(open.queue.name);
  auto problem =
      misuse(translated("\"{}\" is a raw queue: it has no driver (PPD file), so a command for its "
                        "printer would come out as paper",
                        queue),
             translated("Give it a driver that passes its data on unchanged; an inkjet printer "
                        "takes inkjet-passthrough.ppd."));
  problem.value().command = passThroughCommand(open.queue.name, "laser");
  return problem;
}

Result<> takesReportLevels(const OpenQueue& open) {
  const std::string queue = forTerminal(open.queue.name);
  if (auto driver = hasDriver(open); !driver) return driver;
  const auto ppd = PpdFile::fromText(open.ppd);
  if (!open.queue.takesCommands || !ppd || ppd->commandFilter() != kCommandFilter) {
    auto problem = misuse(translated("nothing on \"{}\" asks its printer for its supplies", queue));
    problem.value().remedy = {.kind = Remedy::Kind::kEnableQueue, .subject = open.queue.name};
    return problem;
  }
  if (open.queue.isStopped) {
    auto problem = failure(translated("\"{}\" is stopped", queue));
    problem.value().command = asAdministrator("cupsenable {}", open.queue.name);
    return problem;
  }
  if (!open.queue.acceptsJobs) {
    auto problem = failure(translated("\"{}\" takes no jobs", queue));
    problem.value().command = asAdministrator("cupsaccept {}", open.queue.name);
    return problem;
  }
  return {};
}

}  // namespace moxsupply
