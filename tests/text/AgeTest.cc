#include <gtest/gtest.h>

#include <chrono>

#include "text/Age.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;

TEST(Age, IsInTheLargestUnitOfWhichItHasAWholeOne) {
  EXPECT_EQ(ageInWords(0s), "now");
  EXPECT_EQ(ageInWords(59s), "now");
  EXPECT_EQ(ageInWords(60s), "1 minute");
  EXPECT_EQ(ageInWords(119s), "1 minute");
  EXPECT_EQ(ageInWords(120s), "2 minutes");
  EXPECT_EQ(ageInWords(1h - 1s), "59 minutes");
  EXPECT_EQ(ageInWords(1h), "1 hour");
  EXPECT_EQ(ageInWords(2h - 1s), "1 hour");
  EXPECT_EQ(ageInWords(2h), "2 hours");
  EXPECT_EQ(ageInWords(24h - 1s), "23 hours");
  EXPECT_EQ(ageInWords(24h), "1 day");
  EXPECT_EQ(ageInWords(48h - 1s), "1 day");
  EXPECT_EQ(ageInWords(48h), "2 days");
}

}  // namespace
}  // namespace moxsupply::testing
