#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "history/Lives.h"
#include "tests/support/MadeReading.h"

namespace moxsupply::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;
using ::testing::SizeIs;

Moment day(const std::string& number) {
  return momentFrom("2026-01-" + number + "T08:00:00Z").value();
}

std::vector<SupplyEvent> take(PrinterLives& lives, const std::string& number,
                              std::vector<ReadSupply> supplies) {
  return lives.take(madeReading("2026-01-" + number + "T08:00:00Z", std::move(supplies)));
}

ReadSupply toner(std::optional<int> level, const std::string& part = {}) {
  return madeReadSupply({.supply = {.level = level}, .part = part});
}

std::vector<std::pair<Moment, int>> levelsOf(const CartridgeLife& life) {
  std::vector<std::pair<Moment, int>> levels;
  for (const LevelAt& level : life.levels) levels.emplace_back(level.moment, level.level);
  return levels;
}

TEST(Lives, GoFromOneReplacementToTheNext) {
  PrinterLives lives;
  take(lives, "01", {toner({}, "P")});
  take(lives, "02", {toner(8)});
  take(lives, "03", {toner(0)});
  EXPECT_THAT(take(lives, "04", {toner(100)}), SizeIs(1));
  take(lives, "05", {toner({}, "Q")});
  const SupplyLives& supply = lives.supplies().at(1);
  ASSERT_THAT(supply.lives, SizeIs(2));
  const CartridgeLife& first = supply.lives[0];
  EXPECT_EQ(first.begin, day("01"));
  EXPECT_EQ(first.end, day("03"));
  EXPECT_THAT(levelsOf(first), ElementsAre(Pair(day("02"), 8), Pair(day("03"), 0)));
  EXPECT_EQ(first.lowAt, day("02"));
  EXPECT_EQ(first.emptyAt, day("03"));
  const CartridgeLife& second = supply.lives[1];
  EXPECT_EQ(second.begin, day("04"));
  EXPECT_EQ(second.end, day("05"));
  EXPECT_THAT(levelsOf(second), ElementsAre(Pair(day("04"), 100)));
  EXPECT_EQ(second.lowAt, std::nullopt);
  EXPECT_EQ(supply.part, "Q");
  EXPECT_EQ(supply.last.level, Level(tl::unexpected(NoLevel::kUnknown)));
}

TEST(Lives, AreOfTonersAndInksAndKeepThoseThatAreGone) {
  PrinterLives lives;
  const auto fuser = madeReadSupply({.number = 2, .supply = {.kind = "fuser", .level = 50}});
  take(lives, "01", {toner(50), fuser});
  take(lives, "02", {});
  EXPECT_THAT(lives.supplies(), SizeIs(1));
  EXPECT_EQ(lives.supplies().at(1).lives.back().end, day("01"));
}

}  // namespace
}  // namespace moxsupply::testing
