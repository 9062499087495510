// When which queue reports after print jobs, in a time of the tests' own.

#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "filter/AfterJobs.h"

namespace moxsupply {
namespace {

using namespace std::chrono_literals;
using Dues = std::vector<AfterJobs::Due>;

const std::string kOffice = "office";
const std::string kLobby = "lobby";
const AfterJobs::Due kReportOffice{kOffice, std::nullopt};
const AfterJobs::Due kReportLobby{kLobby, std::nullopt};

class AfterJobsTest : public ::testing::Test {
 protected:
  [[nodiscard]] static AfterJobs::Clock::time_point at(AfterJobs::Clock::duration time) {
    return AfterJobs::Clock::time_point(1h + time);
  }

  // A report of the office, from its submission to its end, a second later.
  void report(int job, AfterJobs::Clock::duration time) {
    mAfterJobs.submitted(kOffice, job, at(time));
    mAfterJobs.reported(kOffice, job, true, at(time + 1s));
  }

  AfterJobs mAfterJobs{60s};
};

TEST_F(AfterJobsTest, HasNothingToDoAtFirst) {
  EXPECT_EQ(mAfterJobs.next(), std::nullopt);
  EXPECT_EQ(mAfterJobs.due(at(0s)), Dues());
}

TEST_F(AfterJobsTest, ReportsAtOnceWhenAPrintJobHasEnded) {
  mAfterJobs.printed(kOffice);
  EXPECT_LE(mAfterJobs.next(), at(0s));
  EXPECT_EQ(mAfterJobs.due(at(0s)), Dues{kReportOffice});
}

TEST_F(AfterJobsTest, ReportsOnceForAllJobsUntilThen) {
  mAfterJobs.printed(kOffice);
  mAfterJobs.printed(kOffice);
  report(1, 0s);
  EXPECT_EQ(mAfterJobs.next(), std::nullopt);
  EXPECT_EQ(mAfterJobs.due(at(2h)), Dues());
}

TEST_F(AfterJobsTest, PausesAfterAReport) {
  mAfterJobs.printed(kOffice);
  report(1, 0s);  // until 1 s
  mAfterJobs.printed(kOffice);
  EXPECT_EQ(mAfterJobs.next(), at(61s));
  EXPECT_EQ(mAfterJobs.due(at(61s - 1ns)), Dues());
  EXPECT_EQ(mAfterJobs.due(at(61s)), Dues{kReportOffice});
}

TEST_F(AfterJobsTest, PausesAfterAReportOfOthersAsWell) {
  mAfterJobs.reported(kOffice, 7, true, at(0s));
  mAfterJobs.printed(kOffice);
  EXPECT_EQ(mAfterJobs.next(), at(60s));
}

TEST_F(AfterJobsTest, LetsAReportOfOthersDo) {
  mAfterJobs.printed(kOffice);
  mAfterJobs.reported(kOffice, 7, true, at(0s));
  EXPECT_EQ(mAfterJobs.next(), std::nullopt);
}

TEST_F(AfterJobsTest, HasEachQueuePauseForItself) {
  mAfterJobs.printed(kOffice);
  report(1, 0s);
  mAfterJobs.printed(kOffice);
  mAfterJobs.printed(kLobby);
  EXPECT_EQ(mAfterJobs.due(at(10s)), Dues{kReportLobby});
  EXPECT_EQ(mAfterJobs.due(at(61s)), (Dues{kReportLobby, kReportOffice}));
}

TEST_F(AfterJobsTest, NeverHasTwoReportsAtOnce) {
  mAfterJobs.printed(kOffice);
  mAfterJobs.submitted(kOffice, 1, at(0s));
  mAfterJobs.printed(kOffice);
  mAfterJobs.ended(kOffice);
  EXPECT_EQ(mAfterJobs.due(at(100s)), Dues());
  EXPECT_TRUE(mAfterJobs.isReport(kOffice, 1));
  EXPECT_FALSE(mAfterJobs.isReport(kOffice, 2));
  EXPECT_FALSE(mAfterJobs.isReport(kLobby, 1));
}

// A queue has one job after the other.
TEST_F(AfterJobsTest, NeedsNoOtherReportForAJobThatEndedBeforeTheReportDid) {
  mAfterJobs.printed(kOffice);
  mAfterJobs.submitted(kOffice, 1, at(0s));
  mAfterJobs.printed(kOffice);
  mAfterJobs.reported(kOffice, 1, true, at(1s));
  EXPECT_EQ(mAfterJobs.next(), std::nullopt);
}

TEST_F(AfterJobsTest, StillWantsAReportWhereOneFailed) {
  mAfterJobs.printed(kOffice);
  mAfterJobs.submitted(kOffice, 1, at(0s));
  mAfterJobs.printed(kOffice);
  mAfterJobs.reported(kOffice, 1, false, at(1s));
  EXPECT_EQ(mAfterJobs.next(), at(61s));
}

TEST_F(AfterJobsTest, DoesNotInsistOnAReportThatFailed) {
  mAfterJobs.printed(kOffice);
  mAfterJobs.submitted(kOffice, 1, at(0s));
  mAfterJobs.reported(kOffice, 1, false, at(1s));
  EXPECT_EQ(mAfterJobs.next(), std::nullopt);
}

TEST_F(AfterJobsTest, WaitsForTheLastOfOtherJobs) {
  mAfterJobs.printed(kOffice);
  mAfterJobs.mustWait(kOffice, at(0s));
  EXPECT_EQ(mAfterJobs.due(at(30s)), Dues());
  mAfterJobs.printed(kOffice);
  EXPECT_EQ(mAfterJobs.due(at(30s)), Dues{kReportOffice});
  mAfterJobs.mustWait(kOffice, at(30s));
  mAfterJobs.ended(kOffice);  // it was no print job
  EXPECT_EQ(mAfterJobs.due(at(31s)), Dues{kReportOffice});
}

TEST_F(AfterJobsTest, LooksAgainWhereNobodyTellsOfTheEndOfOtherJobs) {
  mAfterJobs.printed(kOffice);
  mAfterJobs.mustWait(kOffice, at(0s));
  EXPECT_EQ(mAfterJobs.next(), at(AfterJobs::kLookAgain));
  EXPECT_EQ(mAfterJobs.due(at(AfterJobs::kLookAgain)), Dues{kReportOffice});
}

TEST_F(AfterJobsTest, WaitsAndPauses) {
  mAfterJobs.printed(kOffice);
  report(1, 0s);
  mAfterJobs.printed(kOffice);
  mAfterJobs.mustWait(kOffice, at(2s));
  mAfterJobs.ended(kOffice);
  EXPECT_EQ(mAfterJobs.next(), at(61s));
}

TEST_F(AfterJobsTest, GivesAReportUpThatDoesNotEnd) {
  mAfterJobs.printed(kOffice);
  mAfterJobs.submitted(kOffice, 9, at(0s));
  EXPECT_EQ(mAfterJobs.next(), at(AfterJobs::kLongestReport));
  EXPECT_EQ(mAfterJobs.due(at(AfterJobs::kLongestReport)), (Dues{{kOffice, 9}}));
  mAfterJobs.dropped(kOffice, at(AfterJobs::kLongestReport));
  EXPECT_EQ(mAfterJobs.next(), std::nullopt);
  mAfterJobs.printed(kOffice);
  EXPECT_EQ(mAfterJobs.next(), at(AfterJobs::kLongestReport + 60s));
}

TEST_F(AfterJobsTest, OfAQueueThatCannotReportWantsNothing) {
  mAfterJobs.printed(kOffice);
  mAfterJobs.dropped(kOffice, at(0s));
  EXPECT_EQ(mAfterJobs.due(at(2h)), Dues());
}

TEST_F(AfterJobsTest, WantsNoReportAfterOtherJobsAlone) {
  mAfterJobs.ended(kOffice);
  EXPECT_EQ(mAfterJobs.next(), std::nullopt);
}

}  // namespace
}  // namespace moxsupply
