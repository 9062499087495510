#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <string>
#include <utility>

#include "system/ChildProcess.h"
#include "system/Pipe.h"
#include "tests/support/FilterProcess.h"
#include "tests/support/Hex.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;

// What a child does until it is killed.
void sleepForLong() { ::sleep(60); }

// How the child ended: "exit 7", "signal 9", or "running".
std::string endingOf(const ChildProcess& child) {
  if (!child.waitStatus()) return "running";
  const int status = *child.waitStatus();
  return WIFEXITED(status) ? "exit " + std::to_string(WEXITSTATUS(status))
                           : "signal " + std::to_string(WTERMSIG(status));
}

// A pipe of which a child has the one end that can be written to, so that the other end tells of
// its life.
class Life {
 public:
  // In the child: keeps nothing but the child's end.
  void live() { mPipe.readEnd = FileDescriptor(); }

  // In the parent, once the child has been made.
  void letGo() { mPipe.writeEnd = FileDescriptor(); }

  [[nodiscard]] bool isOverWithin(std::chrono::milliseconds patience) const {
    pollfd end = {.fd = mPipe.readEnd.get(), .events = 0, .revents = 0};
    return ::poll(&end, 1, static_cast<int>(patience.count())) == 1;
  }

 private:
  Pipe mPipe = makePipe(Blocking::kYes);
};

TEST(ChildProcess, EndsWithZeroWhenItsBodyReturns) {
  ChildProcess child([] {});
  EXPECT_TRUE(child.waitFor(10s));
  EXPECT_EQ(endingOf(child), "exit 0");
}

TEST(ChildProcess, TellsHowItEnded) {
  ChildProcess exited([] { ::_exit(7); });
  EXPECT_TRUE(exited.waitFor(10s));
  EXPECT_EQ(endingOf(exited), "exit 7");
  ChildProcess stopped([] { ::raise(SIGTERM); });
  EXPECT_TRUE(stopped.waitFor(10s));
  EXPECT_EQ(endingOf(stopped), "signal 15");
}

TEST(ChildProcess, IsWaitedForNoLongerThanAllowed) {
  ChildProcess child(sleepForLong);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(child.waitFor(0s));
  EXPECT_FALSE(child.waitFor(50ms));
  EXPECT_GE(std::chrono::steady_clock::now() - start, 50ms);
  EXPECT_LT(std::chrono::steady_clock::now() - start, 10s);
  EXPECT_EQ(endingOf(child), "running");
}

TEST(ChildProcess, CanBeKilled) {
  ChildProcess child(sleepForLong);
  child.kill();
  EXPECT_EQ(endingOf(child), "signal 9");
  EXPECT_TRUE(child.waitFor(0s));
  child.kill();
  EXPECT_EQ(endingOf(child), "signal 9");
}

TEST(ChildProcess, ThatHasEndedCanBeWaitedForAgain) {
  ChildProcess child([] {});
  EXPECT_TRUE(child.waitFor(10s));
  EXPECT_TRUE(child.waitFor(0s));
  EXPECT_EQ(endingOf(child), "exit 0");
}

TEST(ChildProcess, ThatIsNoneHasNothingToWaitFor) {
  ChildProcess none;
  EXPECT_TRUE(none.waitFor(0s));
  EXPECT_EQ(endingOf(none), "running");
}

TEST(ChildProcess, DoesNotOutliveItsObject) {
  Life life;
  {
    const ChildProcess child([&] {
      life.live();
      sleepForLong();
    });
    life.letGo();
    EXPECT_FALSE(life.isOverWithin(20ms));
  }
  EXPECT_TRUE(life.isOverWithin(10s));
}

TEST(ChildProcess, LivesOnInTheObjectThatItIsMovedTo) {
  Life life;
  ChildProcess first([&] {
    life.live();
    sleepForLong();
  });
  life.letGo();
  ChildProcess second(std::move(first));
  ChildProcess third;
  third = std::move(second);
  EXPECT_FALSE(life.isOverWithin(20ms));
  third.kill();
  EXPECT_EQ(endingOf(third), "signal 9");
  EXPECT_TRUE(life.isOverWithin(10s));
}

// The parent has no time to do anything about it.
TEST(ChildProcess, DiesWithAParentThatIsKilled) {
  Life life;
  FilterProcess parent(BackChannel::kClosed, [&]() -> std::string {
    life.live();
    const ChildProcess child(sleepForLong);
    std::fputs("made", stdout);
    std::fflush(stdout);
    sleepForLong();
    return "";
  });
  life.letGo();
  ASSERT_EQ(parent.receive(4), bytesOf("made"));
  ::kill(parent.pid(), SIGKILL);
  EXPECT_TRUE(life.isOverWithin(10s));
}

TEST(ChildProcess, DoesNotWriteOutWhatItsParentHasNotYet) {
  FilterProcess parent(BackChannel::kClosed, [] {
    std::fputs("once", stdout);
    ChildProcess child([] { std::fflush(stdout); });
    static_cast<void>(child.waitFor(10s));
    std::fflush(stdout);
    return std::string();
  });
  EXPECT_EQ(parent.wait().written, bytesOf("once"));
}

TEST(ChildProcess, ThatCannotBeMadeHasEndedWith127) {
  FilterProcess parent(BackChannel::kClosed, [] {
    const rlimit none = {.rlim_cur = 0, .rlim_max = 0};
    ::setrlimit(RLIMIT_NPROC, &none);
    constexpr uid_t kNobody = 65534;  // root has no such limit
    if (::geteuid() == 0 && ::setuid(kNobody) != 0) return std::string("is root");
    ChildProcess child(sleepForLong);
    return endingOf(child) + (child.waitFor(0s) ? ", over" : ", not over");
  });
  EXPECT_EQ(parent.wait().result, "exit 127, over");
}

}  // namespace
}  // namespace moxsupply::testing
