#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "history/Moment.h"
#include "queries/Assignment.h"
#include "queries/QueryResult.h"
#include "supplies/Supplies.h"
#include "tests/property/Random.h"

namespace moxsupply::testing {

// How a printer is to be found.
enum class Habit : std::uint8_t { kAnswers, kSleeps, kOffAtNight, kSilent, kFaulty, kQueue };

// What a printer shows, and which cartridges it has: by number, 0 for none, beginning with 1.
struct Shown {
  Supplies supplies;
  std::vector<std::uint64_t> cartridges;  // of each supply
};

// A printer of an office. It prints on working days, uses up its cartridges, and somebody replaces
// them, sooner or later. All of that is drawn from a seed.
class OfficePrinter {
 public:
  OfficePrinter(std::uint64_t seed, std::size_t index);

  [[nodiscard]] const std::string& target() const { return mTarget; }
  [[nodiscard]] Habit habit() const { return mHabit; }
  [[nodiscard]] PrinterKind kind() const { return mKind; }
  [[nodiscard]] bool isQueue() const { return mHabit == Habit::kQueue; }

  // Whether it tells serial numbers, by which cartridges are told apart whatever the level.
  [[nodiscard]] bool tellsSerials() const { return mTells == Tells::kAll; }

  // Whether it is switched on.
  [[nodiscard]] bool isOn(Moment moment) const;

  // No power until then.
  void lackPower(Moment until) { mNoPowerUntil = until; }

  // The hour that begins then passes.
  void passHour(Moment hour);

  struct Answer {
    std::chrono::milliseconds after;
    QueryResult result;
    Shown shown;  // of a success
  };

  // A query arrives. `now`: what the clock of who asks will show at the end.
  Answer ask(const Assignment& query, Moment moment, std::chrono::nanoseconds wrong);

 private:
  enum class Tells : std::uint8_t { kAll, kParts, kPages, kLevels };

  struct Place {
    Supply supply;
    double left = 1;
    double aPage = 0;
    std::uint64_t cartridge = 0;
    std::optional<Moment> changedAt = {};  // somebody comes then
  };

  void change(Place& place, Moment moment);
  void putIn(Place& place);
  Shown shown();

  std::string mTarget;
  Random mRandom;
  Habit mHabit;
  Tells mTells = Tells::kLevels;
  PrinterKind mKind = PrinterKind::kLaser;
  int mStep = 1;
  bool mJitters = false;
  bool mIsDeaf = false;  // one that is off refuses nothing, either
  double mPagesAnHour = 0;
  std::vector<Place> mPlaces;
  std::uint64_t mNextCartridge = 1;
  Moment mAwakeUntil = {};
  Moment mNoPowerUntil = {};
  std::optional<Shown> mPublished;  // of a queue, and when
  Moment mPublishedAt = {};
};

}  // namespace moxsupply::testing
