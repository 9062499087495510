// What happened to cartridges, from their readings.

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <string>
#include <vector>

#include "history/Events.h"
#include "tests/support/MadeReading.h"

namespace moxsupply::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// One reading of supply 1: what differs from a toner without a known level.
struct Told {
  std::optional<int> level = {};
  std::string status = "Correct";
  std::string serial = {};
  std::string part = {};
  std::optional<std::uint32_t> printed = {};
};

ReadSupply toner(const Told& told, std::uint32_t number = 1) {
  return madeReadSupply({.number = number,
                         .supply = {.status = told.status, .level = told.level},
                         .part = told.part,
                         .serial = told.serial,
                         .printed = told.printed});
}

std::string timeOfDay(std::size_t day) { return fmt::format("2026-01-{:02}T08:00:00Z", day + 1); }

// The events as "DAY EVENT", the days of the readings counted from 0.
std::vector<std::string> eventsOf(const std::vector<Told>& readings, int lowLevel = kLowLevel) {
  EventWatch watch(lowLevel);
  std::vector<std::string> events;
  for (std::size_t day = 0; day < readings.size(); ++day) {
    for (const auto& event : watch.take(madeReading(timeOfDay(day), {toner(readings[day])}))) {
      EXPECT_EQ(event.time, timeOfDay(day));
      EXPECT_EQ(event.supply, 1U);
      EXPECT_NE(event.because, "");
      events.push_back(fmt::format("{} {}", day, wordOf(event.event)));
    }
  }
  return events;
}

std::vector<std::string> eventsOfLevels(std::initializer_list<int> levels) {
  std::vector<Told> readings;
  for (const int level : levels) readings.push_back({.level = level});
  return eventsOf(readings);
}

TEST(Events, BeginWithTheFirstReadingWhichIsNoReplacement) {
  EXPECT_THAT(eventsOfLevels({62}), IsEmpty());
  EXPECT_THAT(eventsOfLevels({10}), ElementsAre("0 low"));
  EXPECT_THAT(eventsOfLevels({0}), ElementsAre("0 low", "0 empty"));
  EXPECT_THAT(eventsOf({{.status = "Missing"}}), ElementsAre("0 missing"));
  EXPECT_THAT(eventsOf({{.level = 3, .status = "Invalid"}}), ElementsAre("0 wrong", "0 low"));
}

TEST(Events, SayLowOnceALife) {
  EXPECT_THAT(eventsOfLevels({12, 11, 10, 9, 12, 9}), ElementsAre("2 low"));
  EXPECT_THAT(eventsOfLevels({9, 100, 9}), ElementsAre("0 low", "1 replaced", "2 low"));
  EXPECT_THAT(eventsOf({{.level = 21}, {.level = 20}}, 20), ElementsAre("1 low"));
  EXPECT_THAT(eventsOf({{.level = 1}, {.level = 0}}, 0), ElementsAre("1 low", "1 empty"));
}

TEST(Events, SayEmptyOnceALife) {
  EXPECT_THAT(eventsOfLevels({50, 0, 3, 0}), ElementsAre("1 low", "1 empty"));
  EXPECT_THAT(eventsOf({{.level = 50}, {.level = 40, .status = "Empty"}, {.level = 40}}),
              ElementsAre("1 empty"));
  EXPECT_THAT(eventsOf({{.status = "Empty"}, {.level = 0}}), ElementsAre("0 empty", "1 low"));
  EXPECT_THAT(eventsOfLevels({0, 100, 0}),
              ElementsAre("0 low", "0 empty", "1 replaced", "2 low", "2 empty"));
}

TEST(Events, SayWhenACartridgeIsMissingAndBack) {
  EXPECT_THAT(
      eventsOf({{.level = 50}, {.status = "Missing"}, {.status = "Missing"}, {.level = 50}}),
      ElementsAre("1 missing", "3 present"));
  EXPECT_THAT(eventsOf({{.status = "Missing"}, {}}), ElementsAre("0 missing", "1 present"));
  EXPECT_THAT(eventsOf({{.status = "Missing"}, {.status = "Empty"}}),
              ElementsAre("0 missing", "1 present", "1 empty"));
}

TEST(Events, SayWhenAWrongCartridgeIsThere) {
  EXPECT_THAT(eventsOf({{.level = 50},
                        {.level = 50, .status = "Invalid"},
                        {.level = 50, .status = "Incorrect"},
                        {.level = 50}}),
              ElementsAre("1 wrong", "3 present"));
}

