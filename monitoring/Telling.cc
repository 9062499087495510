#include "monitoring/Telling.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "monitoring/Digest.h"

namespace moxsupply {

namespace {

constexpr std::chrono::seconds kTryAgainAfter(60);

}  // namespace

void Telling::setNotices(std::vector<Notice> notices, const Instant& now) {
  // Of these somebody has been told, though that is not noted yet.
  std::erase_if(notices, [this](const Notice& notice) { return notice.id <= mTold; });
  mNotices = std::move(notices);
  plan(now);
}

void Telling::plan(const Instant& now) {
  mNext = Clock::time_point::max();
  if (mIsTelling || mNotices.empty()) return;
  // What the world's clock shows may be set while they wait.
  std::map<std::int64_t, Clock::time_point> due;
  for (const Notice& notice : mNotices) {
    const auto known = mDue.find(notice.id);
    const auto time = known == mDue.end()
                          ? now.time + untilDigest({notice}, mEvery, now.moment).value()
                          : known->second;
    due.emplace(notice.id, time);
    mNext = std::min(mNext, time);
  }
  mDue = std::move(due);
  mNext = std::max(mNext, mNotBefore);
}

void Telling::proceed(const Instant& now) {
  if (now.time < mNext) return;
  mNext = Clock::time_point::max();
  mIsTelling = true;
  mLast = mNotices.back().id;
  mHooks.tell(mNotices);
}

void Telling::ended(const std::string& problem, const Instant& now) {
  mIsTelling = false;
  if (problem.empty()) {
    mHasFailed = false;
    mTold = mLast;
    mHooks.told(mTold);
  } else {
    if (!std::exchange(mHasFailed, true)) {
      mHooks.log(
          fmt::format("the command of --notify {}; it is tried again until it works", problem));
    }
    mNotBefore = now.time + std::min(mEvery, kTryAgainAfter);
  }
  setNotices(std::exchange(mNotices, {}), now);
}

}  // namespace moxsupply
