#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "monitoring/Digest.h"
#include "monitoring/Notifier.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TextFile.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

const Moment kMorning = momentFrom("2026-03-01T08:00:00Z").value();

Notice eventAt(Moment moment, bool isUrgent = false, std::int64_t id = 1) {
  return {.id = id,
          .kind = Notice::Kind::kEvent,
          .printer = "socket://192.0.2.7",
          .moment = moment,
          .isUrgent = isUrgent,
          .event = R"({"printer":"socket://192.0.2.7","supply":1,"event":"low"})"};
}

TEST(ADigest, IsDueSoLongAfterItsFirstNotice) {
  EXPECT_EQ(untilDigest({}, 24h, kMorning), std::nullopt);
  EXPECT_EQ(untilDigest({eventAt(kMorning)}, 24h, kMorning), 24h);
  EXPECT_EQ(untilDigest({eventAt(kMorning), eventAt(kMorning + 3h)}, 24h, kMorning + 3h), 21h);
  EXPECT_EQ(untilDigest({eventAt(kMorning)}, 24h, kMorning + 400h), 0h);
  EXPECT_EQ(untilDigest({eventAt(kMorning)}, 24h, kMorning - 400h), 24h);  // the clock was set
}

TEST(ADigest, IsDueAtOnceWhereSomethingIsUrgent) {
  EXPECT_LE(untilDigest({eventAt(kMorning), eventAt(kMorning, true)}, 24h, kMorning), 1s);
}

TEST(ADigest, IsOneLineOfJson) {
  const Notice silent = {
      .id = 2, .kind = Notice::Kind::kGone, .printer = "socket://192.0.2.8/ü", .moment = kMorning};
  Notice back = silent;
  back.kind = Notice::Kind::kBack;
  back.printer = "socket://192.0.2.9";
  EXPECT_EQ(digestOf({eventAt(kMorning), silent, back}, "server", kMorning),
            R"({"time":"2026-03-01T08:00:00Z","site":"server","events":[)"
            R"({"printer":"socket://192.0.2.7","supply":1,"event":"low"}],)"
            R"("silent":["socket://192.0.2.8/\u00fc"],"back":["socket://192.0.2.9"]})"
            "\n");
}

// Whoever reads it wants JSON, whatever has become of the store.
TEST(ADigest, LeavesOutWhatIsNoEvent) {
  Notice damaged = eventAt(kMorning);
  damaged.event = "{\"printer\":";
  EXPECT_EQ(digestOf({damaged}, "server", kMorning),
            R"({"time":"2026-03-01T08:00:00Z","site":"server","events":[],"silent":[],"back":[]})"
            "\n");
}

class ANotifier : public ::testing::Test {
 protected:
  Notifier notifier(const std::string& command, std::chrono::seconds every = 24h,
                    std::chrono::seconds patience = 60s) {
    return {mContext,
            {.command = command, .every = every, .patience = patience},
            [this](std::int64_t last) { mTold.push_back(last); },
            [this](const std::string& line) { mLog.push_back(line); }};
  }
  [[nodiscard]] std::string file(const char* name) const { return mFolder.path() / name; }

  static Moment now() { return std::chrono::system_clock::now(); }

  // Until somebody was told so often. On a busy machine a command takes its time.
  void runUntilTold(std::size_t times) {
    const auto end = std::chrono::steady_clock::now() + 60s;
    mContext.restart();
    while (mTold.size() < times && std::chrono::steady_clock::now() < end) {
      mContext.run_one_until(end);
    }
  }

  TemporaryFolder mFolder;
  boost::asio::io_context mContext;
  std::vector<std::int64_t> mTold;
  std::vector<std::string> mLog;
};

TEST_F(ANotifier, GivesTheDigestToItsCommand) {
  Notifier notifier = this->notifier("cat >" + file("said"));
  std::vector<Notice> many(30'000, eventAt(now()));  // more than any pipe takes
  many.push_back(eventAt(now(), true, 7));
  notifier.setNotices(many);
  runUntilTold(1);
  EXPECT_THAT(mTold, ElementsAre(7));
  const std::string said = contentOf(file("said"));
  EXPECT_GT(said.size(), 30'000U * many.front().event.size());
  EXPECT_TRUE(said.ends_with("],\"silent\":[],\"back\":[]}\n"));
  EXPECT_THAT(mLog, IsEmpty());
}

// The notices may go while the timer that was set for them is being heard.
TEST_F(ANotifier, BeginsNoDigestOfNothing) {
  Notifier notifier = this->notifier("touch " + file("said"), 1s);
  boost::asio::steady_timer before(mContext, std::chrono::steady_clock::now());
  before.async_wait([&](const auto& /*error*/) { notifier.setNotices({}); });
  notifier.setNotices({eventAt(now() - 1h, false, 1)});
  std::this_thread::sleep_for(10ms);
  mContext.run_for(500ms);
  EXPECT_THAT(mTold, IsEmpty());
  EXPECT_FALSE(std::filesystem::exists(file("said")));
}

TEST_F(ANotifier, TellsNobodyTwice) {
  Notifier notifier = this->notifier("cat >>" + file("said"), 1s);
  notifier.setNotices({eventAt(now(), true, 1)});
  runUntilTold(1);
  EXPECT_THAT(mTold, ElementsAre(1));
  notifier.setNotices({eventAt(now(), true, 1), eventAt(now(), true, 2)});  // not noted yet
  runUntilTold(2);
  mContext.run_for(1s);
  EXPECT_THAT(mTold, ElementsAre(1, 2));
  const std::string said = contentOf(file("said"));
  EXPECT_EQ(std::ranges::count(said, '\n'), 2);
}

TEST_F(ANotifier, WaitsForWhatIsNotUrgent) {
  Notifier notifier = this->notifier("cat >>" + file("said"), 2s);
  notifier.setNotices({eventAt(now(), false, 1)});
  mContext.run_for(1s);
  notifier.setNotices({eventAt(now() - 1s, false, 1), eventAt(now(), false, 2)});
  EXPECT_THAT(mTold, IsEmpty());
  runUntilTold(1);
  EXPECT_THAT(mTold, ElementsAre(2));
}

TEST_F(ANotifier, TellsOfAFloorWithoutPowerInOneLine) {
  Notifier notifier = this->notifier("cat >>" + file("said"), 1s);
  std::vector<Notice> notices;
  for (std::int64_t id = 1; id <= 300; ++id) {  // as they come in
    notices.push_back({.id = id,
                       .kind = Notice::Kind::kGone,
                       .printer = "socket://192.0.2." + std::to_string(id),
                       .moment = now()});
    notifier.setNotices(notices);
  }
  runUntilTold(1);
  mContext.run_for(1s);
  EXPECT_THAT(mTold, ElementsAre(300));
  const std::string said = contentOf(file("said"));
  EXPECT_EQ(std::ranges::count(said, '\n'), 1);
  EXPECT_THAT(said, HasSubstr("\"socket://192.0.2.1\",\"socket://192.0.2.2\","));
  EXPECT_THAT(said, HasSubstr("\"socket://192.0.2.300\"],\"back\""));
}

TEST_F(ANotifier, TriesAgainUntilItWorks) {
  Notifier notifier = this->notifier("test -e " + file("works") + " && cat >" + file("said"), 1s);
  notifier.setNotices({eventAt(now(), true, 1)});
  mContext.run_for(4s);
  EXPECT_THAT(mTold, IsEmpty());
  EXPECT_THAT(mLog, ElementsAre("the command of --notify ended with 1; it is tried again until it "
                                "works"));
  std::ofstream(file("works")) << "";
  runUntilTold(1);
  EXPECT_THAT(mTold, ElementsAre(1));
}

TEST_F(ANotifier, EndsACommandThatTakesTooLong) {
  Notifier notifier = this->notifier("echo $$ >" + file("process") + "; exec sleep 60", 10s, 1s);
  notifier.setNotices({eventAt(now(), true, 1)});
  mContext.run_for(4s);
  EXPECT_THAT(mTold, IsEmpty());
  EXPECT_THAT(mLog, ElementsAre(HasSubstr("took too long, and was ended")));
  EXPECT_NE(::kill(std::stoi(contentOf(file("process"))), 0), 0);
}

TEST_F(ANotifier, EndsItsCommandWithItself) {
  {
    Notifier notifier = this->notifier("echo $$ >" + file("process") + "; exec sleep 60");
    notifier.setNotices({eventAt(now(), true, 1)});
    mContext.run_for(2s);
  }
  EXPECT_NE(::kill(std::stoi(contentOf(file("process"))), 0), 0);
}

}  // namespace
}  // namespace moxsupply::testing
