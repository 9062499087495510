#include "filter/AfterJobs.h"

#include <algorithm>

namespace moxsupply {

void AfterJobs::printed(const std::string& queue) {
  mQueues[queue].isWanted = true;
  ended(queue);
}

void AfterJobs::reported(const std::string& queue, int job, bool hasReported,
                         Clock::time_point now) {
  Queue& state = mQueues[queue];
  if (state.report == job) state.report.reset();
  if (hasReported) state.isWanted = false;
  state.pauseEnds = now + mPause;
  ended(queue);
}

void AfterJobs::ended(const std::string& queue) {
  const auto found = mQueues.find(queue);
  if (found == mQueues.end() || found->second.report) return;
  found->second.next = found->second.pauseEnds;
}

std::vector<AfterJobs::Due> AfterJobs::due(Clock::time_point now) {
  std::erase_if(mQueues, [now](const auto& entry) {
    const Queue& state = entry.second;
    return !state.isWanted && !state.report && state.pauseEnds <= now;
  });
  std::vector<Due> due;
  for (const auto& [name, state] : mQueues) {
    if ((state.isWanted || state.report) && state.next <= now) due.push_back({name, state.report});
  }
  return due;
}

std::optional<AfterJobs::Clock::time_point> AfterJobs::next() const {
  std::optional<Clock::time_point> next;
  for (const auto& [name, state] : mQueues) {
    if (!state.isWanted && !state.report) continue;
    next = std::min(next.value_or(state.next), state.next);
  }
  return next;
}

void AfterJobs::submitted(const std::string& queue, int job, Clock::time_point now) {
  Queue& state = mQueues[queue];
  state.isWanted = false;
  state.report = job;
  state.next = now + kLongestReport;
}

void AfterJobs::mustWait(const std::string& queue, Clock::time_point now) {
  mQueues[queue].next = now + kLookAgain;
}

void AfterJobs::dropped(const std::string& queue, Clock::time_point now) {
  Queue& state = mQueues[queue];
  state = {.pauseEnds = now + mPause};
  state.next = state.pauseEnds;
}

bool AfterJobs::isReport(const std::string& queue, int job) const {
  const auto found = mQueues.find(queue);
  return found != mQueues.end() && found->second.report == job;
}

}  // namespace moxsupply
