#include "queue/Refresh.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "renderings/StateReasons.h"
#include "text/ProgressLine.h"
#include "text/ShellWord.h"
#include "text/TerminalText.h"

namespace moxsupply {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr const char* kCommand = "ReportLevels";

Result<int> waitingOrNewJob(PrintServer& server, const std::string& queue,
                            std::chrono::seconds deadline) {
  const auto jobs = server.unfinishedJobs(queue);
  if (!jobs) return tl::unexpected(jobs.error());
  const auto waiting = std::ranges::find_if(
      *jobs, [](const PrintJob& job) { return job.title == kCommand && !job.isStuck(); });
  if (waiting != jobs->end()) return waiting->id;
  return server.submitCommand(queue, kCommand, deadline);
}

// Looks at the job more and more seldom. Returns how it ended.
Result<PrintJob> endOf(PrintServer& server, const std::string& queue, int id,
                       Clock::time_point end) {
  ProgressLine progress;
  progress.waitingFor(fmt::format("Waiting for {} to report", forTerminal(queue)));
  for (milliseconds pause(5); Clock::now() < end; pause = std::min(pause * 2, milliseconds(200))) {
    auto job = server.job(queue, id);
    if (!job || job->isOver()) return job;
    if (job->isStuck()) {
      return failure(fmt::format("the job was stopped: the command filter of \"{}\" failed",
                                 forTerminal(queue)),
                     "The print server's error_log has its reason.");
    }
    std::this_thread::sleep_for(pause);
    progress.refresh();
  }
  static_cast<void>(server.cancelJob(queue, id, cupsUser()));
  return failure(fmt::format("\"{}\" did not come to it by the deadline", forTerminal(queue)),
                 fmt::format("`lpstat -o {}` shows what it is doing.", shellWord(queue)));
}

}  // namespace

Result<Refreshed> refresh(PrintServer& server, const std::string& queue,
                          std::chrono::seconds deadline) {
  const auto end = Clock::now() + deadline;
  const auto id = waitingOrNewJob(server, queue, deadline);
  if (!id) return tl::unexpected(id.error());
  const auto job = endOf(server, queue, *id, end);
  if (!job) return tl::unexpected(job.error());

  auto after = server.queue(queue);
  if (!after) return tl::unexpected(std::move(after).error());
  Refreshed refreshed{*std::move(after)};
  refreshed.wasHeld =
      job->state == IPP_JSTATE_CANCELED && !refreshed.queue.hasReason(kDoesNotAnswer);
  return refreshed;
}

}  // namespace moxsupply
