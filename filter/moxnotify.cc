// The notifier: the print server starts it, and tells it of each job that has ended. It has the
// queues of print jobs report their levels, which those jobs have changed.
//
//   moxsupply RECIPIENT [USER-DATA]      both are of no interest
//
// Standard input: an IPP message for each event. Environment: CUPS_SERVER;
// MOXSUPPLY_NOTIFIER_PAUSE, the seconds from a queue's last report to its next one. It ends when
// its input does; a print server whose notifier has ended starts another one at the next event.

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <deque>
#include <exception>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include "filter/AfterJobs.h"
#include "filter/JobEvent.h"
#include "filter/SchedulerMessage.h"
#include "queue/EnabledQueues.h"
#include "queue/OpenQueue.h"
#include "queue/PpdEdit.h"
#include "queue/PrintServer.h"
#include "queue/Refresh.h"
#include "text/Decimal.h"

namespace moxsupply {
namespace {

using Clock = AfterJobs::Clock;

// The events that were not looked at yet. The print server stands still while nobody reads what it
// says, so they are read as they come, and of too many the oldest are forgotten: a queue that has
// so many jobs will have another one.
class Inbox {
 public:
  void put(JobEvent event) {
    constexpr std::size_t kMost = 10'000;
    const std::lock_guard lock(mMutex);
    mEvents.push_back(std::move(event));
    if (mEvents.size() > kMost) mEvents.pop_front();
    mHasNews.notify_one();
  }

  void close() {
    const std::lock_guard lock(mMutex);
    mIsClosed = true;
    mHasNews.notify_one();
  }

  // Waits for events until then, or for ever. Nothing: there will be none.
  std::optional<std::deque<JobEvent>> takeBy(std::optional<Clock::time_point> end) {
    std::unique_lock lock(mMutex);
    const auto hasNews = [this] { return mIsClosed || !mEvents.empty(); };
    if (end) {
      mHasNews.wait_until(lock, *end, hasNews);
    } else {
      mHasNews.wait(lock, hasNews);
    }
    if (mIsClosed) return std::nullopt;
    return std::exchange(mEvents, {});
  }

 private:
  std::mutex mMutex;
  std::condition_variable mHasNews;
  std::deque<JobEvent> mEvents;
  bool mIsClosed = false;
};

class Notifier {
 public:
  explicit Notifier(Clock::duration pause) : mAfterJobs(pause) {}

  [[nodiscard]] std::optional<Clock::time_point> next() const { return mAfterJobs.next(); }

  void hear(const std::deque<JobEvent>& events) {
    mEnabled = enabledQueues();
    for (const JobEvent& event : events) {
      if (event.isAnEnd && mayWantReports(event.queue)) jobEnded(event);
    }
  }

  void doWhatIsDue() {
    for (const auto& [queue, overdue] : mAfterJobs.due(Clock::now())) {
      if (overdue) {
        giveUp(queue, *overdue);
      } else {
        report(queue);
      }
    }
  }

 private:
  // The print server may be confined to its own folders, and this process with it: then the queue's
  // PPD file says what is wanted, as `wantsReports` sees.
  [[nodiscard]] bool mayWantReports(const std::string& queue) const {
    if (!mEnabled) return true;
    const auto found = mEnabled->find(queue);
    return found != mEnabled->end() && found->second.afterJobs;
  }

  [[nodiscard]] bool wantsReports(const OpenQueue& open) const {
    return takesReportLevels(open) && (mEnabled || asksAfterJobs(open.ppd));
  }

