#include "queue/Refresh.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "renderings/StateReasons.h"
#include "text/ProgressLine.h"
#include "text/ShellWord.h"
#include "text/TerminalText.h"
#include "text/Translated.h"

namespace moxsupply {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// Looks at the job more and more seldom. Returns how it ended.
Result<PrintJob> endOf(PrintServer& server, const std::string& queue, const SubmittedReport& report,
                       Clock::time_point end) {
  ProgressLine progress;
  progress.waitingFor(translated("Waiting for {} to report", forTerminal(queue)));
  for (milliseconds pause(5); Clock::now() < end; pause = std::min(pause * 2, milliseconds(200))) {
    auto job = server.job(queue, report.id);
    // Whoever submitted it has taken it out of the list, as below.
    const bool isPurged = !job && job.error().isMisuse && !report.isOurs;
    if (isPurged) return PrintJob{.state = IPP_JSTATE_COMPLETED, .hasReported = true};
    if (!job || job->isOver()) return job;
    if (job->isStuck()) {
      return failure(translated("the job was stopped: the command filter of \"{}\" failed",
                                forTerminal(queue)),
                     translated("The print server's error_log has its reason."));
    }
    std::this_thread::sleep_for(pause);
    progress.refresh();
  }
  static_cast<void>(server.cancelJob(queue, report.id, cupsUser()));
  return failure(translated("\"{}\" did not come to it by the deadline", forTerminal(queue)),
                 translated("`lpstat -o {}` shows what it is doing.", shellWord(queue)));
}

// A job that was cancelled is over before its backend is, and until then it stays listed.
void takeOutOfTheList(PrintServer& server, const std::string& queue, int job) {
  constexpr int kMostAttempts = 20;
  constexpr milliseconds kBetween(100);
  for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
    if (!server.purgeJob(queue, job) || !server.job(queue, job)) return;
    std::this_thread::sleep_for(kBetween);
  }
}

}  // namespace

// Stopped jobs are other people's or our own. Whose they are matters to the print server, which
// refuses what is not allowed.
Result<SubmittedReport> submitReport(PrintServer& server, const std::string& queue,
                                     std::chrono::seconds cancelAfter) {
  const auto jobs = server.unfinishedJobs(queue);
  if (!jobs) return tl::unexpected(jobs.error());
  std::optional<int> waiting;
  for (const PrintJob& job : *jobs) {
    if (job.title != kReportLevels) continue;
    if (job.isStuck()) {
      static_cast<void>(server.cancelJob(queue, job.id, cupsUser()).and_then([&] {
        return server.purgeJob(queue, job.id);
      }));
    } else if (!waiting) {
      waiting = job.id;
    }
  }
  if (waiting) return SubmittedReport{*waiting, false};
  const auto id = server.submitCommand(queue, kReportLevels, cancelAfter);
  if (!id) return tl::unexpected(id.error());
  return SubmittedReport{*id, true};
}

Result<PrintJob> report(PrintServer& server, const std::string& queue,
                        std::chrono::seconds deadline) {
  const auto end = Clock::now() + deadline;
  const auto report = submitReport(server, queue, deadline);
  if (!report) return tl::unexpected(report.error());
  auto job = endOf(server, queue, *report, end);
  if (job && job->hasReported && report->isOurs) {
    takeOutOfTheList(server, queue, report->id);
  }
  return job;
}

Result<Refreshed> refresh(PrintServer& server, const std::string& queue,
                          std::chrono::seconds deadline) {
  const auto job = report(server, queue, deadline);
  if (!job) return tl::unexpected(job.error());
  auto after = server.queue(queue);
  if (!after) return tl::unexpected(std::move(after).error());
  // The filter cancels a job that the printer holds; but then it has reported.
  const bool wasCancelled = job->state == IPP_JSTATE_CANCELED;
  if (wasCancelled && !job->hasReported) {
    return failure(
        translated("the report of \"{}\" was cancelled", forTerminal(queue)),
        translated("Somebody did so, or the print server, which was given a time for it."));
  }
  Refreshed refreshed{*std::move(after)};
  refreshed.wasHeld = wasCancelled && !refreshed.queue.hasReason(kDoesNotAnswer);
  return refreshed;
}

Result<> purgeReports(PrintServer& server, const std::string& queue) {
  const auto jobs = server.finishedJobs(queue);
  if (!jobs) return tl::unexpected(jobs.error());
  for (const PrintJob& job : *jobs) {
    if (job.title != kReportLevels || !job.isCommandFile || job.hasFailed()) continue;
    if (auto purged = server.purgeJob(queue, job.id); !purged) return purged;
  }
  return {};
}

}  // namespace moxsupply
