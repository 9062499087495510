#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "renderings/StateReasons.h"
#include "tests/support/MadeSupply.h"
#include "tests/support/ServerQueue.h"

namespace moxsupply::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::set<std::string_view> reasonsOf(std::vector<Supply> list) {
  Supplies supplies;
  supplies.list = std::move(list);
  return stateReasons(supplies);
}

TEST(StateReasons, OfATonerFollowItsLevel) {
  EXPECT_THAT(reasonsOf({supplyOf("toner", 0)}), ElementsAre("toner-empty-warning"));
  EXPECT_THAT(reasonsOf({supplyOf("toner", 1)}), ElementsAre("toner-low-report"));
  EXPECT_THAT(reasonsOf({supplyOf("toner", 10)}), ElementsAre("toner-low-report"));
  EXPECT_THAT(reasonsOf({supplyOf("toner", 11)}), IsEmpty());
  EXPECT_THAT(reasonsOf({supplyOf("toner", 100)}), IsEmpty());
}

TEST(StateReasons, OfAnInkCartridgeFollowItsLevel) {
  EXPECT_THAT(reasonsOf({supplyOf("ink", 0)}), ElementsAre("marker-supply-empty-warning"));
  EXPECT_THAT(reasonsOf({supplyOf("ink", 0, "Empty")}), ElementsAre("marker-supply-empty-warning"));
  EXPECT_THAT(reasonsOf({supplyOf("ink", 10)}), ElementsAre("marker-supply-low-report"));
  EXPECT_THAT(reasonsOf({supplyOf("ink", 11)}), IsEmpty());
}

TEST(StateReasons, AreNoneWhereNoLevelIsKnown) {
  EXPECT_THAT(reasonsOf({supplyOf("toner", std::nullopt), supplyOf("ink", std::nullopt)}),
              IsEmpty());
  EXPECT_THAT(reasonsOf({}), IsEmpty());
}

TEST(StateReasons, AreNoneForAFuserOrAContainer) {
  for (const char* type : {"fuser", "other"}) {
    EXPECT_THAT(reasonsOf({supplyOf(type, 0), supplyOf(type, 5)}), IsEmpty()) << type;
  }
}

TEST(StateReasons, OfACartridgeThatIsMissingOrWrongAreNotItsLevels) {
  EXPECT_THAT(reasonsOf({supplyOf("ink", std::nullopt, "Missing")}),
              ElementsAre("marker-supply-missing-warning"));
  for (const char* status : {"Invalid", "Incorrect"}) {
    EXPECT_THAT(reasonsOf({supplyOf("ink", 0, status)}),
                ElementsAre("subunit-recoverable-failure-warning"))
        << status;
  }
}

TEST(StateReasons, OfSeveralSuppliesHoldTogether) {
  EXPECT_THAT(reasonsOf({supplyOf("ink", 3), supplyOf("ink", 0), supplyOf("ink", 50),
                         supplyOf("ink", 4), supplyOf("ink", std::nullopt, "Missing")}),
              ElementsAre("marker-supply-empty-warning", "marker-supply-low-report",
                          "marker-supply-missing-warning"));
}

TEST(StateLines, ClearEveryOtherReasonOfOurs) {
  EXPECT_EQ(stateLines({}),
            "STATE: -toner-low-report,toner-empty-warning,marker-supply-low-report,"
            "marker-supply-empty-warning,marker-supply-missing-warning,"
            "subunit-recoverable-failure-warning,timed-out-report\n");
  EXPECT_EQ(stateLines({"toner-low-report", "toner-empty-warning"}),
            "STATE: -marker-supply-low-report,marker-supply-empty-warning,"
            "marker-supply-missing-warning,subunit-recoverable-failure-warning,timed-out-report\n"
            "STATE: +toner-empty-warning,toner-low-report\n");
}

TEST(StateLines, LeaveTheReasonsThatHoldAndThoseOfOthers) {
  ServerQueue queue;
  queue.hear("STATE: +media-low-warning,offline-report,toner-low-report,timed-out-report\n");
  queue.hear(stateLines({"marker-supply-low-report"}));
  EXPECT_THAT(queue.reasons(),
              ElementsAre("marker-supply-low-report", "media-low-warning", "offline-report"));
  queue.hear(stateLines({}));
  EXPECT_THAT(queue.reasons(), ElementsAre("media-low-warning", "offline-report"));
}

// Whatever can hold is cleared by the next report in which it no longer does.
TEST(StateLines, ClearEachReasonThatCanHold) {
  const std::vector<Supply> all = {supplyOf("toner", 0),
                                   supplyOf("toner", 5),
                                   supplyOf("ink", 0),
                                   supplyOf("ink", 5),
                                   supplyOf("ink", 5, "Incorrect"),
                                   supplyOf("ink", std::nullopt, "Missing")};
  ServerQueue queue;
  queue.hear(stateLines(reasonsOf(all)) + stateLineAdding(kDoesNotAnswer));
  EXPECT_EQ(queue.reasons().size(), 7U);
  queue.hear(stateLines(reasonsOf({supplyOf("toner", 50)})));
  EXPECT_THAT(queue.reasons(), IsEmpty());
}

TEST(StateLineAdding, LeavesAllOtherReasons) {
  ServerQueue queue;
  queue.hear("STATE: +toner-low-report,offline-report\n");
  queue.hear(stateLineAdding(kDoesNotAnswer));
  EXPECT_THAT(queue.reasons(),
              ElementsAre("offline-report", "timed-out-report", "toner-low-report"));
}

}  // namespace
}  // namespace moxsupply::testing
