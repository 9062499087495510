#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace moxsupply {

// Which queue is to report when, now that print jobs have ended. It is told what happens and when,
// and does nothing itself.
//
// A queue has one job after the other, so a report tells the levels after all jobs that ended
// before it did.
class AfterJobs {
 public:
  using Clock = std::chrono::steady_clock;

  // How long a report may take. One that is still not over then waits for a queue that was stopped,
  // say.
  static constexpr std::chrono::seconds kLongestReport = std::chrono::minutes(2);

  // How long until the jobs are looked at anew that a report had to wait for, in case that nobody
  // told of their end.
  static constexpr std::chrono::seconds kLookAgain = std::chrono::minutes(1);

  // `pause`: from a queue's last report to its next one.
  explicit AfterJobs(Clock::duration pause) : mPause(pause) {}

  // A print job of the queue has ended: its printer has other levels.
  void printed(const std::string& queue);

  // A report of the queue is over, whoever had it made. `hasReported`: it told the levels.
  void reported(const std::string& queue, int job, bool hasReported, Clock::time_point now);

  // Some other job is over, for which a report may have waited.
  void ended(const std::string& queue);

  struct Due {
    std::string queue;
    std::optional<int> overdue;  // the job of a report to be given up; none: one is to be made
    friend bool operator==(const Due&, const Due&) = default;
  };

  // What is to be done now; each must be answered by one of the functions below.
  [[nodiscard]] std::vector<Due> due(Clock::time_point now);

  // When there is something to be done next, if nothing else happens before; never, where nothing
  // is wanted.
  [[nodiscard]] std::optional<Clock::time_point> next() const;

  // The report was made, as this job.
  void submitted(const std::string& queue, int job, Clock::time_point now);

  // Other jobs wait on the queue; the report is to come after the last of them.
  void mustWait(const std::string& queue, Clock::time_point now);

  // The queue cannot report, or its report was given up.
  void dropped(const std::string& queue, Clock::time_point now);

  // Whether it is a report that was submitted here and is not over.
  [[nodiscard]] bool isReport(const std::string& queue, int job) const;

 private:
  struct Queue {
    bool isWanted = false;
    std::optional<int> report = {};                     // its job
    Clock::time_point next = Clock::time_point::min();  // before it nothing is done
    Clock::time_point pauseEnds = Clock::time_point::min();
  };

  Clock::duration mPause;
  std::map<std::string, Queue> mQueues;
};

}  // namespace moxsupply
