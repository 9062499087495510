#include <gtest/gtest.h>

#include <chrono>

#include "history/Moment.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;

constexpr Moment kEight = std::chrono::sys_days(std::chrono::year(2026) / 11 / 21) + 8h;

TEST(Moment, IsATimeInUtc) {
  for (const auto* text :
       {"2026-11-21T08:00:00Z", "2026-11-21T08:00:00+00:00", "2026-11-21t08:00:00z",
        "2026-11-21T08:00:00.0Z", "2026-11-21T07:59:60Z"}) {
    EXPECT_EQ(momentFrom(text), kEight) << text;
  }
}

TEST(Moment, HasNineDigitsOfAFraction) {
  EXPECT_EQ(momentFrom("2026-11-21T08:00:00.5Z"), kEight + 500ms);
  EXPECT_EQ(momentFrom("2026-11-21T08:00:00.000000001+00:00"), kEight + 1ns);
  EXPECT_EQ(momentFrom("2026-11-21T08:00:00.0000000019Z"), kEight + 1ns);
}

TEST(Moment, IsNothingElse) {
  for (const auto* text : {"",
                           "Z",
                           "now",
                           "2026-11-21",
                           "2026-11-21T08:00Z",
                           "2026-11-21T08:00:00",
                           "2026-11-21 08:00:00Z",
                           "2026-11-21T08:00:00+01:00",
                           "2026-11-21T08:00:00-00:00",
                           "2026-11-21T08:00:00.Z",
                           "2026-11-21T08:00:00,5Z",
                           "2026-11-21T08:00:00.5.5Z",
                           "2026-11-21T08:00:00ZZ",
                           "2026-13-21T08:00:00Z",
                           "2026-02-29T08:00:00Z",
                           "2026-11-31T08:00:00Z",
                           "2026-11-00T08:00:00Z",
                           "2026-11-21T24:00:00Z",
                           "2026-11-21T08:60:00Z",
                           "2026-11-21T08:00:61Z",
                           "+026-11-21T08:00:00Z",
                           "02026-11-21T08:00:00Z",
                           "1677-12-31T23:59:59Z",
                           "2262-01-01T00:00:00Z",
                           "\u0662026-11-21T08:00:00Z"}) {
    EXPECT_EQ(momentFrom(text), std::nullopt) << text;
  }
}

TEST(Moment, IsHeldFromFirstToLast) {
  for (const auto* text : {"1678-01-01T00:00:00Z", "1969-12-31T23:59:59.999999999Z",
                           "2024-02-29T00:00:00Z", "2261-12-31T23:59:60.999999999Z"}) {
    EXPECT_NE(momentFrom(text), std::nullopt) << text;
  }
}

TEST(Moment, IsWrittenWithAsManyDigitsAsItHas) {
  for (const auto* text : {"2026-11-21T08:00:00Z", "2026-11-21T08:00:00.5Z",
                           "1969-12-31T23:59:59.999999999Z", "1678-01-01T00:00:00.000001Z"}) {
    EXPECT_EQ(momentAsText(momentFrom(text).value()), text);
  }
}

}  // namespace
}  // namespace moxsupply::testing
