#include <gtest/gtest.h>

#include "queue/QueueSupplies.h"

namespace moxsupply::testing {
namespace {

PrintQueue queueWith(const std::vector<int>& levels) {
  PrintQueue queue;
  for (std::size_t i = 0; i < levels.size(); ++i) {
    queue.markerNames.emplace_back(1, static_cast<char>('a' + i));
  }
  queue.markerLevels = levels;
  return queue;
}

// -1 is not available, -2 unknown, and -3 unknown but something.
TEST(TheSuppliesOfAQueue, HaveNoLevelBelowZero) {
  for (const Supply& supply : suppliesOf(queueWith({-1, -2, -3})).list) {
    EXPECT_EQ(supply.level.error(), NoLevel::kUnknown) << supply.name;
    EXPECT_EQ(supply.status, SupplyStatus::kCorrect) << supply.name;
  }
}

TEST(TheSuppliesOfAQueue, AreMissingWhereAReasonOfOursSaysSo) {
  PrintQueue queue = queueWith({-1, -2, 40});
  queue.stateReasons = {"marker-supply-missing-warning"};
  const Supplies supplies = suppliesOf(queue);
  EXPECT_EQ(supplies.list.at(0).level.error(), NoLevel::kMissing);
  EXPECT_EQ(supplies.list.at(0).status, SupplyStatus::kMissing);
  EXPECT_EQ(supplies.list.at(1).level.error(), NoLevel::kUnknown);
  EXPECT_EQ(supplies.list.at(2).level, 40);

  queue.stateReasons = {"none"};
  queue.markerMessage = "b is missing";
  EXPECT_EQ(suppliesOf(queue).list.at(0).level.error(), NoLevel::kUnknown);
  EXPECT_EQ(suppliesOf(queue).list.at(1).level.error(), NoLevel::kMissing);
}

TEST(TheSuppliesOfAQueue, AreOfTheKindsThatThePrintServerNames) {
  PrintQueue queue = queueWith({1, 2, 3, 4, 5, 6});
  queue.markerTypes = {"toner", "toner-cartridge", "ink", "inkCartridge", "fuser", "waste-toner"};
  std::vector<SupplyKind> kinds;
  for (const Supply& supply : suppliesOf(queue).list) kinds.push_back(supply.kind);
  EXPECT_EQ(kinds, (std::vector{SupplyKind::kToner, SupplyKind::kToner, SupplyKind::kInk,
                                SupplyKind::kInk, SupplyKind::kFuser, SupplyKind::kOther}));
}

}  // namespace
}  // namespace moxsupply::testing
