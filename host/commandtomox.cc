// The CUPS command filter: answers the commands ReportLevels and ReportStatus of a print queue by
// asking its printer, and publishes what the printer says as the queue's marker attributes and
// printer-state-reasons.
//
//   commandtomox JOB USER TITLE COPIES OPTIONS [FILE]
//
// Environment: PPD and DEVICE_URI of the queue, PRINTER its name, CUPS_CACHEDIR. It ends with 0
// whatever the printer does; with 1 only when it was misused or the queue is set up wrongly, since
// that stops the job.

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <memory>
#include <string>

#include "front/MoxFilter.h"
#include "host/CommandFile.h"
#include "host/MarkerAttributes.h"
#include "host/PublishedMarkers.h"
#include "host/Query.h"
#include "host/QueryWatch.h"
#include "host/QueueSettings.h"
#include "host/SchedulerMessage.h"
#include "host/StateReasons.h"
#include "host/Supplies.h"

namespace moxsupply {
namespace {

constexpr int kStopsTheJob = 1;

std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

struct Commands {
  bool reportLevels = false;
  bool reportStatus = false;
  bool haveUnknown = false;
};

// Which of the commands are ours. Says of each other one that it is refused.
Commands recognise(const std::vector<std::string>& names) {
  Commands commands;
  for (const std::string& name : names) {
    if (::strcasecmp(name.c_str(), "ReportLevels") == 0) {
      commands.reportLevels = true;
    } else if (::strcasecmp(name.c_str(), "ReportStatus") == 0) {
      commands.reportStatus = true;
    } else {
      tellScheduler("ERROR", fmt::format("\"{}\" is no command of this printer; it takes "
                                         "ReportLevels and ReportStatus",
                                         name));
      commands.haveUnknown = true;
    }
  }
  return commands;
}

// Takes what lies on the back channel before anything was asked. A new network connection has
// nothing of that kind; a cable may still hold what the printer said to an earlier job.
void drainBackChannel() {
  constexpr int kBackChannel = 3;
  constexpr int kMostReads = 64;
  std::array<char, 4096> buffer{};
  pollfd readable = {.fd = kBackChannel, .events = POLLIN, .revents = 0};
  for (int reads = 0; reads < kMostReads; ++reads) {
    if (::poll(&readable, 1, 0) <= 0 || (readable.revents & POLLIN) == 0) return;
    if (::read(kBackChannel, buffer.data(), buffer.size()) <= 0) return;
  }
}

// The levels stay as they were last reported: old ones are better than none, and the message says
// that they are old.
void publishSilence(PublishedMarkers& markers, bool withLevels) {
  tellScheduler("WARNING", "The printer did not say what supplies it has.");
  sendToScheduler(stateLineAdding(kDoesNotAnswer));
  if (withLevels) {
    markers.publishMessage(markerMessageLine(
        "The printer did not answer; the levels shown are those of its last report."));
  }
}

void publish(const Supplies& supplies, PublishedMarkers& markers, bool withLevels) {
  if (withLevels) {
    const MarkerAttributes attributes = markerAttributes(supplies);
    if (attributes.names.empty()) {
      tellScheduler("WARNING", "The printer reports no supplies.");
    } else {
      markers.publishLists(markerLines(attributes));
    }
    markers.publishMessage(markerMessageLine(attributes.message));
  }
  sendToScheduler(stateLines(stateReasons(supplies)));
}

int misuse(const Problem& problem) {
  tellScheduler("ERROR", problem.what);
  if (!problem.advice.empty()) tellScheduler("INFO", problem.advice);
  return kStopsTheJob;
}

int answer(const Commands& commands, const std::string& jobOptions) {
  const std::string ppdPath = environment("PPD");
  const std::string deviceUri = environment("DEVICE_URI");
  const auto found = queueSettings(ppdPath, jobOptions, deviceUri);
  if (const auto* problem = std::get_if<Problem>(&found)) return misuse(*problem);
  const auto& settings = std::get<QueueSettings>(found);
  const auto filter =
      MoxFilter::initWithPrinterType(settings.printerType, settings.transport, settings.timeout);
  if (!filter) {
    return misuse({fmt::format("a \"{}\" connection brings no answers back from the printer",
                               settings.transport),
                   "Supplies can be asked over usb, socket, dnssd and mdns connections.", true});
  }

  PublishedMarkers markers(environment("CUPS_CACHEDIR"), environment("PRINTER"), ppdPath);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(settings.deadline);
  const Answer answer = [&] {
    const QueryWatch watch("", deadline, [&](const QueryWatch& /*watch*/) {
      publishSilence(markers, commands.reportLevels);
      ::_exit(EXIT_SUCCESS);
    });
    if (settings.transport == "usb") drainBackChannel();
    return askPrinterOnStandardOutput(*filter);
  }();
  if (answer.status == Status::kSuccess) {
    publish(suppliesFromReport(answer.json), markers, commands.reportLevels);
  } else if (answer.status == Status::kUndecodable) {
    tellScheduler("WARNING", "The printer answered, but its supplies cannot be read.");
  } else {
    publishSilence(markers, commands.reportLevels);
  }
  return EXIT_SUCCESS;
}

int run(int argc, char** argv) {
  constexpr int kWithoutFile = 6;
  constexpr int kWithFile = 7;
  if (argc != kWithoutFile && argc != kWithFile) {
    tellScheduler("ERROR", "usage: commandtomox JOB USER TITLE COPIES OPTIONS [FILE]");
    return kStopsTheJob;
  }
  const std::string file = argc == kWithFile ? argv[kWithFile - 1] : "";
  const auto names = readCommandFile(file);
  if (!names) {
    tellScheduler("ERROR", fmt::format("cannot read the command file \"{}\"", file));
    return kStopsTheJob;
  }
  const Commands commands = recognise(*names);
  int exitStatus = commands.haveUnknown ? kStopsTheJob : EXIT_SUCCESS;
  if (commands.reportLevels || commands.reportStatus) {
    exitStatus = std::max(exitStatus, answer(commands, argv[kWithoutFile - 1]));
  }
  return exitStatus;
}

}  // namespace
}  // namespace moxsupply

int main(int argc, char** argv) try {
  return moxsupply::run(argc, argv);
} catch (const std::exception& error) {
  moxsupply::tellScheduler("ERROR", error.what());
  return moxsupply::kStopsTheJob;
}
