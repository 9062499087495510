// What of the readings that printers give is kept, at times of the test's own.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "monitoring/Keeper.h"
#include "tests/support/MadeReading.h"
#include "tests/support/TemporaryFolder.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr auto kNobodyWaits = [] { return false; };

class AKeeper : public ::testing::Test {
 protected:
  static Reading readingAt(Moment moment, int level) {
    return madeReading(momentAsText(moment), {madeReadSupply({.supply = {.level = level}})});
  }

  // Keeps one, and returns whether the store has other readings now.
  bool keep(Moment moment, int level) {
    const std::vector<Reading> one = {readingAt(moment, level)};
    const auto changed = mKeeper.keep(one, mNow);
    EXPECT_TRUE(changed) << changed.error().what;
    return changed && !changed->empty();
  }

  // The readings of the store, as "time level".
  [[nodiscard]] std::vector<std::string> kept() const {
    std::vector<std::string> lines;
    auto store = Store::openToRead(mPath).value();
    const auto given = store.forEach({}, [&](const Reading& reading) -> Result<> {
      lines.push_back(fmt::format("{} {}", reading.time, *reading.supplies.front().level));
      return {};
    });
    EXPECT_TRUE(given);
    return lines;
  }

  Moment answered() { return (*mKeeper.last("socket://192.0.2.7"))->answered; }

  TemporaryFolder mFolder;
  std::string mPath = mFolder.path() / "history.sqlite";
  Keeper mKeeper{mPath};
  Keeper::Clock::time_point mNow{};
  const Moment mBegin = momentFrom("2026-03-01T08:00:00Z").value();
};

TEST_F(AKeeper, AddsWhatDiffersFromTheLastReading) {
  EXPECT_TRUE(keep(mBegin, 50));
  EXPECT_FALSE(keep(mBegin + 6h, 50));
  EXPECT_TRUE(keep(mBegin + 12h, 49));
  EXPECT_FALSE(keep(mBegin + 18h, 49));
  EXPECT_TRUE(keep(mBegin + 18h + 1min, 50));
  EXPECT_THAT(kept(), ElementsAre("2026-03-01T08:00:00Z 50", "2026-03-01T20:00:00Z 49",
                                  "2026-03-02T02:01:00Z 50"));
}

TEST_F(AKeeper, AddsOneADayOtherwise) {
  for (int i = 0; i < 12; ++i) keep(mBegin + i * (6h + 1s), 50);
  EXPECT_THAT(kept(), ElementsAre("2026-03-01T08:00:00Z 50", "2026-03-02T08:00:04Z 50",
                                  "2026-03-03T08:00:08Z 50"));
}

TEST_F(AKeeper, AddsAReadingOfWhichOnlyALabelDiffers) {
  keep(mBegin, 50);
  Reading moved = readingAt(mBegin + 1h, 50);
  moved.labels["place"] = "2nd floor";
  moved.json = asJson(moved);
  const std::vector<Reading> one = {moved};
  EXPECT_EQ(mKeeper.keep(one, mNow)->size(), 1U);
  EXPECT_EQ(kept().size(), 2U);
}

TEST_F(AKeeper, NotesOnceAMinuteWhoAnsweredTheSame) {
  keep(mBegin, 50);
  EXPECT_EQ(mKeeper.nextNote(), Keeper::Clock::time_point::max());
  keep(mBegin + 1h, 50);
  EXPECT_EQ(mKeeper.nextNote(), mNow + Keeper::kNoteEvery);
  mNow += 10s;
  keep(mBegin + 2h, 50);
  EXPECT_EQ(mKeeper.nextNote(), mNow - 10s + Keeper::kNoteEvery);
  EXPECT_EQ(answered(), mBegin);
  EXPECT_TRUE(mKeeper.note(mNow));
  EXPECT_EQ(answered(), mBegin + 2h);
  EXPECT_EQ(mKeeper.nextNote(), Keeper::Clock::time_point::max());
  keep(mBegin + 3h, 49);
  EXPECT_EQ(answered(), mBegin + 3h);
}

TEST_F(AKeeper, PutsAReadingBehindTheLastOneWhereTheClockWasSetRight) {
  keep(mBegin, 50);
  keep(mBegin - 5min, 49);
  keep(mBegin - 5min + 1ms, 48);
  keep(mBegin - 1min, 48);  // the same
  EXPECT_THAT(kept(), ElementsAre("2026-03-01T08:00:00Z 50", "2026-03-01T08:00:00.001Z 49",
                                  "2026-03-01T08:00:00.002Z 48"));
  EXPECT_EQ(mKeeper.takeRemark(), "");
}

