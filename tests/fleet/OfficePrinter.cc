#include "tests/fleet/OfficePrinter.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace moxsupply::testing {

namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::minutes;

constexpr minutes kAwakeFor(15);

// Monday to Friday, 7 to 19 o'clock.
bool isWorkingTime(Moment moment) {
  const auto day = std::chrono::floor<std::chrono::days>(moment);
  const unsigned weekday = std::chrono::weekday(day).iso_encoding();
  const auto hour = std::chrono::floor<hours>(moment - day);
  return weekday <= 5 && hour >= hours(7) && hour < hours(19);
}

// Of a hundred: 42 answer, 28 sleep, 10 are off outside of working hours, 5 are silent for good, 5
// are faulty, 10 are print queues.
Habit habitOf(std::size_t index) {
  const std::size_t place = index * 37 % 100;
  if (place < 42) return Habit::kAnswers;
  if (place < 70) return Habit::kSleeps;
  if (place < 80) return Habit::kOffAtNight;
  if (place < 85) return Habit::kSilent;
  return place < 90 ? Habit::kFaulty : Habit::kQueue;
}

std::string targetOf(std::size_t index, bool isQueue) {
  if (isQueue) return fmt::format("ipp://server{}.example/printers/queue{}", index % 3, index);
  return fmt::format("socket://10.1.{}.{}", index / 250, index % 250 + 1);
}

Supply supplyOf(SupplyKind kind, Color color, const std::string& name) {
  Supply supply;
  supply.kind = kind;
  supply.color = color;
  supply.name = name;
  return supply;
}

}  // namespace

