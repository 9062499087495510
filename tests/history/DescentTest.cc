#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <utility>
#include <vector>

#include "history/Descent.h"

namespace moxsupply::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;

const Moment kZero = momentFrom("2026-01-05T08:00:00Z").value();

// A life with a reading a day, the last one now.
CartridgeLife lifeOf(const std::vector<int>& levels) {
  CartridgeLife life;
  for (std::size_t i = 0; i < levels.size(); ++i) {
    const auto ago = std::chrono::days(levels.size() - 1 - i);
    life.levels.push_back({kZero - ago, levels[i]});
  }
  return life;
}

Descent descentFrom(const std::vector<int>& levels, int step = 1) {
  return moxsupply::descentOf(lifeOf(levels), step, kZero);
}

std::vector<std::pair<double, double>> passagesOf(const Descent& descent) {
  std::vector<std::pair<double, double>> passages;
  for (const auto& [at, level] : descent.passages) passages.emplace_back(at, level);
  return passages;
}

TEST(Descent, PassesHalfWayBetweenTwoReadingsAndLevels) {
  const Descent descent = descentFrom({50, 50, 48, 48, 47});
  EXPECT_THAT(passagesOf(descent), ElementsAre(Pair(-2.5, 49), Pair(-0.5, 47.5)));
}

TEST(Descent, GoesByTheLowestLevelSoFar) {
  const Descent descent = descentFrom({50, 46, 48, 44});
  EXPECT_THAT(passagesOf(descent), ElementsAre(Pair(-2.5, 48), Pair(-0.5, 45)));
  EXPECT_EQ(descent.plateaus[1].from, -2);
  EXPECT_EQ(descent.plateaus[1].to, -1);
}

TEST(Descent, OfARoundedLevelPassesWhereItWasFirstSeen) {
  EXPECT_THAT(passagesOf(descentFrom({60, 60, 50, 60, 50, 50}, 10)), ElementsAre(Pair(-3.5, 55)));
}

TEST(Descent, CountsWhatWasBeforeARiseAsHigherByIt) {
  const Descent descent = descentFrom({20, 18, 30, 28});
  EXPECT_THAT(passagesOf(descent), ElementsAre(Pair(-2.5, 31), Pair(-0.5, 29)));
  EXPECT_EQ(descent.plateaus.front().level, 32);
  EXPECT_EQ(descent.plateaus.back().level, 28);
}

TEST(Descent, OfARiseUpToJitterIsAPlateau) {
  EXPECT_TRUE(descentFrom({20, 26}).passages.empty());
  EXPECT_TRUE(descentFrom({50, 75}, 25).passages.empty());
  EXPECT_EQ(descentFrom({20, 27}).plateaus.front().level, 27);
}

TEST(Descent, TakesJitterBehindRoundingAway) {
  EXPECT_THAT(passagesOf(descentFrom({60, 63, 58, 47, 53, 50}, 10)), ElementsAre(Pair(-2.5, 55)));
}

TEST(Descent, FindsAStepBehindJitter) {
  const std::vector<int> jittered = {80, 77, 83, 79, 68, 72, 73, 67, 61, 57};
  EXPECT_EQ(stepOf({lifeOf(jittered)}), 10);
  // One between the steps, too few readings, and no fall of more than a step, tell nothing.
  std::vector<int> between = jittered;
  between[4] = 75;
  EXPECT_EQ(stepOf({lifeOf(between)}), 1);
  EXPECT_EQ(stepOf({lifeOf(jittered), lifeOf(between)}), 1);
  const std::vector<int> nine(jittered.begin(), jittered.end() - 1);
  EXPECT_EQ(stepOf({lifeOf(nine)}), 1);
  EXPECT_EQ(stepOf({lifeOf({83, 82, 81, 80, 79, 79, 78, 78, 77, 77, 77})}), 1);
}

TEST(Descent, StepIsTheLargestThatDividesAllLevels) {
  const auto step = [](const std::vector<int>& levels) { return stepOf({lifeOf(levels)}); };
  EXPECT_EQ(step({100, 75, 0}), 25);
  EXPECT_EQ(step({100, 80}), 20);
  EXPECT_EQ(step({100, 90}), 10);
  EXPECT_EQ(step({100, 95}), 5);
  EXPECT_EQ(step({100, 98}), 1);
  EXPECT_EQ(stepOf({lifeOf({100, 75}), lifeOf({40})}), 5);
}

}  // namespace
}  // namespace moxsupply::testing
