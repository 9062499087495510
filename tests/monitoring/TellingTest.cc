// When somebody is told of notices, at times of the test's own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "monitoring/Telling.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ATelling : public ::testing::Test {
 protected:
  // A notice of now comes to those that wait.
  void come(bool isUrgent = false) {
    mNotices.push_back({.id = ++mLast,
                        .kind = Notice::Kind::kBack,
                        .printer = "socket://192.0.2.7",
                        .moment = mNow.moment,
                        .isUrgent = isUrgent});
    mTelling.setNotices(mNotices, mNow);
  }

  void pass(std::chrono::minutes time) {
    mNow = {mNow.time + time, mNow.moment + time};
    mTelling.proceed(mNow);
  }

  // Somebody sets the clock.
  void set(std::chrono::hours by) { mNow.moment += by; }

  Instant mNow = {Telling::Clock::time_point(1000h), momentFrom("2026-03-01T08:00:00Z").value()};
  std::int64_t mLast = 0;
  std::vector<Notice> mNotices;
  std::vector<std::size_t> mTold;  // how many at once
  Telling mTelling{24h,
                   {.tell = [this](const auto& notices) { mTold.push_back(notices.size()); },
                    .told = [](std::int64_t) {},
                    .log = [](const std::string&) {}}};
};

TEST_F(ATelling, IsNotSoonerSinceTheClockIsSetForward) {
  come();
  pass(1h);
  set(72h);
  come();
  pass(22h);
  EXPECT_THAT(mTold, IsEmpty());
  pass(1h);
  EXPECT_THAT(mTold, ElementsAre(2));
}

TEST_F(ATelling, IsNotLaterSinceTheClockIsSetBack) {
  come();
  set(-72h);
  for (int hour = 0; hour < 23; ++hour) {
    pass(1h);
    come();
  }
  EXPECT_THAT(mTold, IsEmpty());
  pass(1h);
  EXPECT_THAT(mTold, ElementsAre(24));
}

TEST_F(ATelling, IsAtOnceWhereSomethingIsUrgent) {
  come();
  pass(1h);
  come(/*isUrgent=*/true);
  pass(1min);
  EXPECT_THAT(mTold, ElementsAre(2));
}

// Two commands at once would tell the same twice.
TEST_F(ATelling, IsOverBeforeTheNextOneBegins) {
  come(/*isUrgent=*/true);
  pass(1min);
  come(/*isUrgent=*/true);
  pass(1h);
  EXPECT_THAT(mTold, ElementsAre(1));
  mTelling.ended({}, mNow);
  pass(1min);
  EXPECT_THAT(mTold, ElementsAre(1, 1));
}

}  // namespace
}  // namespace moxsupply::testing
