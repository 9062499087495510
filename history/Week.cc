#include "history/Week.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace moxsupply {

namespace {

// What is printed on a Saturday or a Sunday beside another day, before anything is known.
constexpr double kWeekendAtFirst = 0.3;

// As if so many falls of the level had been seen, spread as at first: about one in five days.
constexpr double kFallsAtFirst = 1.5;

// Over more days a fall says nothing of the days of the week.
constexpr double kLongestFall = 14;

// After this the shares change no more than the readings are good for.
constexpr int kRounds = 2;

int dayOfWeek(double day) {
  const int rest = static_cast<int>(std::fmod(std::floor(day), 7));
  return rest < 0 ? rest + 7 : rest;
}

// Calls `take` with each day of the week between two times and with how much of it that is.
template <typename Take>
void overDays(double from, double to, Take take) {
  constexpr double kNothing = 1e-9;
  while (from < to - kNothing) {
    const double day = std::floor(from + kNothing);
    const double end = std::min(to, day + 1);
    take(static_cast<std::size_t>(dayOfWeek(day)), end - from);
    from = end;
  }
}

}  // namespace

Week::Week(const std::vector<Descent>& descents, Moment zero) {
  PerDay first{};
  for (std::size_t day = 0; day < kDays; ++day) {
    // Its middle: who reads printers late in the evening sees the next day's use.
    const auto middle = zero + std::chrono::days(day) + std::chrono::hours(12);
    const std::chrono::weekday weekday(std::chrono::floor<std::chrono::days>(middle));
    const bool isWeekend = weekday == std::chrono::Saturday || weekday == std::chrono::Sunday;
    first[day] = isWeekend ? kWeekendAtFirst : 1;
  }
  share(first);
  first = mShare;

  PerDay seen{};  // days
  double falls = 0;
  double fallen = 0;  // points
  for (const Descent& descent : descents) {
    if (descent.passages.empty()) continue;
    const double from = descent.plateaus.front().from;
    const double to = descent.plateaus.back().from;
    const double weeks = std::floor((to - from) / kDays);
    for (double& days : seen) days += weeks;
    overDays(from + weeks * kDays, to, [&](std::size_t day, double part) { seen[day] += part; });
    falls += static_cast<double>(descent.passages.size());
    fallen += descent.plateaus.front().level - descent.plateaus.back().level;
  }
  constexpr double kNothing = 1e-6;  // days
  if (std::ranges::max(seen) < kNothing) return;

  const double taken = kFallsAtFirst / kDays * fallen / falls;  // points a day of the week
  for (int round = 0; round < kRounds; ++round) {
    PerDay use{};
    for (const Descent& descent : descents) addUse(descent, use);
    double all = 0;
    double days = 0;
    for (std::size_t day = 0; day < kDays; ++day) {
      all += use[day];
      days += seen[day];
    }
    const double aDay = all / days;
    for (std::size_t day = 0; day < kDays; ++day) {
      use[day] = (use[day] + taken * first[day]) / (seen[day] * aDay + taken);
    }
    share(use);
  }
}

void Week::share(const PerDay& use) {
  double all = 0;
  for (const double day : use) all += day;
  for (std::size_t day = 0; day < kDays; ++day) {
    mShare[day] = use[day] * kDays / all;
    mSum[day + 1] = mSum[day] + mShare[day];
  }
}

double Week::upTo(double day) const {
  const double week = std::floor(day / kDays) * kDays;
  const auto inWeek = std::min(kDays - 1, static_cast<std::size_t>(day - week));
  return week + mSum[inWeek] + (day - week - static_cast<double>(inWeek)) * mShare[inWeek];
}

// Each fall is spread over the days between its two readings as the week is known so far.
void Week::addUse(const Descent& descent, PerDay& use) const {
  for (std::size_t i = 1; i < descent.plateaus.size(); ++i) {
    const Descent::Plateau& upper = descent.plateaus[i - 1];
    const Descent::Plateau& lower = descent.plateaus[i];
    const double usual = usualDays(upper.to, lower.from);
    if (usual <= 0 || lower.from - upper.to > kLongestFall) continue;
    overDays(upper.to, lower.from, [&](std::size_t day, double part) {
      use[day] += (upper.level - lower.level) * mShare[day] * part / usual;
    });
  }
}

}  // namespace moxsupply
