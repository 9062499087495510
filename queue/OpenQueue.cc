#include "queue/OpenQueue.h"

#include <fmt/format.h>

#include <utility>

#include "queue/PpdFile.h"
#include "text/ShellWord.h"
#include "text/TerminalText.h"

namespace moxsupply {

Result<OpenQueue> openQueue(const std::string& name) {
  auto server = PrintServer::connect();
  if (!server) return tl::unexpected(std::move(server).error());
  auto queue = server->queue(name);
  if (!queue) return tl::unexpected(std::move(queue).error());
  auto ppd = server->ppd(name);
  if (!ppd) return tl::unexpected(std::move(ppd).error());
  return OpenQueue{*std::move(server), *std::move(queue), *std::move(ppd)};
}

Result<> hasDriver(const OpenQueue& open) {
  if (!open.ppd.empty()) return {};
  const std::string queue = forTerminal(open.queue.name);
  return misuse(
      fmt::format("\"{}\" is a raw queue: it has no driver (PPD file), so a command for its "
                  "printer would come out as paper",
                  queue),
      fmt::format("Give it a driver first, laser-passthrough or inkjet-passthrough: lpadmin -p {} "
                  "-m drv:///moxsupply.drv/laser-passthrough.ppd",
                  shellWord(open.queue.name)));
}

Result<> takesReportLevels(const OpenQueue& open) {
  const std::string queue = forTerminal(open.queue.name);
  if (auto driver = hasDriver(open); !driver) return driver;
  const auto ppd = PpdFile::fromText(open.ppd);
  if (!open.queue.takesCommands || !ppd || ppd->commandFilter() != kCommandFilter) {
    auto problem =
        misuse(fmt::format("nothing on \"{}\" asks its printer for its supplies", queue));
    problem.value().remedy = {Remedy::Kind::kEnableQueue, open.queue.name};
    return problem;
  }
  if (open.queue.isStopped) {
    return failure(fmt::format("\"{}\" is stopped", queue),
                   fmt::format("Run: cupsenable {}", shellWord(open.queue.name)));
  }
  if (!open.queue.acceptsJobs) {
    return failure(fmt::format("\"{}\" takes no jobs", queue),
                   fmt::format("Run: cupsaccept {}", shellWord(open.queue.name)));
  }
  return {};
}

}  // namespace moxsupply