TEST_F(AKeeper, TakesReadingsOfTheFutureOutAndSaysSoOnce) {
  keep(mBegin, 50);
  keep(mBegin + 24h * 400, 40);
  keep(mBegin + 24h * 401, 30);
  EXPECT_TRUE(keep(mBegin + 1h, 50));  // the same as the one that is left
  EXPECT_THAT(kept(), ElementsAre("2026-03-01T08:00:00Z 50"));
  EXPECT_EQ(mKeeper.takeRemark(),
            "the clock has gone back: readings of the future are taken out, of socket://192.0.2.7 "
            "those after 2026-03-01T09:00:00Z");
  keep(mBegin + 2h, 20);
  keep(mBegin - 1h, 10);
  EXPECT_THAT(kept(), ElementsAre("2026-03-01T07:00:00Z 10"));
  EXPECT_EQ(mKeeper.takeRemark(), "");
}

// What was noted when the clock was wrong would have it younger than it is, until that time comes.
TEST_F(AKeeper, ForgetsWhenAReadingBeforeWasAnswered) {
  keep(mBegin, 50);
  keep(mBegin + 20h, 50);
  EXPECT_TRUE(mKeeper.note(mNow));
  keep(mBegin + 6h, 49);  // the clock was set right
  EXPECT_EQ(answered(), mBegin + 6h);
  keep(mBegin + 26h, 49);
  EXPECT_TRUE(mKeeper.note(mNow));
  keep(mBegin + 10h, 49);
  EXPECT_TRUE(mKeeper.note(mNow));
  EXPECT_EQ(answered(), mBegin + 10h);
}

TEST_F(AKeeper, TakesSeveralReadingsOfAPrinterInTheirOrder) {
  const std::vector<Reading> some = {readingAt(mBegin, 50), readingAt(mBegin + 1s, 50),
                                     readingAt(mBegin + 2s, 49), readingAt(mBegin + 3s, 50)};
  EXPECT_TRUE(mKeeper.keep(some, mNow));
  EXPECT_EQ(kept().size(), 3U);
}

TEST_F(AKeeper, KeepsInTheFileThatIsThereNow) {
  keep(mBegin, 50);
  std::filesystem::remove(mPath);
  EXPECT_TRUE(keep(mBegin + 1h, 50));
  EXPECT_EQ(kept().size(), 1U);
}

TEST_F(AKeeper, RecallsWhatThereIs) {
  EXPECT_EQ(mKeeper.recall("socket://192.0.2.7", mBegin, kNobodyWaits).value(), std::nullopt);
  EXPECT_EQ(mKeeper.last("socket://192.0.2.7").value(), std::nullopt);
  for (int day = 0; day < 200; ++day) keep(mBegin + day * 24h, 100 - day / 2);
  keep(mBegin + 200 * 24h, 95);
  keep(mBegin + 201 * 24h, 9);
  const auto printer = mKeeper.recall("socket://192.0.2.7", mBegin, kNobodyWaits).value().value();
  ASSERT_EQ(printer.prospects.supplies.size(), 1U);
  EXPECT_EQ(printer.prospects.supplies[0].forecast.level, 9);
  ASSERT_EQ(printer.events.size(), 3U);
  EXPECT_EQ(printer.events[0].event, Event::kLow);
  EXPECT_EQ(printer.events[0].moment, mBegin + 201 * 24h);
  EXPECT_EQ(printer.events[1].event, Event::kReplaced);
  EXPECT_EQ(printer.events[2].event, Event::kLow);
  EXPECT_EQ(printer.eventCounts, (std::array<std::uint64_t, 6>{0, 1, 0, 0, 2, 0}));
  ASSERT_EQ(printer.cartridges.size(), 1U);
  EXPECT_TRUE(printer.cartridges[0].hasBecomeLow);
  const std::vector<Curve::Point> points = {{0, 95}, {24 * 3600, 9}};
  EXPECT_EQ(printer.cartridges[0].curve.points, points);
  EXPECT_EQ(printer.cartridges[0].curve.begin, mBegin + 200 * 24h);
  EXPECT_EQ(mKeeper.recall("socket://192.0.2.7", mBegin, [] { return true; }).value(),
            std::nullopt);
}

// ---- Of which somebody is to be told.

class AKeeperOfNotices : public AKeeper {
 protected:
  // Keeps one and looks at what that means.
  void take(Moment moment, int level) {
    ASSERT_TRUE(mNotifying.keep(std::vector<Reading>{readingAt(moment, level)}, mNow));
    ASSERT_TRUE(mNotifying.recall("socket://192.0.2.7", moment, kNobodyWaits));
  }

