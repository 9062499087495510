#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "renderings/StateReasons.h"
#include "tests/support/ServerQueue.h"

namespace moxsupply::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

Supply supply(const char* type, std::optional<int> percentage, const char* status = "Correct") {
  Supply supply;
  supply.name = "Name";
  supply.type = type;
  supply.status = status;
  supply.percentage = percentage;
  return supply;
}

std::set<std::string_view> reasonsOf(std::vector<Supply> list) {
  Supplies supplies;
  supplies.list = std::move(list);
  return stateReasons(supplies);
}

TEST(StateReasons, OfATonerFollowItsLevel) {
  EXPECT_THAT(reasonsOf({supply("toner", 0)}), ElementsAre("toner-empty-warning"));
  EXPECT_THAT(reasonsOf({supply("toner", 1)}), ElementsAre("toner-low-report"));
  EXPECT_THAT(reasonsOf({supply("toner", 10)}), ElementsAre("toner-low-report"));
  EXPECT_THAT(reasonsOf({supply("toner", 11)}), IsEmpty());
  EXPECT_THAT(reasonsOf({supply("toner", 100)}), IsEmpty());
}

TEST(StateReasons, OfAnInkCartridgeFollowItsLevel) {
  EXPECT_THAT(reasonsOf({supply("ink", 0)}), ElementsAre("marker-supply-empty-warning"));
  EXPECT_THAT(reasonsOf({supply("ink", 0, "Empty")}), ElementsAre("marker-supply-empty-warning"));
  EXPECT_THAT(reasonsOf({supply("ink", 10)}), ElementsAre("marker-supply-low-report"));
  EXPECT_THAT(reasonsOf({supply("ink", 11)}), IsEmpty());
}

TEST(StateReasons, AreNoneWhereNoLevelIsKnown) {
  EXPECT_THAT(reasonsOf({supply("toner", std::nullopt), supply("ink", std::nullopt)}), IsEmpty());
  EXPECT_THAT(reasonsOf({}), IsEmpty());
}

TEST(StateReasons, AreNoneForAFuserOrAContainer) {
  for (const char* type : {"fuser", "other"}) {
    EXPECT_THAT(reasonsOf({supply(type, 0), supply(type, 5)}), IsEmpty()) << type;
  }
}

TEST(StateReasons, OfACartridgeThatIsMissingOrWrongAreNotItsLevels) {
  EXPECT_THAT(reasonsOf({supply("ink", std::nullopt, "Missing")}),
              ElementsAre("marker-supply-missing-warning"));
  for (const char* status : {"Invalid", "Incorrect"}) {
    EXPECT_THAT(reasonsOf({supply("ink", 0, status)}),
                ElementsAre("subunit-recoverable-failure-warning"))
        << status;
  }
}

TEST(StateReasons, OfSeveralSuppliesHoldTogether) {
  EXPECT_THAT(reasonsOf({supply("ink", 3), supply("ink", 0), supply("ink", 50), supply("ink", 4),
                         supply("ink", std::nullopt, "Missing")}),
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
  const std::vector<Supply> all = {supply("toner", 0),
                                   supply("toner", 5),
                                   supply("ink", 0),
                                   supply("ink", 5),
                                   supply("ink", 5, "Incorrect"),
                                   supply("ink", std::nullopt, "Missing")};
  ServerQueue queue;
  queue.hear(stateLines(reasonsOf(all)) + stateLineAdding(kDoesNotAnswer));
  EXPECT_EQ(queue.reasons().size(), 7U);
  queue.hear(stateLines(reasonsOf({supply("toner", 50)})));
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
