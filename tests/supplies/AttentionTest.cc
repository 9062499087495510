#include <gtest/gtest.h>

#include "supplies/Attention.h"
#include "tests/support/MadeSupply.h"

namespace moxsupply::testing {
namespace {

struct Case {
  const char* kind;
  std::optional<int> level;
  const char* status;
  Attention attention;
};
constexpr std::array<Case, 26> kCases = {{
    {"toner", 100, "Correct", Attention::kNone},
    {"toner", 11, "Correct", Attention::kNone},
    {"toner", 10, "Correct", Attention::kLow},
    {"toner", 1, "Correct", Attention::kLow},
    {"toner", 0, "Correct", Attention::kEmpty},
    {"toner", std::nullopt, "Correct", Attention::kNone},
    {"ink", 11, "Correct", Attention::kNone},
    {"ink", 10, "Correct", Attention::kLow},
    {"ink", 0, "Correct", Attention::kEmpty},
    {"ink", 0, "Empty", Attention::kEmpty},
    {"ink", 5, "Empty", Attention::kEmpty},
    {"ink", 50, "Empty", Attention::kEmpty},
    {"ink", std::nullopt, "Empty", Attention::kEmpty},
    {"ink", std::nullopt, "Missing", Attention::kMissing},
    {"ink", 5, "Missing", Attention::kMissing},
    {"ink", 50, "Invalid", Attention::kWrong},
    {"ink", 5, "Invalid", Attention::kWrong},
    {"ink", 0, "Incorrect", Attention::kWrong},
    {"ink", std::nullopt, "Incorrect", Attention::kWrong},
    {"fuser", 50, "Correct", Attention::kNone},
    {"fuser", 5, "Correct", Attention::kNone},
    {"fuser", 0, "Correct", Attention::kNone},
    {"other", 0, "Correct", Attention::kNone},
    {"other", 0, "Empty", Attention::kNone},
    {"other", std::nullopt, "Missing", Attention::kMissing},
    {"other", 50, "Invalid", Attention::kWrong},
}};

TEST(AttentionOfASupply, IsThatOfTheTable) {
  for (const Case& one : kCases) {
    EXPECT_EQ(attentionOf(supplyOf(one.kind, one.level, one.status)), one.attention)
        << one.kind << ' ' << one.status << ' ' << one.level.value_or(-1);
  }
}

TEST(AttentionOfASupply, GoesByTheLowLevelThatIsGiven) {
  EXPECT_EQ(attentionOf(supplyOf("toner", 25), {.lowLevel = 25}), Attention::kLow);
  EXPECT_EQ(attentionOf(supplyOf("toner", 26), {.lowLevel = 25}), Attention::kNone);
  EXPECT_EQ(attentionOf(supplyOf("toner", 1), {.lowLevel = 0}), Attention::kNone);
  EXPECT_EQ(attentionOf(supplyOf("toner", 0), {.lowLevel = -1}), Attention::kEmpty);
}

TEST(AttentionOfASupply, JudgesAllByTheirLevelsWhereThatIsWanted) {
  for (const char* kind : {"fuser", "other", "toner", "ink"}) {
    EXPECT_EQ(attentionOf(supplyOf(kind, 10), {.judgesAll = true}), Attention::kLow) << kind;
    EXPECT_EQ(attentionOf(supplyOf(kind, 0), {.judgesAll = true}), Attention::kEmpty) << kind;
    EXPECT_EQ(attentionOf(supplyOf(kind, 50, "Empty"), {.judgesAll = true}), Attention::kEmpty);
  }
}

}  // namespace
}  // namespace moxsupply::testing
