#include "history/Descent.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "history/LevelStep.h"

namespace moxsupply {

namespace {

// Readings jitter by so many points either way.
constexpr int kJitter = 3;

// What was shown before a rise counts as so much higher, so that only what was used is left. A rise
// that jitter can make, which is a whole step where levels are rounded, is none.
std::vector<Descent::Passage> withoutRises(const std::vector<LevelAt>& levels, int step,
                                           Moment zero) {
  std::vector<Descent::Passage> readings(levels.size());
  const int mostJitter = std::max(2 * kJitter, step);
  const auto onStep = [&](int level) { return (level + step / 2) / step * step; };
  int risen = 0;
  for (std::size_t i = levels.size(); i-- > 0;) {
    const int level = onStep(levels[i].level);
    readings[i] = {daysBetween(zero, levels[i].moment), static_cast<double>(level + risen)};
    const int rise = i > 0 ? level - onStep(levels[i - 1].level) : 0;
    if (rise > mostJitter) risen += rise;
  }
  return readings;
}

// The lowest level so far counts, from its first reading on: a printer that jitters shows 0 as much
// too early as it showed every other level.
std::vector<Descent::Plateau> plateausOf(const std::vector<Descent::Passage>& readings) {
  std::vector<Descent::Plateau> plateaus;
  for (const auto& [at, level] : readings) {
    if (plateaus.empty() || level < plateaus.back().level) plateaus.push_back({at, at, level});
    plateaus.back().to = at;
  }
  return plateaus;
}

// A printer that jitters after it has rounded shows levels beside those of its steps, and none
// between: by enough readings of a fall of more than a step.
int stepBehindJitter(const std::vector<CartridgeLife>& lives) {
  constexpr std::size_t kEnough = 10;
  std::size_t readings = 0;
  int fallen = 0;
  for (const CartridgeLife& life : lives) {
    if (life.levels.empty()) continue;
    readings += life.levels.size();
    fallen += life.levels.front().level - life.levels.back().level;
  }
  for (const int step : kLevelSteps) {
    // Steps of 5 with jitter are all levels.
    if (step <= 2 * kJitter || readings < kEnough || fallen <= step) continue;
    const auto isNear = [&](const LevelAt& level) {
      return (level.level + kJitter) % step <= 2 * kJitter;
    };
    const auto areNear = [&](const CartridgeLife& life) {
      return std::ranges::all_of(life.levels, isNear);
    };
    if (std::ranges::all_of(lives, areNear)) return step;
  }
  return 1;
}

// How many pages were printed at a moment between two readings.
double pagesAt(const CartridgeLife& life, double at, Moment zero) {
  const auto after = std::ranges::lower_bound(
      life.levels, at, {}, [&](const LevelAt& level) { return daysBetween(zero, level.moment); });
  if (after == life.levels.begin()) return static_cast<double>(*after->printed);
  const auto before = after - 1;
  if (after == life.levels.end()) return static_cast<double>(*before->printed);
  const double from = daysBetween(zero, before->moment);
  const double to = daysBetween(zero, after->moment);
  const double part = to > from ? (at - from) / (to - from) : 1;
  return *before->printed + part * (static_cast<double>(*after->printed) - *before->printed);
}

Descent descentThrough(const std::vector<Descent::Passage>& readings) {
  Descent descent;
  descent.plateaus = plateausOf(readings);
  for (std::size_t i = 1; i < descent.plateaus.size(); ++i) {
    const Descent::Plateau& upper = descent.plateaus[i - 1];
    const Descent::Plateau& lower = descent.plateaus[i];
    descent.passages.push_back({(upper.to + lower.from) / 2, (upper.level + lower.level) / 2});
  }
  return descent;
}

}  // namespace

int stepOf(const std::vector<CartridgeLife>& lives) {
  int divisor = 0;
  for (const CartridgeLife& life : lives) {
    for (const LevelAt& level : life.levels) divisor = std::gcd(divisor, level.level);
  }
  const int step = levelStep(divisor);
  return step > 1 ? step : stepBehindJitter(lives);
}

Descent descentOf(const CartridgeLife& life, int step, Moment zero) {
  return descentThrough(withoutRises(life.levels, step, zero));
}

bool tellsPages(const CartridgeLife& life) {
  return std::ranges::all_of(life.levels,
                             [](const LevelAt& level) { return level.printed.has_value(); });
}

double pagesBetween(const CartridgeLife& life, double from, double to, Moment zero) {
  return pagesAt(life, to, zero) - pagesAt(life, from, zero);
}

std::optional<double> pointsAPage(const std::vector<CartridgeLife>& lives,
                                  const std::vector<Descent>& descents, Moment zero) {
  double points = 0;
  double pages = 0;
  auto descent = descents.begin();
  for (const CartridgeLife& life : lives) {
    if (life.levels.empty()) continue;
    const auto& passages = (descent++)->passages;
    if (passages.size() < 2 || !tellsPages(life)) continue;
    points += passages.front().level - passages.back().level;
    pages += pagesBetween(life, passages.front().at, passages.back().at, zero);
  }
  return pages > 0 && points > 0 ? std::optional(points / pages) : std::nullopt;
}

Descent byPages(const Descent& descent, const CartridgeLife& life, int step, double pointsAPage,
                Moment zero) {
  if (!tellsPages(life)) return descent;
  struct Known {
    double level;
    double pages;
  };
  std::vector<Known> known;
  if (descent.passages.empty()) {
    known.push_back(
        {descent.plateaus.front().level, static_cast<double>(*life.levels.front().printed)});
  }
  for (const Descent::Passage& passage : descent.passages) {
    known.push_back({passage.level, pagesAt(life, passage.at, zero)});
  }
  const double next = descent.plateaus.back().level - step / 2.0;
  std::vector<Descent::Passage> readings;
  std::size_t last = 0;  // known
  for (const LevelAt& level : life.levels) {
    const auto pages = static_cast<double>(*level.printed);
    while (last + 1 < known.size() && known[last + 1].pages <= pages) ++last;
    double left = known[last].level - (pages - known[last].pages) * pointsAPage;
    if (pages > known[last].pages && last + 1 < known.size()) {
      const double part = (pages - known[last].pages) / (known[last + 1].pages - known[last].pages);
      left = known[last].level - part * (known[last].level - known[last + 1].level);
    }
    readings.push_back({daysBetween(zero, level.moment), std::round(std::max(left, next))});
  }
  return descentThrough(readings);
}

}  // namespace moxsupply
