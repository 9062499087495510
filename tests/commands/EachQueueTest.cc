#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <thread>

#include "commands/EachQueue.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// What is printed, and the exit status.
struct Done {
  std::string output;
  int exitStatus = -1;
};

Done doFor(const std::vector<std::string>& queues,
           const std::function<void(const std::string&, const TellOutcome&)>& work) {
  ::testing::internal::CaptureStdout();
  Done done;
  done.exitStatus = doForEachQueue("test", queues, 1s, work);
  done.output = ::testing::internal::GetCapturedStdout();
  return done;
}

TEST(EachQueue, HasALineInItsOrder) {
  const Done done = doFor({"a", "b", "c"}, [](const std::string& queue, const TellOutcome& tell) {
    if (queue == "a") std::this_thread::sleep_for(50ms);
    tell({"is " + queue});
  });
  EXPECT_EQ(done.output, "a: is a\nb: is b\nc: is c\n");
  EXPECT_EQ(done.exitStatus, 0);
}

TEST(EachQueue, IsDoneWhileOthersAre) {
  const std::vector<std::string> queues(16, "queue");
  const auto start = Clock::now();
  const Done done = doFor(queues, [](const std::string& /*queue*/, const TellOutcome& tell) {
    std::this_thread::sleep_for(200ms);
    tell({"done"});
  });
  EXPECT_EQ(done.exitStatus, 0);
  EXPECT_LT(Clock::now() - start, 2s);  // one by one, it would be more than three
}

TEST(EachQueue, MayFailWithoutTheOthers) {
  const Done done = doFor({"good", "bad", "dead", "slow", "last"},
                          [](const std::string& queue, const auto& tell) {
                            if (queue == "bad") tell({"refused", false});
                            if (queue == "dead") ::raise(SIGKILL);
                            if (queue == "slow") std::this_thread::sleep_for(60s);
                            tell({"done"});
                          });
  EXPECT_EQ(done.output,
            "good: done\nbad: refused\ndead: it did not come to an end\n"
            "slow: it did not come to an end\nlast: done\n");
  EXPECT_EQ(done.exitStatus, 1);
}

TEST(EachQueue, MayBeNone) {
  const Done done = doFor({}, [](const std::string& /*queue*/, const TellOutcome& /*tell*/) {});
  EXPECT_EQ(done.output, "");
  EXPECT_EQ(done.exitStatus, 0);
}

TEST(EachQueue, IsHarmlessOnATerminal) {
  const Done done = doFor(
      {"a\x1B[2J"}, [](const std::string& /*queue*/, const TellOutcome& tell) { tell({"done"}); });
  EXPECT_EQ(done.output.find('\x1B'), std::string::npos);
}

}  // namespace
}  // namespace moxsupply::testing
