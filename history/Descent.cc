#include "history/Descent.h"

#include <algorithm>
#include <numeric>

#include "history/LevelStep.h"

namespace moxsupply {

namespace {

// A rise by more was no jitter, which is up to 3 points either way: the cartridge was shaken, or
// filled. Where levels are rounded, jitter can also be a whole step.
constexpr int kMostJitter = 6;

// What was shown before a rise counts as so much higher, so that only what was used is left.
std::vector<Descent::Passage> withoutRises(const std::vector<LevelAt>& levels, int step,
                                           Moment zero) {
  std::vector<Descent::Passage> readings(levels.size());
  const int mostJitter = std::max(kMostJitter, step);
  int risen = 0;
  for (std::size_t i = levels.size(); i-- > 0;) {
    readings[i] = {daysBetween(zero, levels[i].moment),
                   static_cast<double>(levels[i].level + risen)};
    const int rise = i > 0 ? levels[i].level - levels[i - 1].level : 0;
    if (rise > mostJitter) risen += rise;
  }
  return readings;
}

// The descending steps that are nearest to the readings, by least squares: neighbours that are out
// of order are as high as their mean.
std::vector<Descent::Plateau> plateausOf(const std::vector<Descent::Passage>& readings) {
  std::vector<Descent::Plateau> plateaus;
  for (const auto& [at, level] : readings) {
    Descent::Plateau next = {at, at, level, 1};
    while (!plateaus.empty() && plateaus.back().level <= next.level) {
      const Descent::Plateau& before = plateaus.back();
      const int together = before.readings + next.readings;
      next.level = (before.level * before.readings + next.level * next.readings) / together;
      next.from = before.from;
      next.readings = together;
      plateaus.pop_back();
    }
    plateaus.push_back(next);
  }
  return plateaus;
}

}  // namespace

int stepOf(const std::vector<CartridgeLife>& lives) {
  int divisor = 0;
  for (const CartridgeLife& life : lives) {
    for (const LevelAt& level : life.levels) divisor = std::gcd(divisor, level.level);
  }
  return levelStep(divisor);
}

Descent descentOf(const CartridgeLife& life, int step, Moment zero) {
  Descent descent;
  descent.readings = withoutRises(life.levels, step, zero);
  descent.plateaus = plateausOf(descent.readings);
  auto plateau = descent.plateaus.begin();
  for (const auto& [at, level] : descent.readings) {
    while (at > plateau->to) ++plateau;
    descent.squaredJitter += (level - plateau->level) * (level - plateau->level);
  }
  for (std::size_t i = 1; i < descent.plateaus.size(); ++i) {
    const Descent::Plateau& upper = descent.plateaus[i - 1];
    const Descent::Plateau& lower = descent.plateaus[i];
    descent.passages.push_back({(upper.to + lower.from) / 2, (upper.level + lower.level) / 2});
  }
  return descent;
}

}  // namespace moxsupply
