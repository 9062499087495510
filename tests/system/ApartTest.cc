// Work in a process of its own: what came out of it comes, and nothing else of it does.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <stdexcept>
#include <thread>

#include "system/Apart.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;
using Clock = Apart::Clock;

TEST(ApartTest, HandsOverWhatCameOut) {
  const std::string longText(200000, 'x');  // more than a pipe holds
  auto apart = Apart::begin([&](const Apart::Finish& finish) { finish(longText); });
  ASSERT_TRUE(apart);
  EXPECT_EQ(apart->resultBy(Clock::now() + 20s), longText);
}

TEST(ApartTest, LeavesThisProcessAsItWas) {
  int changed = 1;
  auto apart = Apart::begin([&](const Apart::Finish& finish) {
    changed = 2;
    ::close(STDERR_FILENO);
    finish(std::to_string(changed));
  });
  ASSERT_TRUE(apart);
  EXPECT_EQ(apart->resultBy(Clock::now() + 20s), "2");
  EXPECT_EQ(changed, 1);
  EXPECT_NE(::fcntl(STDERR_FILENO, F_GETFD), -1);
}

TEST(ApartTest, IsFinishedByAnotherOfItsThreads) {
  auto apart = Apart::begin([](const Apart::Finish& finish) {
    std::thread other([&] { finish("by then"); });
    std::this_thread::sleep_for(60s);
    other.join();
  });
  ASSERT_TRUE(apart);
  EXPECT_EQ(apart->resultBy(Clock::now() + 20s), "by then");
}

TEST(ApartTest, EndsWhatIsNotDoneInTime) {
  auto apart = Apart::begin([](const Apart::Finish&) { std::this_thread::sleep_for(60s); });
  ASSERT_TRUE(apart);
  const auto begun = Clock::now();
  EXPECT_EQ(apart->resultBy(begun + 50ms), std::nullopt);
  EXPECT_LT(Clock::now() - begun, 20s);
}

TEST(ApartTest, HasNothingOfWorkThatFails) {
  auto apart = Apart::begin([](const Apart::Finish&) { throw std::runtime_error("so"); });
  ASSERT_TRUE(apart);
  EXPECT_EQ(apart->resultBy(Clock::now() + 20s), std::nullopt);
}

}  // namespace
}  // namespace moxsupply::testing
