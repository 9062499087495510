#include <gtest/gtest.h>

#include <string>

#include "history/Delta.h"

namespace moxsupply::testing {
namespace {

constexpr std::size_t kMost = 1'000'000;

TEST(Delta, GivesTheTextAgain) {
  const std::string long1(100'000, 'x');
  for (const std::string& text : {std::string(), std::string("a\0b", 3), long1}) {
    for (const std::string& base : {std::string(), std::string("a"), long1 + "y"}) {
      EXPECT_EQ(textOf(deltaOf(text, base), base, kMost), text);
    }
  }
}

TEST(Delta, IsShortWhereTheTextsAreAlike) {
  std::string base;
  for (int i = 0; i < 500; ++i) base += std::to_string(i * 7919);
  std::string text = base;
  text[1000] = 'x';
  EXPECT_LT(deltaOf(text, base).size(), 60U);
  EXPECT_GT(deltaOf(text, {}).size(), 500U);
}

TEST(Delta, GivesNothingWhereSomethingIsNotWhatItWas) {
  const std::string base = "one and the other";
  const std::string delta = deltaOf("one and another", base);
  EXPECT_EQ(textOf(delta, "one and the others", kMost), std::nullopt);
  EXPECT_EQ(textOf(delta, {}, kMost), std::nullopt);
  for (std::size_t i = 0; i < delta.size(); ++i) {
    EXPECT_EQ(textOf(delta.substr(0, i), base, kMost), std::nullopt) << i;
    std::string changed = delta;
    changed[i] = static_cast<char>(changed[i] ^ 0x10);
    EXPECT_NE(textOf(changed, base, kMost), "one and another") << i;
  }
  EXPECT_EQ(textOf("", base, kMost), std::nullopt);
}

TEST(Delta, IsBounded) {
  const std::string delta = deltaOf(std::string(kMost, 'x'), {});
  EXPECT_TRUE(textOf(delta, {}, kMost).has_value());
  EXPECT_EQ(textOf(delta, {}, kMost - 1), std::nullopt);
}

}  // namespace
}  // namespace moxsupply::testing
