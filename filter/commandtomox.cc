// The CUPS command filter: answers the commands ReportLevels and ReportStatus of a print queue by
// asking its printer, and publishes what the printer says as the queue's marker attributes and
// printer-state-reasons.
//
//   commandtomox JOB USER TITLE COPIES OPTIONS [FILE]
//
// Environment: PPD and DEVICE_URI of the queue, PRINTER its name, CUPS_CACHEDIR; MOXSUPPLY_RECORD
// names a file for a transcript of the query. It ends with 0
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
#include <csignal>
#include <cstdlib>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "filter/CommandFile.h"
#include "filter/PublishedMarkers.h"
#include "filter/SchedulerMessage.h"
#include "filter/ServedJob.h"
#include "front/MoxFilter.h"
#include "links/AskAsFilter.h"
#include "links/DeviceUri.h"
#include "links/QueryWatch.h"
#include "links/Recording.h"
#include "queue/QueueSettings.h"
#include "renderings/MarkerAttributes.h"
#include "renderings/StateReasons.h"
#include "supplies/Outcome.h"
#include "supplies/Supplies.h"
#include "supplies/Words.h"
#include "system/FilterDescriptors.h"
#include "text/HarmlessText.h"

namespace moxsupply {
namespace {

constexpr int kStopsTheJob = 1;

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// How long the CUPS backend may take to end by itself, once the query is over.
constexpr milliseconds kPatience(5000);
constexpr milliseconds kPatienceAfterFailure(500);

std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

struct Commands {
  bool reportLevels = false;
  bool reportStatus = false;
  bool areRefused = false;  // some of them
};

// Some of the names, and how many others there are; each is cut, so that there is room for all.
std::string shown(const std::vector<std::string>& names) {
  constexpr std::size_t kMostShown = 3;
  constexpr std::size_t kLongestName = 60;
  std::string list;
  for (std::size_t i = 0; i < std::min(names.size(), kMostShown); ++i) {
    if (i > 0) list += ", ";
    list += fmt::format("\"{}\"", harmlessLine(names[i], kLongestName));
  }
  if (names.size() > kMostShown) {
    list += fmt::format(" and {} more", names.size() - kMostShown);
  }
  return list;
}

// Which of the commands are ours. Says in one line which are not, however many: the print server
// writes each line to its log.
Commands recognise(const CommandFile& file) {
  Commands commands;
  std::vector<std::string> unknown;
  for (const std::string& name : file.names) {
    if (::strcasecmp(name.c_str(), "ReportLevels") == 0) {
      commands.reportLevels = true;
    } else if (::strcasecmp(name.c_str(), "ReportStatus") == 0) {
      commands.reportStatus = true;
    } else {
      unknown.push_back(name);
    }
  }
  if (!unknown.empty()) {
    tellScheduler("ERROR", fmt::format("{} {} of this printer; it takes ReportLevels and "
                                       "ReportStatus",
                                       shown(unknown),
                                       unknown.size() == 1 ? "is no command" : "are no commands"));
  }
  if (file.isTooLong) {
    tellScheduler("ERROR",
                  "the command file is longer than 64 KiB or has more than 32 commands; what comes "
                  "after them is not looked at");
  }
  commands.areRefused = !unknown.empty() || file.isTooLong;
  return commands;
}

// Takes what lies on the back channel before anything was asked. A new network connection has
// nothing of that kind; a cable may still hold what the printer said to an earlier job.
void drainBackChannel() {
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
void publishFailure(Status status, PublishedMarkers& markers, bool withLevels) {
  const std::string why = fmt::format("The printer {}.", rowOf(outcomeOf(status)).what);
  tellScheduler("WARNING", why);
  sendToScheduler(stateLineAdding(kDoesNotAnswer));
  if (withLevels) {
    markers.publishMessage(
        markerMessageLine(why + " The levels shown are those of its last report."));
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

int stopJob(const Problem& problem) {
  tellScheduler("ERROR", problem.what);
  if (!problem.advice.empty()) tellScheduler("INFO", problem.advice);
  return kStopsTheJob;
}

void warnOf(const Problem& problem) { tellScheduler("ERROR", problem.what); }

// The transcript that the environment asks for; null when it asks for none. One that cannot be made
// takes no levels from the queue: that is said, and the printer is asked all the same.
std::unique_ptr<Recording> startRecording(const QueueSettings& settings) {
  const std::string path = environment("MOXSUPPLY_RECORD");
  if (path.empty()) return nullptr;
  const bool redacts = !environment("MOXSUPPLY_REDACT").empty();
  auto recording = Recording::create(path, redacts ? Redact::kYes : Redact::kNo);
  if (!recording) {
    warnOf(recording.error());
    return nullptr;
  }
  (*recording)
      ->beginQuery(std::string(wordOf(settings.kind)), settings.transport, settings.timeout);
  return *std::move(recording);
}

// The last resort. Whatever hangs, the filter ends by its deadline, and not as a failure, which
// would stop the job.
void endAtTheLatestAfter(std::uint32_t seconds) {
  ::signal(SIGALRM, [](int) { ::_exit(EXIT_SUCCESS); });
  ::alarm(seconds);
}

// What must be given up when, so that all is done by the deadline.
struct Timetable {
  explicit Timetable(std::chrono::seconds deadline)
      : query(start + deadline - std::min(milliseconds(2000), milliseconds(deadline) / 2)),
        backend(start + deadline - std::min(milliseconds(1000), milliseconds(deadline) / 4)) {}

  // How long to wait for the backend's end, if it may take `patience`.
  [[nodiscard]] milliseconds patienceUntilBackend(milliseconds patience) const {
    const auto left = std::chrono::duration_cast<milliseconds>(backend - Clock::now());
    return std::clamp(left, milliseconds(0), patience);
  }

  Clock::time_point start = Clock::now();
  Clock::time_point query;    // time is left to say that the printer gave no answer
  Clock::time_point backend;  // time is left to cancel the job
};

int answer(const Commands& commands, const std::optional<ServedJob>& job,
           const std::string& jobOptions) {
  const std::string ppdPath = environment("PPD");
  const std::string deviceUri = environment("DEVICE_URI");
  const auto settings = queueSettings(ppdPath, jobOptions, deviceUri);
  if (!settings) return stopJob(settings.error());
  for (const std::string& ignored : settings->ignoredOptions) tellScheduler("WARNING", ignored);
  if (!deviceUri.empty() && !bringsAnswersBack(deviceUri)) {
    return stopJob({.what = fmt::format("{} brings no answers back from the printer; nothing was "
                                        "sent",
                                        linkOf(deviceUri)),
                    .advice = std::string(kOtherLinks)});
  }
  const auto filter = MoxFilter::initWithPrinterType(std::string(wordOf(settings->kind)),
                                                     settings->transport, settings->timeout);
  if (!filter) {
    return stopJob(
        {.what = fmt::format("a \"{}\" connection brings no answers back from the printer",
                             settings->transport),
         .advice = std::string(kOtherLinks)});
  }

  endAtTheLatestAfter(settings->deadline);
  const Timetable times{std::chrono::seconds(settings->deadline)};
  PublishedMarkers markers(environment("CUPS_CACHEDIR"), environment("PRINTER"), ppdPath);
  const auto recording = startRecording(*settings);
  const Report report = [&] {
    const QueryWatch watch("", {.all = times.query}, [&](const QueryWatch& /*watch*/) {
      publishFailure(Status::kNothingReceived, markers, commands.reportLevels);
      if (job) endJob(*job, times.patienceUntilBackend(kPatienceAfterFailure));
      ::_exit(commands.areRefused ? kStopsTheJob : EXIT_SUCCESS);
    });
    if (settings->transport == "usb") drainBackChannel();
    return askAsFilter(*filter, recording.get());
  }();
  if (recording != nullptr) {
    if (const auto whole = recording->isWhole(); !whole) warnOf(whole.error());
  }
  const bool hasFailed = report.status != Status::kSuccess;
  if (hasFailed) {
    publishFailure(report.status, markers, commands.reportLevels);
  } else {
    publish(suppliesFromReport(report.dictionary), markers, commands.reportLevels);
  }
  // A cable's backend ends by itself, but not without its printer.
  const bool mayBeHeld = hasFailed || settings->transport != "usb";
  if (job && mayBeHeld) {
    endJob(*job, times.patienceUntilBackend(hasFailed ? kPatienceAfterFailure : kPatience));
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
  endAtTheLatestAfter(QueueSettings().deadline);  // the command file may come slowly, too
  const std::string file = argc == kWithFile ? argv[kWithFile - 1] : "";
  const auto commandFile = readCommandFile(file);
  if (!commandFile) {
    tellScheduler("ERROR", fmt::format("cannot read the command file \"{}\"", file));
    return kStopsTheJob;
  }
  const Commands commands = recognise(*commandFile);
  int exitStatus = commands.areRefused ? kStopsTheJob : EXIT_SUCCESS;
  if (commands.reportLevels || commands.reportStatus) {
    exitStatus = std::max(exitStatus, answer(commands, servedJob(argv[1], argv[2]), argv[5]));
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