  void jobEnded(const JobEvent& event) {
    auto server = PrintServer::connect();
    if (!server) return;
    const auto job = server->job(event.queue, event.job);
    // Whoever submitted it has purged it, or the print server keeps no jobs; then its title must
    // do.
    const bool isGone = !job && job.error().isMisuse;
    if (!job && !isGone) return mAfterJobs.ended(event.queue);
    const bool isCommandFile = job ? job->isCommandFile : event.title == kReportLevels;
    if (!isCommandFile) return mAfterJobs.printed(event.queue);
    const bool isOurs = mAfterJobs.isReport(event.queue, event.job);
    const bool hasReported = isGone || job->hasReported;
    if (!hasReported && !isOurs) return mAfterJobs.ended(event.queue);  // another command
    if (isOurs && hasReported && !isGone) purge(*server, event);
    mAfterJobs.reported(event.queue, event.job, hasReported, Clock::now());
  }

  static void purge(PrintServer& server, const JobEvent& event) {
    const auto purged = server.purgeJob(event.queue, event.job);
    if (!purged) tellScheduler("WARNING", purged.error().what);
  }

  void report(const std::string& queue) {
    const auto job = submit(queue);
    if (!job) return mAfterJobs.dropped(queue, Clock::now());
    if (!*job) return mAfterJobs.mustWait(queue, Clock::now());
    mAfterJobs.submitted(queue, **job, Clock::now());
  }

  // The job; none of its own where others wait.
  [[nodiscard]] Result<std::optional<int>> submit(const std::string& queue) const {
    auto open = openQueue(queue);
    if (!open) return tl::unexpected(std::move(open).error());
    if (!wantsReports(*open)) return failure("it is not enabled, or out of service");
    const auto jobs = open->server.unfinishedJobs(queue);
    if (!jobs) return tl::unexpected(jobs.error());
    const bool mustWait = std::ranges::any_of(*jobs, &PrintJob::isComing);
    if (mustWait) return std::optional<int>();
    const auto report = submitReport(open->server, queue, AfterJobs::kLongestReport);
    if (!report) return tl::unexpected(report.error());
    return report->isOurs ? std::optional(report->id) : std::nullopt;
  }

  // A report that was stopped has failed, and stays for people to see.
  void giveUp(const std::string& queue, int id) {
    auto server = PrintServer::connect();
    const auto job = server ? server->job(queue, id) : tl::unexpected(server.error());
    if (job && !job->isStuck()) {
      if (!job->isOver()) static_cast<void>(server->cancelJob(queue, id, cupsUser()));
      static_cast<void>(server->purgeJob(queue, id));
    }
    mAfterJobs.dropped(queue, Clock::now());
  }

  AfterJobs mAfterJobs;
  Result<EnabledQueues> mEnabled;
};

Clock::duration pauseFromEnvironment() {
  constexpr std::chrono::seconds kPause(60);
  const char* text = std::getenv("MOXSUPPLY_NOTIFIER_PAUSE");
  if (text == nullptr) return kPause;
  const auto seconds = decimal(text);
  if (seconds) return std::chrono::seconds(*seconds);
  tellScheduler("WARNING",
                fmt::format("MOXSUPPLY_NOTIFIER_PAUSE is no number of seconds: {}", text));
  return kPause;
}

int run() {
  ::signal(SIGTERM, SIG_DFL);
  ::signal(SIGPIPE, SIG_IGN);  // a print server that goes away is no reason to end so
  Inbox inbox;
  const std::jthread reader([&inbox] {
    while (auto event = readEvent(STDIN_FILENO)) inbox.put(*std::move(event));
    inbox.close();
  });
  try {
    Notifier notifier(pauseFromEnvironment());
    while (const auto events = inbox.takeBy(notifier.next())) {
      notifier.hear(*events);
      notifier.doWhatIsDue();
    }
  } catch (const std::exception& error) {
    tellScheduler("ERROR", error.what());
    ::_exit(EXIT_FAILURE);  // the reader would go on taking events, and nobody else get them
  }
  return EXIT_SUCCESS;
}

}  // namespace
}  // namespace moxsupply

int main() try { return moxsupply::run(); } catch (const std::exception& error) {
  moxsupply::tellScheduler("ERROR", error.what());
  return EXIT_FAILURE;
}
