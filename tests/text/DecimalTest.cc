#include <gtest/gtest.h>

#include "text/Decimal.h"

namespace moxsupply::testing {
namespace {

TEST(Decimal, TakesDigitsUpTo32Bits) {
  EXPECT_EQ(decimal("0"), 0U);
  EXPECT_EQ(decimal("007"), 7U);
  EXPECT_EQ(decimal("4294967295"), 4294967295U);
}

TEST(Decimal, RefusesEverythingElse) {
  for (const char* text : {"", " 5", "5 ", "+5", "-1", "5s", "0x10", "1e3", "1.5", "4294967296",
                           "99999999999999999999", "٣"}) {
    EXPECT_EQ(decimal(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace moxsupply::testing
