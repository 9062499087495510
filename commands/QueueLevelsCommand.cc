#include "commands/QueueLevelsCommand.h"

#include <cups/cups.h>

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <sstream>
#include <string>
#include <utility>

#include "history/Reading.h"
#include "links/ConnectedQuery.h"
#include "queue/PrintServer.h"
#include "queue/QueueSupplies.h"
#include "queue/QueueUri.h"
#include "text/ShownUri.h"
#include "text/Written.h"

namespace moxsupply {

namespace {

constexpr std::string_view kCommand = "queue-levels";

// Nobody is there to be asked for a password.
const char* noPassword(const char* /*prompt*/, http_t* /*http*/, const char* /*method*/,
                       const char* /*resource*/, void* /*data*/) {
  return nullptr;
}

Reading readingOf(const PrintQueue& queue, std::chrono::sys_seconds time, const std::string& uri) {
  Reading reading;
  reading.moment = time;
  reading.time = momentAsText(reading.moment);
  reading.printer = shownUri(uri);
  std::uint32_t number = 0;
  for (const Supply& supply : suppliesOf(queue).list) {
    ReadSupply& read = reading.supplies.emplace_back();
    static_cast<Supply&>(read) = supply;
    read.number = ++number;
  }
  return reading;
}

// What is read of a queue.
Written levelsOf(PrintServer& server, const QueueUri& place, const std::string& uri) {
  auto queue = server.queue(place.queue);
  if (!queue) return {kExitFailed, {}, complaint(kCommand, queue.error())};
  const auto time = reportTimeOf(*queue);
  return {0, (time ? asJson(readingOf(*queue, *time, uri)) : "") + '\n' +
                 shownUri(queue->deviceUri) + '\n'};
}

int runQueueLevels() {
  const char* variable = std::getenv("DEVICE_URI");
  std::istringstream uris(variable == nullptr ? "" : variable);
  std::optional<PrintServer> server;
  std::string connectedTo;
  for (std::string uri; uris >> uri;) {
    const auto place = parseQueueUri(uri);
    if (!place || (server && place->server != connectedTo)) {
      return complain(kCommand,
                      misuse("DEVICE_URI: expected ipp://HOST/printers/NAME of one HOST").value());
    }
    if (!server) {
      connectedTo = place->server;
      cupsSetServer(connectedTo.c_str());
      cupsSetPasswordCB2(noPassword, nullptr);
      auto connected = PrintServer::connect();
      if (!connected) return complain(kCommand, connected.error());
      server = *std::move(connected);
    }
    Written levels = levelsOf(*server, *place, uri);
    // Of a queue that tells more the others are heard all the same.
    levels.output.resize(std::min(levels.output.size(), kMostBytesOfQuery + 1));
    if (const int error = print(kCommand, packedOfSeveral(levels)); error != 0) return error;
  }
  return 0;
}

}  // namespace

Command queueLevelsCommand() {
  return {
      .name = kCommand,
      .usage = "moxsupply queue-levels",
      .about = "Read what a print server knows of the supplies of queues.",
      .run = runQueueLevels,
  };
}

CommandLine queueLevelsForPrograms(const std::string& program) {
  return {program, std::string(kCommand)};
}

}  // namespace moxsupply