  static std::string wordOf(const Notice& notice) {
    if (notice.kind == Notice::Kind::kGone) return "silent";
    if (notice.kind == Notice::Kind::kBack) return "back";
    const std::string before = R"("event":")";
    const auto begin = notice.event.find(before) + before.size();
    return notice.event.substr(begin, notice.event.find('"', begin) - begin);
  }
  std::vector<std::string> told() {
    std::vector<std::string> words;
    const auto notices = mNotifying.notices();
    for (const Notice& notice : *notices) {
      words.push_back(wordOf(notice) + (notice.isUrgent ? "!" : ""));
      mLast = notice.id;
    }
    return words;
  }

  Keeper mNotifying{mPath, Keeper::Notices::kYes};
  std::int64_t mLast = 0;
};

TEST_F(AKeeperOfNotices, TellsEachEventOnce) {
  take(mBegin, 50);
  take(mBegin + 1h, 9);
  take(mBegin + 2h, 8);
  take(mBegin + 3h, 0);
  EXPECT_THAT(told(), ElementsAre("low", "empty!"));
  EXPECT_TRUE(mNotifying.told(mLast));
  take(mBegin + 4h, 100);
  EXPECT_THAT(told(), ElementsAre("replaced"));
}

TEST_F(AKeeperOfNotices, TellsWhatAFirstReadingShows) {
  take(mBegin, 0);
  EXPECT_THAT(told(), ElementsAre("low", "empty!"));
}

TEST_F(AKeeperOfNotices, TellsWhatAKilledOneKeptWithoutSayingIt) {
  take(mBegin, 50);
  ASSERT_TRUE(mNotifying.keep(std::vector<Reading>{readingAt(mBegin + 1h, 0)}, mNow));
  mNotifying = Keeper(mPath, Keeper::Notices::kYes);
  take(mBegin + 2h, 0);
  EXPECT_THAT(told(), ElementsAre("low", "empty!"));
}

TEST_F(AKeeperOfNotices, SaysNothingOfOldThingsWhenItBegins) {
  keep(mBegin, 0);  // by one who tells nobody
  keep(mBegin + 1h, 100);
  take(mBegin + 30h, 99);
  EXPECT_THAT(told(), IsEmpty());
}

TEST_F(AKeeperOfNotices, TellsWhatItSeesAfterItsClockWentBack) {
  take(mBegin + 24h * 400, 9);
  EXPECT_THAT(told(), ElementsAre("low"));
  EXPECT_TRUE(mNotifying.told(mLast));
  take(mBegin, 0);
  EXPECT_THAT(told(), ElementsAre("low", "empty!"));
}

TEST_F(AKeeperOfNotices, TellsWhoFallsSilentAndWhoIsBack) {
  const auto note = [&](bool isSilent) {
    EXPECT_TRUE(mNotifying.noteSilence("socket://192.0.2.7", isSilent, mBegin));
  };
  note(false);
  EXPECT_THAT(told(), IsEmpty());
  note(true);
  note(true);
  EXPECT_THAT(told(), ElementsAre("silent"));
  note(false);  // before anybody was told
  EXPECT_THAT(told(), IsEmpty());
  note(true);
  told();
  EXPECT_TRUE(mNotifying.told(mLast));
  mNotifying = Keeper(mPath, Keeper::Notices::kYes);
  note(true);
  EXPECT_THAT(told(), IsEmpty());
  note(false);
  EXPECT_THAT(told(), ElementsAre("back"));
  note(true);
  EXPECT_THAT(told(), IsEmpty());
}

TEST_F(AKeeper, ThinsALongCurveEvenly) {
  for (int day = 0; day < 600; ++day) keep(mBegin + day * 24h, 100 - day / 6);
  const auto printer = mKeeper.recall("socket://192.0.2.7", mBegin, kNobodyWaits).value().value();
  const std::vector<Curve::Point>& points = printer.cartridges.at(0).curve.points;
  ASSERT_EQ(points.size(), Curve::kMostPoints);
  EXPECT_EQ(points.front(), (Curve::Point{0, 100}));
  EXPECT_EQ(points.back(), (Curve::Point{599 * 24 * 3600, 1}));
  for (std::size_t i = 1; i < points.size(); ++i) {
    EXPECT_NEAR(points[i].seconds - points[i - 1].seconds, 599 * 24 * 3600 / 59.0, 24 * 3600) << i;
  }
}

}  // namespace
}  // namespace moxsupply::testing