TEST(Events, GoFromMissingToWrongWithoutPresent) {
  EXPECT_THAT(eventsOf({{.status = "Missing"}, {.status = "Incorrect"}, {.status = "Missing"}}),
              ElementsAre("0 missing", "1 wrong", "2 missing"));
}

TEST(Events, SayReplacedAtARiseOf25) {
  EXPECT_THAT(eventsOfLevels({51, 76}), ElementsAre("1 replaced"));
  EXPECT_THAT(eventsOfLevels({51, 75}), IsEmpty());
  EXPECT_THAT(eventsOfLevels({3, 100}), ElementsAre("0 low", "1 replaced"));
}

TEST(Events, CountTheRiseFromTheLastKnownLevel) {
  // It rises by 30 from the lowest, and by 20 from the last.
  EXPECT_THAT(eventsOfLevels({41, 51, 71}), IsEmpty());
  EXPECT_THAT(eventsOf({{.level = 51}, {}, {.status = "Missing"}, {}, {.level = 76}}),
              ElementsAre("2 missing", "3 present", "4 replaced"));
  EXPECT_THAT(eventsOf({{.level = 51}, {}, {.status = "Missing"}, {.level = 70}}),
              ElementsAre("2 missing", "3 present"));
}

TEST(Events, TakeAStepForNoReplacement) {
  EXPECT_THAT(eventsOfLevels({100, 75, 50, 75}), IsEmpty());
  EXPECT_THAT(eventsOfLevels({75, 50, 25, 75}), ElementsAre("3 replaced"));
  EXPECT_THAT(eventsOfLevels({0, 25}), ElementsAre("0 low", "0 empty"));
  EXPECT_THAT(eventsOfLevels({0, 50}), ElementsAre("0 low", "0 empty", "1 replaced"));
  // It told in steps of 5 before, in whichever life.
  EXPECT_THAT(eventsOfLevels({55, 50, 75}), ElementsAre("2 replaced"));
  EXPECT_THAT(eventsOfLevels({55, 100, 50, 75}), ElementsAre("1 replaced", "3 replaced"));
}

TEST(Events, TakeNeitherJitterNorShakingForAReplacement) {
  for (int level = 0; level <= 100; ++level) {
    for (int jitter = -3; jitter <= 3; ++jitter) {
      const int next = std::clamp(level + jitter, 0, 100);
      const auto events = eventsOfLevels({level, next, level, next});
      EXPECT_EQ(std::ranges::find(events, "1 replaced"), events.end()) << level << ' ' << jitter;
    }
  }
  for (int level = 0; level < 20; ++level) {
    const auto events = eventsOfLevels({level, level + 15});
    EXPECT_EQ(std::ranges::find(events, "1 replaced"), events.end()) << level;
  }
}

TEST(Events, BelieveASerialNumberBeforeAllElse) {
  EXPECT_THAT(eventsOf({{.level = 50, .serial = "A"}, {.level = 50, .serial = "B"}}),
              ElementsAre("1 replaced"));
  EXPECT_THAT(eventsOf({{.level = 5, .serial = "A", .part = "P", .printed = 1000},
                        {.level = 100, .serial = "A", .part = "Q", .printed = 0}}),
              ElementsAre("0 low"));
  // It counts on both sides only, however long ago it was told.
  EXPECT_THAT(eventsOf({{.level = 50, .serial = "A"}, {.level = 49}, {.level = 48, .serial = "B"}}),
              ElementsAre("2 replaced"));
  EXPECT_THAT(eventsOf({{.level = 50, .serial = "A"}, {.level = 100}}), ElementsAre("1 replaced"));
  EXPECT_THAT(eventsOf({{.level = 50}, {.level = 50, .serial = "A"}}), IsEmpty());
}

TEST(Events, BelieveAnotherPartThen) {
  EXPECT_THAT(eventsOf({{.level = 50, .part = "P", .printed = 10},
                        {.level = 50, .part = "Q", .printed = 10}}),
              ElementsAre("1 replaced"));
  // The same part says nothing: most cartridges are replaced by one of their kind.
  EXPECT_THAT(eventsOf({{.level = 5, .part = "P"}, {.level = 100, .part = "P"}}),
              ElementsAre("0 low", "1 replaced"));
}

