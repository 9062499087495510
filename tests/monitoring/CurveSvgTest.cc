#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "monitoring/CurveSvg.h"
#include "tests/monitoring/MadeMemory.h"

namespace moxsupply::testing {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

std::string small(const std::vector<std::optional<int>>& levels) {
  return smallCurve(dailyCurve(levels), Color::kCyan);
}

TEST(ACurve, GoesThroughItsLevels) {
  EXPECT_THAT(small({100, 50, 0}), HasSubstr("<path d=\"M0 0l60 15 60 15\"/>"));
  EXPECT_THAT(small({60, 60, 70, 60}), HasSubstr("<path d=\"M0 12l40 0 40-3 40 3\"/>"));
}

TEST(ACurve, HasGapsWhereTheLevelWasNotKnown) {
  EXPECT_THAT(small({100, {}, 50, 0}), HasSubstr("<path d=\"M0 0h0M80 15l40 15\"/>"));
  EXPECT_THAT(small({{}, {}, 50, 0, {}}), HasSubstr("<path d=\"M60 15l30 15\"/>"));
  EXPECT_THAT(small({100, {}, {}, 50, {}, 0}), HasSubstr("; for 2 times not known."));
}

TEST(ACurve, IsNothingWithLessThanTwoLevels) {
  for (const auto& levels :
       std::vector<std::vector<std::optional<int>>>{{}, {50}, {{}}, {{}, {}}, {{}, 50, {}}}) {
    EXPECT_EQ(small(levels), "");
    EXPECT_EQ(largeCurve(dailyCurve(levels), Color::kCyan, std::nullopt), "");
  }
}

TEST(ACurve, OfOneMomentIsWithinItsPicture) {
  Curve curve = dailyCurve({100, 0});
  curve.points[1].seconds = 0;
  EXPECT_THAT(smallCurve(curve, Color::kCyan), HasSubstr("<path d=\"M0 0l0 30\"/>"));
}

TEST(ACurve, IsToldInWordsAndHasItsColour) {
  const std::string svg = small({100, 80, 62});
  EXPECT_THAT(svg, HasSubstr("<svg class=\"curve cyan\" role=img"));
  EXPECT_THAT(svg, HasSubstr("<title>Level since 2026-01-13</title>"
                             "<desc>From 100 % to 62 % on 2026-01-15.</desc>"));
  for (const char* forbidden : {"style", "script", "http", "href"}) {
    EXPECT_THAT(svg, Not(HasSubstr(forbidden)));
  }
}

TEST(ACurve, TakesLittleRoom) {
  std::vector<std::optional<int>> levels;
  for (std::size_t i = 0; i < Curve::kMostPoints; ++i) levels.emplace_back(i % 2 == 0 ? 100 : 0);
  EXPECT_LT(small(levels).size(), 700U);
  for (std::size_t i = 0; i < Curve::kMostPoints; i += 3) levels[i] = {};
  EXPECT_LT(small(levels).size(), 700U);
}

TEST(ALargeCurve, GoesOnWithTheForecast) {
  // Ten days until now, and as much room for what is to come.
  const Curve curve = dailyCurve({100, {}, {}, {}, {}, {}, {}, {}, {}, {}, 50});
  const std::string svg =
      largeCurve(curve, Color::kBlack, EmptyAt{inDays(6), inDays(5), inDays(10)});
  EXPECT_THAT(svg, AllOf(HasSubstr("<path class=fan d=\"M300 75L450 150 600 150Z\"/>"),
                         HasSubstr("<path class=ahead d=\"M300 75L480 150\"/>"),
                         HasSubstr("<path d=\"M0 0h0M300 75h0\"/>"),
                         HasSubstr("<span>2026-01-05</span><span>2026-01-25</span>")));
}

TEST(ALargeCurve, LeavesAsMuchRoomForTheForecastAsForThePast) {
  const Curve curve = dailyCurve({100, {}, {}, {}, {}, {}, {}, {}, {}, {}, 50});
  const std::string svg =
      largeCurve(curve, Color::kBlack, EmptyAt{inDays(60), inDays(10), inDays(9000)});
  EXPECT_THAT(
      svg, AllOf(HasSubstr("<path d=\"M0 0h0M300 75h0\"/>"), HasSubstr("<span>2026-01-25</span>")));
  const std::string past =
      largeCurve(curve, Color::kBlack, EmptyAt{inDays(0), inDays(0), inDays(0)});
  EXPECT_THAT(past, AllOf(Not(HasSubstr("class=fan")), HasSubstr("M600 75h0"),
                          HasSubstr("<span>2026-01-15</span>")));
}

}  // namespace
}  // namespace moxsupply::testing
