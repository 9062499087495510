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
  if (mIsTelling) return;
  const auto wait = untilDigest(mNotices, mEvery, now.moment);
  if (wait) mNext = std::max(now.time + *wait, mNotBefore);
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
