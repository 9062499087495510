#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "history/Store.h"
#include "monitoring/Instant.h"

namespace moxsupply {

// Decides when somebody is told of which notices. As Prober, it starts nothing and waits for
// nothing itself: whoever holds it tells them, says how that ended, and what time it is.
class Telling {
 public:
  using Clock = std::chrono::steady_clock;

  struct Hooks {
    std::function<void(const std::vector<Notice>&)> tell;  // its end is told with `ended`
    std::function<void(std::int64_t)> told;  // somebody was, up to and with this notice
    std::function<void(const std::string&)> log;
  };

  Telling(std::chrono::seconds every, Hooks hooks) : mEvery(every), mHooks(std::move(hooks)) {}

  // All that there are now.
  void setNotices(std::vector<Notice> notices, const Instant& now);

  // `problem`: why somebody may not have been told; empty where all is well.
  void ended(const std::string& problem, const Instant& now);

  // Has somebody told, where it is time. To be called at `nextMove` at the latest.
  void proceed(const Instant& now);
  [[nodiscard]] Clock::time_point nextMove() const { return mNext; }

 private:
  void plan(const Instant& now);

  std::chrono::seconds mEvery;
  Hooks mHooks;
  std::vector<Notice> mNotices;
  bool mIsTelling = false;
  std::int64_t mLast = 0;  // of those that are being told
  std::int64_t mTold = 0;
  std::map<std::int64_t, Clock::time_point> mDue;  // when those that wait are to be told
  bool mHasFailed = false;
  Clock::time_point mNotBefore = Clock::time_point::min();
  Clock::time_point mNext = Clock::time_point::max();
};

}  // namespace moxsupply