OfficePrinter::OfficePrinter(std::uint64_t seed, std::size_t index)
    : mRandom(seed, index), mHabit(habitOf(index)) {
  mTarget = targetOf(index, isQueue());
  constexpr std::array kTells = {Tells::kAll, Tells::kParts, Tells::kPages, Tells::kLevels};
  if (!isQueue()) mTells = mRandom.of(kTells);
  if (mRandom.oneIn(3)) mKind = PrinterKind::kInkjet;
  mStep = mRandom.of(std::array{1, 1, 1, 5, 10, 25});
  mJitters = mStep == 1 && mRandom.oneIn(4);
  mIsDeaf = mRandom.oneIn(2);
  mPagesAnHour = std::exp(static_cast<double>(mRandom.within(0, 46)) / 10);  // 1 to 100

  const bool isLaser = mKind == PrinterKind::kLaser;
  const auto kind = isLaser ? SupplyKind::kToner : SupplyKind::kInk;
  const std::string what = isLaser ? "Toner Cartridge" : "Ink Cartridge";
  std::vector<std::pair<Color, std::string>> colors = {{Color::kBlack, "Black "}};
  if (!isLaser || mRandom.oneIn(2)) {
    for (const auto& [color, word] : {std::pair(Color::kCyan, "Cyan "),
                                      {Color::kMagenta, "Magenta "},
                                      {Color::kYellow, "Yellow "}}) {
      colors.emplace_back(color, word);
    }
  }
  for (const auto& [color, word] : colors) {
    Place place;
    place.supply = supplyOf(kind, color, word + what);
    place.aPage = 1.0 / static_cast<double>(mRandom.within(800, 12'000));
    putIn(place);
    place.left = static_cast<double>(mRandom.within(12, 100)) / 100;
    mPlaces.push_back(std::move(place));
  }
  if (isLaser) {
    Place fuser;
    fuser.supply = supplyOf(SupplyKind::kFuser, Color::kNone, "Fuser");
    fuser.aPage = 1.0 / 200'000;
    mPlaces.push_back(std::move(fuser));
  }
}

void OfficePrinter::putIn(Place& place) {
  place.left = 1;
  place.cartridge = mNextCartridge++;
  place.supply.status = SupplyStatus::kCorrect;
  place.supply.pages = {};
  if (mTells == Tells::kAll) place.supply.serial = fmt::format("S{:08}", place.cartridge);
  if (mTells == Tells::kAll || mTells == Tells::kParts) {
    place.supply.part = "24B6015-" + place.supply.name.substr(0, 1);
  }
  if (mTells == Tells::kAll || mTells == Tells::kPages) place.supply.pages.printed = 0;
}

bool OfficePrinter::isOn(Moment moment) const {
  if (moment < mNoPowerUntil || mHabit == Habit::kSilent) return false;
  return mHabit != Habit::kOffAtNight || isWorkingTime(moment);
}

// Somebody puts another cartridge in; or takes this one out first, and comes back later; or has
// brought a wrong one.
void OfficePrinter::change(Place& place, Moment moment) {
  place.changedAt.reset();
  if (place.supply.status == SupplyStatus::kCorrect && mRandom.oneIn(12)) {
    place.supply.status = SupplyStatus::kMissing;
    place.cartridge = 0;
    place.changedAt = moment + hours(mRandom.within(1, 9));
    return;
  }
  const bool isWrong = place.supply.status == SupplyStatus::kCorrect && mRandom.oneIn(20);
  putIn(place);
  if (!isWrong) return;
  place.supply.status = SupplyStatus::kInvalid;
  place.changedAt = moment + hours(mRandom.within(1, 9));
}

void OfficePrinter::passHour(Moment hour) {
  if (isOn(hour) && isWorkingTime(hour) && !mRandom.oneIn(5)) {
    mAwakeUntil = hour + hours(1) + kAwakeFor;
    const double pages = mPagesAnHour * static_cast<double>(mRandom.within(20, 180)) / 100;
    for (Place& place : mPlaces) {
      if (place.changedAt && place.left <= 0) continue;
      place.left = std::max(0.0, place.left - pages * place.aPage);
      if (place.supply.pages.printed) {
        *place.supply.pages.printed += static_cast<std::uint32_t>(pages);
      }
      if (!isCartridge(place.supply) || place.changedAt) continue;
      const bool isEarly = place.left < 0.08 && mRandom.oneIn(40);
      if (place.left <= 0 || isEarly) place.changedAt = hour + hours(mRandom.within(0, 60));
    }
  }
  for (Place& place : mPlaces) {
    const bool isSomebodyThere = isWorkingTime(hour) && isOn(hour);
    if (place.changedAt && *place.changedAt <= hour && isSomebodyThere) change(place, hour);
  }
  if (!isQueue() || !isWorkingTime(hour)) return;
  Shown now = shown();
  const auto levelsOf = [](const Shown& shown) {
    std::vector<std::pair<Level, SupplyStatus>> levels;
    for (const Supply& supply : shown.supplies.list) {
      levels.emplace_back(supply.level, supply.status);
    }
    return levels;
  };
  if (mPublished && levelsOf(*mPublished) == levelsOf(now)) return;
  mPublished = std::move(now);
  mPublishedAt = hour;
}

Shown OfficePrinter::shown() {
  Shown shown;
  shown.supplies.kind = mKind;
  for (const Place& place : mPlaces) {
    Supply supply = place.supply;
    const double percent = 100 * place.left;
    int level = static_cast<int>(std::round(percent / mStep)) * mStep;
    if (mJitters) level += static_cast<int>(mRandom.below(5)) - 2;
    level = std::clamp(level, 0, 100);
    if (supply.status == SupplyStatus::kMissing) {
      supply.level = tl::unexpected(NoLevel::kMissing);
      supply.serial.clear();
      supply.pages = {};
    } else if (mHabit == Habit::kFaulty && mRandom.oneIn(3)) {
      supply.level = tl::unexpected(NoLevel::kUnknown);
    } else {
      supply.level = level;
      if (level == 0 && supply.status == SupplyStatus::kCorrect && mTells != Tells::kLevels) {
        supply.status = SupplyStatus::kEmpty;
      }
    }
    shown.supplies.list.push_back(std::move(supply));
    shown.cartridges.push_back(place.cartridge);
  }
  return shown;
}

OfficePrinter::Answer OfficePrinter::ask(const Assignment& query, Moment moment,
                                         std::chrono::nanoseconds wrong) {
  const auto failed = [](milliseconds after, Outcome outcome) {
    return Answer{after, {outcome, std::nullopt, std::string(rowOf(outcome).what), {}}, {}};
  };
  const milliseconds deadline = query.deadline;
  if (!isOn(moment)) {
    if (isQueue()) return failed(milliseconds(20), Outcome::kUnreachable);
    return mIsDeaf ? failed(deadline, Outcome::kDeadline)
                   : failed(milliseconds(3'100), Outcome::kUnreachable);
  }
  if (isQueue()) {
    const milliseconds after(mRandom.within(20, 60));
    if (!mPublished) return failed(after, Outcome::kNothingReceived);
    QueryResult result{Outcome::kSuccess, mPublished->supplies, {}, {}};
    const auto age = std::chrono::round<milliseconds>(moment + wrong + after - mPublishedAt);
    result.age = std::max(age, milliseconds(0));
    result.moment = mPublishedAt;
    return {after, std::move(result), *mPublished};
  }

  milliseconds after(mRandom.within(150, 800));
  if (mRandom.oneIn(50)) after += milliseconds(mRandom.within(1'000, 8'000));  // it prints
  if (!query.kind) after += milliseconds(mRandom.within(0, 4'000));            // it is found out
  if (mHabit == Habit::kSleeps && moment > mAwakeUntil) {
    after += milliseconds(mRandom.within(6'000, 20'000));
  }
  mAwakeUntil = std::max(mAwakeUntil, moment + kAwakeFor);
  if (after >= deadline) return failed(deadline, Outcome::kDeadline);
  if (mHabit == Habit::kFaulty && mRandom.oneIn(3)) {
    return failed(after, mRandom.of(std::array{Outcome::kUndecodable, Outcome::kNothingReceived,
                                               Outcome::kReadError, Outcome::kWriteError}));
  }
  Shown now = shown();
  QueryResult result{Outcome::kSuccess, now.supplies, {}, {}};
  return {after, std::move(result), std::move(now)};
}

}  // namespace moxsupply::testing
