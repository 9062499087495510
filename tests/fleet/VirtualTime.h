#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>

#include "monitoring/Instant.h"

namespace moxsupply::testing {

// Time that passes only as things are done in it. It begins on a Monday at midnight, UTC.
class VirtualTime {
 public:
  using Time = std::chrono::steady_clock::time_point;

  // What the exporter's machine shows.
  [[nodiscard]] Instant now() const { return {mNow, truth() + mWrong}; }

  // What a clock shows that nobody sets.
  [[nodiscard]] Moment truth() const { return kBegin + (mNow - kStart); }

  [[nodiscard]] Time time() const { return mNow; }
  [[nodiscard]] std::chrono::nanoseconds passed() const { return mNow - kStart; }

  // Has the machine's clock be wrong by so much from now on.
  void setWrong(std::chrono::nanoseconds by) { mWrong = by; }
  [[nodiscard]] std::chrono::nanoseconds wrong() const { return mWrong; }

  // Has something done at a time, and after what was asked for before.
  void at(Time time, std::function<void()> what) {
    mAhead.emplace(std::pair(std::max(time, mNow), mNumber++), std::move(what));
  }
  void after(std::chrono::nanoseconds pause, std::function<void()> what) {
    at(mNow + pause, std::move(what));
  }

  [[nodiscard]] Time next() const {
    return mAhead.empty() ? Time::max() : mAhead.begin()->first.first;
  }

  // Goes on to a time and does the first thing of it, if there is any.
  void goTo(Time time) {
    mNow = std::max(mNow, time);
    if (next() > mNow) return;
    const auto what = std::move(mAhead.begin()->second);
    mAhead.erase(mAhead.begin());
    what();
  }

  // "day 3, 08:00:12.250"
  [[nodiscard]] std::string inWords() const;

 private:
  static constexpr Time kStart{std::chrono::hours(1'000)};
  static constexpr Moment kBegin =
      std::chrono::sys_days(std::chrono::March / 2 / std::chrono::year(2026));

  Time mNow = kStart;
  std::chrono::nanoseconds mWrong{};
  std::uint64_t mNumber = 0;
  std::map<std::pair<Time, std::uint64_t>, std::function<void()>> mAhead;
};

}  // namespace moxsupply::testing