TEST(Events, BelieveThePagesThen) {
  EXPECT_THAT(eventsOf({{.level = 50, .printed = 20}, {.level = 50, .printed = 9}}),
              ElementsAre("1 replaced"));
  EXPECT_THAT(eventsOf({{.level = 50, .printed = 20}, {.level = 50, .printed = 10}}), IsEmpty());
  EXPECT_THAT(eventsOf({{.level = 50, .printed = 20}, {.level = 100, .printed = 20}}), IsEmpty());
  EXPECT_THAT(eventsOf({{.level = 50, .printed = 20}, {.level = 100, .printed = 10}}),
              ElementsAre("1 replaced"));
}

TEST(Events, ForgetWithALifeWhatItTold) {
  // After a replacement that the level showed, the first serial number belongs to the new life.
  EXPECT_THAT(eventsOf({{.level = 5, .serial = "A"}, {.level = 100}, {.level = 99, .serial = "B"}}),
              ElementsAre("0 low", "1 replaced"));
  EXPECT_THAT(eventsOf({{.level = 5, .serial = "A"},
                        {.level = 100},
                        {.level = 99, .serial = "B"},
                        {.level = 98, .serial = "C"}}),
              ElementsAre("0 low", "1 replaced", "3 replaced"));
  EXPECT_THAT(eventsOf({{.level = 5, .part = "P"}, {.level = 100}, {.level = 99, .part = "Q"}}),
              ElementsAre("0 low", "1 replaced"));
  // The level of the cartridge before is none of the new one's.
  EXPECT_THAT(eventsOf({{.level = 5, .serial = "A"}, {.serial = "B"}, {.level = 100}}),
              ElementsAre("0 low", "1 replaced"));
}

TEST(Events, ComeInTheirOrder) {
  EXPECT_THAT(eventsOf({{.status = "Missing", .serial = "A"},
                        {.level = 0, .status = "Empty", .serial = "B"}}),
              ElementsAre("0 missing", "1 present", "1 replaced", "1 low", "1 empty"));
  EXPECT_THAT(
      eventsOf({{.level = 50, .serial = "A"}, {.level = 0, .status = "Invalid", .serial = "B"}}),
      ElementsAre("1 replaced", "1 wrong", "1 low", "1 empty"));
}

TEST(Events, OfSeveralSuppliesComeByEventAndNumber) {
  EventWatch watch;
  std::vector<std::string> events;
  for (const auto& event :
       watch.take(madeReading(timeOfDay(0), {toner({.level = 0}, 2), toner({.level = 0}, 1)}))) {
    events.push_back(fmt::format("{} {}", wordOf(event.event), event.supply));
  }
  EXPECT_THAT(events, ElementsAre("low 1", "low 2", "empty 1", "empty 2"));
}

TEST(Events, AreOfTonersAndInksOnly) {
  EventWatch watch;
  for (const auto* kind : {"fuser", "other"}) {
    const auto supply = madeReadSupply({.supply = {.kind = kind, .status = "Empty", .level = 0}});
    EXPECT_THAT(watch.take(madeReading(timeOfDay(0), {supply})), IsEmpty()) << kind;
  }
  const auto ink = madeReadSupply({.supply = {.kind = "ink", .level = 5}});
  EXPECT_EQ(watch.take(madeReading(timeOfDay(1), {ink})).size(), 1U);
}

TEST(Events, AreNotOfWhatAReadingLeavesOut) {
  EventWatch watch;
  EXPECT_EQ(watch.take(madeReading(timeOfDay(0), {toner({.level = 5})})).size(), 1U);
  EXPECT_THAT(watch.take(madeReading(timeOfDay(1), {})), IsEmpty());
  EXPECT_THAT(watch.take(madeReading(timeOfDay(2), {toner({.level = 5})})), IsEmpty());
  EXPECT_EQ(watch.take(madeReading(timeOfDay(3), {toner({.level = 100})})).size(), 1U);
}

TEST(Events, AreLinesOfJson) {
  EventWatch watch;
  const auto reading = madeReading("2026-11-21T08:00:00.50Z", {toner({.level = 5})});
  const auto events = watch.take(reading);
  ASSERT_EQ(events.size(), 1U);
  EXPECT_EQ(asJson(events[0]),
            R"({"time":"2026-11-21T08:00:00.50Z","printer":"socket://192.0.2.7","supply":1,)"
            R"("event":"low","because":"the level is 5, and 10 is low"})");
}

}  // namespace
}  // namespace moxsupply::testing
