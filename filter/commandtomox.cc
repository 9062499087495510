// The CUPS command filter: answers the commands ReportLevels and ReportStatus of a print queue by
// asking its printer, and publishes what the printer says as the queue's marker attributes and
// printer-state-reasons. All others go to the filter that answered them before.
//
//   commandtomox JOB USER TITLE COPIES OPTIONS [FILE]
//
// Environment: PPD and DEVICE_URI of the queue, PRINTER its name, CUPS_CACHEDIR; MOXSUPPLY_RECORD
// names a file for a transcript of the query. It ends with 0 whatever the printer does; with 1 only
// when it was misused or the queue is set up wrongly, since that stops the job.

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
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "filter/AskConfined.h"
#include "filter/CommandFile.h"
#include "filter/FormerFilter.h"
#include "filter/PublishedMarkers.h"
#include "filter/RecordingPath.h"
#include "filter/SchedulerMessage.h"
#include "filter/ServedJob.h"
#include "front/MoxFilter.h"
#include "links/DeviceUri.h"
#include "links/Recording.h"
#include "queue/PpdFile.h"
#include "queue/QueueSettings.h"
#include "renderings/MarkerAttributes.h"
#include "renderings/StateReasons.h"
#include "supplies/Attention.h"
#include "supplies/Outcome.h"
#include "supplies/Supplies.h"
#include "supplies/Words.h"
#include "system/FilterDescriptors.h"
#include "text/Decimal.h"
#include "text/HarmlessText.h"
#include "text/Translated.h"

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
  std::vector<CommandFile::Command> others;
  bool areRefused = false;  // some of them

  [[nodiscard]] bool areForUs() const { return reportLevels || reportStatus; }
};

Commands recognise(const CommandFile& file) {
  Commands commands;
  for (const CommandFile::Command& command : file.commands) {
    if (::strcasecmp(command.name.c_str(), "ReportLevels") == 0) {
      commands.reportLevels = true;
    } else if (::strcasecmp(command.name.c_str(), "ReportStatus") == 0) {
      commands.reportStatus = true;
    } else {
      commands.others.push_back(command);
    }
  }
  return commands;
}

// Some of the names, and how many others there are; each is cut, so that there is room for all.
std::string shown(const std::vector<CommandFile::Command>& commands) {
  constexpr std::size_t kMostShown = 3;
  constexpr std::size_t kLongestName = 60;
  std::string list;
  for (std::size_t i = 0; i < std::min(commands.size(), kMostShown); ++i) {
    if (i > 0) list += ", ";
    list += fmt::format("\"{}\"", harmlessLine(commands[i].name, kLongestName));
  }
  if (commands.size() > kMostShown) {
    list += fmt::format(" and {} more", commands.size() - kMostShown);
  }
  return list;
}

// In one line, however many there are: the print server writes each line to its log.
void refuse(const std::vector<CommandFile::Command>& commands) {
  tellScheduler("ERROR", fmt::format("{} {} of this printer; it takes ReportLevels and "
                                     "ReportStatus",
                                     shown(commands),
                                     commands.size() == 1 ? "is no command" : "are no commands"));
}

// Takes what lies on the back channel before anything was asked. A new network connection has
// nothing of that kind; a cable may still hold what the printer said to an earlier job, and any
// connection what it said to another filter of this one.
void drainBackChannel() {
  constexpr int kMostReads = 64;
  std::array<char, 4096> buffer{};
  pollfd readable = {.fd = kBackChannel, .events = POLLIN, .revents = 0};
  for (int reads = 0; reads < kMostReads; ++reads) {
    if (::poll(&readable, 1, 0) <= 0 || (readable.revents & POLLIN) == 0) return;
    if (::read(kBackChannel, buffer.data(), buffer.size()) <= 0) return;
  }
}

// Tells whoever had the queue report that the report is there, also if its job is cancelled
// afterwards: the print server keeps how far a job has come, and not why it was cancelled.
void endReport() { sendToScheduler("ATTR: job-media-progress=100\n"); }

// What is said elsewhere behind a program's name.
std::string asSentence(std::string text) {
  constexpr char kSmallToCapital = 'a' - 'A';
  if (!text.empty() && text.front() >= 'a' && text.front() <= 'z') {
    text.front() = static_cast<char>(text.front() - kSmallToCapital);
  }
  return text + '.';
}

// The levels stay as they were last reported: old ones are better than none, and the message says
// that they are old, where there are any.
void publishFailure(const std::string& why, PublishedMarkers& markers, bool withLevels) {
  tellScheduler("WARNING", why);
  sendToScheduler(stateLineAdding(kDoesNotAnswer));
  if (withLevels) {
    // Each publication makes levels look new to those who go by marker-change-time alone.
    if (markers.hasLevels()) {
      markers.publishNewMessage(
          markerMessageLine(fmt::format("{} {}", why, remarkOnLevelsOf(markers.reported()))));
    } else {
      sendToScheduler(markerMessageLine(why));
    }
  }
  endReport();
}

