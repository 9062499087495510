#include "queue/OpenQueue.h"

#include <fmt/format.h>

#include <utility>

#include "queue/PpdFile.h"
#include "text/TerminalText.h"

namespace moxsupply {

Result<OpenQueue> openQueue(const std::string& name) {
  auto connected = PrintServer::connect();
  if (auto* problem = std::get_if<Problem>(&connected)) return std::move(*problem);
  auto& server = std::get<PrintServer>(connected);
  auto queue = server.queue(name);
  if (auto* problem = std::get_if<Problem>(&queue)) return std::move(*problem);
  auto ppd = server.ppd(name);
  if (auto* problem = std::get_if<Problem>(&ppd)) return std::move(*problem);
  return OpenQueue{std::move(server), std::move(std::get<PrintQueue>(queue)),
                   std::move(std::get<std::string>(ppd))};
}

Problem queueIsRaw(const std::string& name) {
  const std::string queue = forTerminal(name);
  return {
      fmt::format("\"{}\" is a raw queue: it has no driver (PPD file), so a command for its "
                  "printer would come out as paper",
                  queue),
      fmt::format("Give it a driver first, laser-passthrough or inkjet-passthrough: lpadmin -p {} "
                  "-m drv:///moxsupply.drv/laser-passthrough.ppd",
                  queue),
      true};
}

std::optional<Problem> whyNoCommands(const OpenQueue& open) {
  const std::string queue = forTerminal(open.queue.name);
  if (open.ppd.empty()) return queueIsRaw(open.queue.name);
  const auto ppd = PpdFile::fromText(open.ppd);
  if (!open.queue.takesCommands || !ppd || ppd->commandFilter() != kCommandFilter) {
    return Problem{fmt::format("nothing on \"{}\" asks its printer for its supplies", queue),
                   fmt::format("Run: moxsupply enable {} --type laser|inkjet", queue), true};
  }
  if (open.queue.isStopped) {
    return Problem{fmt::format("\"{}\" is stopped", queue),
                   fmt::format("Run: cupsenable {}", queue)};
  }
  if (!open.queue.acceptsJobs) {
    return Problem{fmt::format("\"{}\" takes no jobs", queue),
                   fmt::format("Run: cupsaccept {}", queue)};
  }
  return std::nullopt;
}

}  // namespace moxsupply
