#include "commands/QueueLevelsCommand.h"

#include <cups/cups.h>

#include <cstdlib>
#include <string>
#include <utility>

#include "history/Reading.h"
#include "queue/PrintServer.h"
#include "queue/QueueSupplies.h"
#include "queue/QueueUri.h"
#include "text/ShownUri.h"

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

int runQueueLevels() {
  const char* variable = std::getenv("DEVICE_URI");
  const std::string uri = variable == nullptr ? "" : variable;
  const auto place = parseQueueUri(uri);
  if (!place) {
    return complain(kCommand, misuse("DEVICE_URI: expected ipp://HOST/printers/NAME").value());
  }
  cupsSetServer(place->server.c_str());
  cupsSetPasswordCB2(noPassword, nullptr);
  auto server = PrintServer::connect();
  if (!server) return complain(kCommand, server.error());
  auto queue = server->queue(place->queue);
  if (!queue) {
    queue.error().isMisuse = false;  // of the list, and not of this command
    return complain(kCommand, queue.error());
  }
  const auto time = reportTimeOf(*queue);
  return print(kCommand, (time ? asJson(readingOf(*queue, *time, uri)) : "") + '\n' +
                             shownUri(queue->deviceUri) + '\n');
}

}  // namespace

Command queueLevelsCommand() {
  return {
      .name = kCommand,
      .usage = "moxsupply queue-levels",
      .about = "Read what a print server knows of a queue's supplies.",
      .run = runQueueLevels,
  };
}

CommandLine queueLevelsForPrograms(const std::string& program) {
  return {program, std::string(kCommand)};
}

}  // namespace moxsupply