void publish(const Supplies& supplies, const Measure& measure, PublishedMarkers& markers,
             bool withLevels) {
  if (withLevels) {
    const MarkerAttributes attributes = markerAttributes(supplies, measure);
    if (attributes.names.empty()) {
      tellScheduler("WARNING", translated("The printer reports no supplies."));
    } else if (tellsLevels(supplies) || markers.hasLevels()) {
      markers.publishLists(markerLines(attributes));
    }
    markers.publishMessage(markerMessageLine(attributes.message));
  }
  sendToScheduler(stateLines(stateReasons(supplies, measure)));
  endReport();
}

// How many levels the queue is to forget, as its PPD file says; nothing where it is to report.
std::optional<std::uint32_t> levelsToForget(const std::string& ppdPath) {
  const auto ppd = PpdFile::fromFile(ppdPath);
  return ppd ? decimal(ppd->value("moxForget").value_or("")) : std::nullopt;
}

// The print server has no way to take levels away.
void forget(std::uint32_t levels, const std::string& ppdPath) {
  PublishedMarkers(environment("CUPS_CACHEDIR"), environment("PRINTER"), ppdPath).forget();
  constexpr std::uint32_t kMost = 1000;
  if (levels > 0) {
    const std::vector<int> notAvailable(std::min(levels, kMost), kNoCartridge);
    sendToScheduler(markerLevelsLine(notAvailable));
  }
  sendToScheduler(markerMessageLine(""));
  sendToScheduler(stateLines({}));
  endReport();
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
  const std::string path = recordingPath(environment("MOXSUPPLY_RECORD"), environment("PRINTER"),
                                         environment("CUPS_CACHEDIR"));
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
  if (const auto levels = levelsToForget(ppdPath)) {
    forget(*levels, ppdPath);
    if (job) endJob(*job, HasAnswered::kNo, kPatienceAfterFailure);
    return EXIT_SUCCESS;
  }
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

  translateMessages();  // into the language of the job
  endAtTheLatestAfter(settings->deadline);
  const Timetable times{std::chrono::seconds(settings->deadline)};
  PublishedMarkers markers(environment("CUPS_CACHEDIR"), environment("PRINTER"), ppdPath);
  const auto recording = startRecording(*settings);
  if (settings->transport == "usb" || !commands.others.empty()) drainBackChannel();
  const auto [report, transcript, notAsked] = askConfined(*filter, recording.get(), times.query);
  if (!transcript) warnOf(transcript.error());
  const bool hasFailed = report.status != Status::kSuccess;
  if (hasFailed) {
    const std::string why =
        notAsked.empty()
            ? translated("The printer {}.", translated(rowOf(outcomeOf(report.status)).what))
            : asSentence(notAsked);
    publishFailure(why, markers, commands.reportLevels);
  } else {
    publish(suppliesFromReport(report.dictionary), {.lowLevel = settings->lowLevel}, markers,
            commands.reportLevels);
  }
  // A cable's backend ends by itself, but not without its printer.
  const bool mayBeHeld = hasFailed || settings->transport != "usb";
  if (job && mayBeHeld) {
    endJob(*job, hasFailed ? HasAnswered::kNo : HasAnswered::kYes,
           times.patienceUntilBackend(hasFailed ? kPatienceAfterFailure : kPatience));
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
  Commands commands = recognise(*commandFile);
  const auto former = commands.others.empty() ? std::nullopt : FormerFilter::of(environment("PPD"));
  const bool isWhole = !commandFile->isTooLong || argc == kWithFile;
  if (former && !commands.areForUs() && isWhole) {
    return stopJob(former->become(argv, commands.others));
  }
  if (commandFile->isTooLong) {
    tellScheduler("ERROR",
                  "the command file is longer than 64 KiB or has more than 32 commands; what comes "
                  "after them is not looked at");
    commands.areRefused = true;
  }
  auto job = servedJob(argv[1], argv[2]);
  if (former) {
    const auto answered = former->answer(argv, commands.others);
    if (!answered) stopJob(answered.error());
    commands.areRefused |= !answered.value_or(false);
    job.reset();  // it ends when what the other filter has sent is printed
  } else if (!commands.others.empty()) {
    refuse(commands.others);
    commands.areRefused = true;
  }
  const int exitStatus = commands.areForUs() ? answer(commands, job, argv[5]) : EXIT_SUCCESS;
  return commands.areRefused ? kStopsTheJob : exitStatus;
}

}  // namespace
}  // namespace moxsupply

int main(int argc, char** argv) try {
  return moxsupply::run(argc, argv);
} catch (const std::exception& error) {
  const bool isOutOfMemory = dynamic_cast<const std::bad_alloc*>(&error) != nullptr;
  moxsupply::tellScheduler("ERROR", isOutOfMemory ? "out of memory" : error.what());
  return moxsupply::kStopsTheJob;
}
