#include "history/Forecast.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <optional>
#include <vector>

#include "history/Descent.h"
#include "history/Week.h"
#include "supplies/Attention.h"

namespace moxsupply {

namespace {

// The constants are from simulated printers, other ones than those on which it is then measured.

// What was used a month ago counts about a third of what was used today, and what was used a year
// ago still a little.
constexpr double kMonth = 30;  // days
constexpr double kFading = 1.5;

// Where nothing was used for a week longer than usual, the rest was a holiday, and tells nothing.
constexpr double kLongestPause = 7;

// How far the time that so many points took in the past is off the usual, before that has been
// seen: by the unevenness of days, as the variance of one, and by all that changes slowly, as a
// standard deviation. Both of the logarithm, and as if seen so often.
constexpr double kUnevenness = 0.4;
constexpr double kSlowChange = 0.31;
constexpr double kTimesAtFirst = 7;
// One pause or burst says no more than this of those to come.
constexpr double kMostOff = 0.55;
// A rate from few days is as uncertain as the time itself, or up to so many times as much.
constexpr double kMostForRate = 2;

// Jitter, as a standard deviation, in points: 3 either way, each as often, make 2.
constexpr double kMostJitter = 2;
constexpr double kLeastJitter = 0.5;
// The lowest of many readings is so many standard deviations below the level.
constexpr double kLowestReading = 2;
// With jitter, the level is the mean of the last readings: within so many points, and at least so
// many readings.
constexpr double kPointsOfMean = 2.5;
constexpr int kLeastOfMean = 3;
constexpr int kMostOfMean = 40;

// A time left that is twice as long, and longer than some days, is so much less likely before
// anything is seen: 2 to the power of this. It makes intervals right for short times and for long
// ones alike, where as likely would make the short ones too long.
constexpr double kShortIsLikelier = 0.5;
constexpr double kShort = 3;  // days

// Parts of the probability before these. With what lies before and after the interval, four fifths
// are within, on simulated printers.
constexpr double kEarliest = 0.12;
constexpr double kLikely = 0.57;
constexpr double kLatest = 0.91;

constexpr std::chrono::days kLeastHistory(7);

double square(double number) { return number * number; }

// What was used in a time. Days are usual ones, see Week.
struct Use {
  double days = 0;
  double points = 0;
  double ago = 0;  // calendar days from its middle
};

struct Rate {
  double points = 0;  // a day
  double days = 0;    // as many of today would tell as much
};

// Where the level was last known best.
struct Position {
  double points = 0;    // that are left from there until the printer shows 0
  double at = 0;        // when it was there
  double variance = 0;  // of the points
};

class Estimate {
 public:
  // `shownEmptyAt`: the level at which the printer calls a cartridge empty.
  Estimate(const SupplyLives& supply, int shownEmptyAt)
      : mZero(supply.lives.back().end),
        mStep(stepOf(supply.lives)),
        mShownEmptyAt(shownEmptyAt),
        mDescents(descentsOf(supply.lives)),
        mWeek(mDescents, mZero),
        mRate(rate()),
        mJitter(jitter()) {}

  [[nodiscard]] EmptyAt emptyAt() const;
  [[nodiscard]] double pointsADay() const { return mRate.points; }

 private:
  // How the logarithm of the time that it takes is spread below and above its middle.
  struct Spread {
    double below = 0;
    double above = 0;
  };

  // A sum of squares of what was off, for both sides, and how often that was seen.
  struct Seen {
    Spread squares;
    double times = 0;
  };

  [[nodiscard]] std::vector<Descent> descentsOf(const std::vector<CartridgeLife>& lives) const;
  [[nodiscard]] std::vector<Use> uses() const;
  [[nodiscard]] Rate rate() const;
  [[nodiscard]] double jitter() const;
  [[nodiscard]] double lowestReading() const;
  [[nodiscard]] Position position() const;
  [[nodiscard]] Position meanOfLast() const;
  [[nodiscard]] Position lastPassage() const;
  [[nodiscard]] Spread spread(const Position& position, double days) const;
  void seeTimesFor(double points, const Descent& descent, Seen& seen) const;
  [[nodiscard]] double started() const;

  [[nodiscard]] const Descent& current() const { return mDescents.back(); }

  Moment mZero;
  int mStep;
  int mShownEmptyAt;
  std::vector<Descent> mDescents;  // of the lives that have levels, the last one is now
  Week mWeek;
  Rate mRate;
  double mJitter;  // points, a standard deviation
};

std::vector<Descent> Estimate::descentsOf(const std::vector<CartridgeLife>& lives) const {
  std::vector<Descent> descents;
  for (const CartridgeLife& life : lives) {
    if (!life.levels.empty()) descents.push_back(descentOf(life, mStep, mZero));
  }
  return descents;
}

// From when the current plateau is known.
double Estimate::started() const {
  return current().passages.empty() ? current().plateaus.front().from
                                    : current().passages.back().at;
}

std::vector<Use> Estimate::uses() const {
  std::vector<Use> uses;
  for (const Descent& descent : mDescents) {
    if (descent.passages.empty()) continue;
    // Where in its step a cartridge began is not known; with enough steps that is left out.
    constexpr std::size_t kEnough = 2;
    const bool leavesFirstOut = mStep > 1 && descent.passages.size() > kEnough;
    Descent::Passage before = {descent.plateaus.front().from, descent.plateaus.front().level};
    for (const Descent::Passage& passage : descent.passages) {
      const bool isFirst = &passage == &descent.passages.front();
      if (!isFirst || !leavesFirstOut) {
        uses.push_back({mWeek.usualDays(before.at, passage.at), before.level - passage.level,
                        -(before.at + passage.at) / 2});
      }
      before = passage;
    }
  }
  return uses;
}

Rate Estimate::rate() const {
  std::vector<Use> all = uses();
  Rate rate;
  double points = 0;
  double squares = 0;
  const auto add = [&](const Use& use) {
    const double weight = std::pow(1 + std::max(0.0, use.ago) / kMonth, -kFading);
    rate.days += weight * use.days;
    points += weight * use.points;
    squares += weight * weight * use.days;
  };
  const auto addAll = [&] {
    rate = {};
    points = squares = 0;
    for (const Use& use : all) add(use);
    rate.points = points / std::max(rate.days, 1e-6);
  };
  addAll();
  constexpr int kRounds = 2;
  for (int round = 0; round < kRounds && points > 0; ++round) {
    for (Use& use : all) use.days = std::min(use.days, use.points / rate.points + kLongestPause);
    addAll();
  }

  const double began = started();
  const double since = mWeek.usualDays(began, 0);
  // That nothing was seen since then tells something as soon as a step should have been.
  if (points == 0) {
    add({std::max(since, 1.0), mStep / 2.0, -began / 2});
  } else if (rate.points * since > mStep) {
    add({since, static_cast<double>(mStep), -began / 2});
  }
  rate.points = points / rate.days;
  return {rate.points, square(rate.days) / squares};
}

double Estimate::jitter() const {
  double squares = 0;
  double readings = 0;
  for (const Descent& descent : mDescents) {
    squares += descent.squaredJitter;
    readings += static_cast<double>(descent.readings.size());
  }
  return std::min(kMostJitter, std::sqrt(squares / readings));
}

// So far above 0 jitter has it shown already: the farther, the more readings there are until then.
double Estimate::lowestReading() const {
  const auto& readings = current().readings;
  const double days = readings.back().at - readings.front().at;
  if (days <= 0) return 0;
  const double aPoint = static_cast<double>(readings.size() - 1) / days / mRate.points;
  return kLowestReading * mJitter * (1 - 1 / std::sqrt(std::max(1.0, aPoint)));
}

Position Estimate::meanOfLast() const {
  double sum = 0;
  int count = 0;
  const auto& readings = current().readings;
  for (auto reading = readings.rbegin(); reading != readings.rend() && count < kMostOfMean;
       ++reading) {
    const double used = mWeek.usualDays(reading->at, 0) * mRate.points;
    if (count >= kLeastOfMean && used > kPointsOfMean) break;
    sum += reading->level - used;
    ++count;
  }
  constexpr double kLeast = 0.5;
  const double end = mShownEmptyAt + mStep / 2.0 + lowestReading();
  return {std::max(kLeast, sum / count - end), 0, square(mJitter) / count};
}

Position Estimate::lastPassage() const {
  const auto& plateaus = current().plateaus;
  Position position = {current().readings.back().level, started(), square(mStep) / 12.0};
  if (plateaus.size() > 1) {
    const Descent::Plateau& before = plateaus[plateaus.size() - 2];
    position.points = current().passages.back().level;
    // It passed there some time between two readings.
    const double passing = mWeek.usualDays(before.to, plateaus.back().from) * mRate.points;
    const double most = before.level - plateaus.back().level + mStep;
    position.variance = square(std::min(passing, most)) / 12;
  }
  const double end = mShownEmptyAt + mStep / 2.0 + lowestReading();
  position.points = std::max(mStep / 4.0, position.points - end);
  return position;
}

// Where levels are rounded, when one changed tells more than which one it is.
Position Estimate::position() const {
  return mStep == 1 && mJitter > kLeastJitter ? meanOfLast() : lastPassage();
}

// How long so many points took from each time in the past, beside what is usual.
void Estimate::seeTimesFor(double points, const Descent& descent, Seen& seen) const {
  const auto& passages = descent.passages;
  if (passages.size() < 2 || passages.front().level - passages.back().level < points) return;
  constexpr std::size_t kMostTimes = 64;
  const std::size_t stride = 1 + passages.size() / kMostTimes;
  Spread squares;
  double times = 0;
  std::size_t end = 0;
  for (std::size_t begin = 0; begin < passages.size(); begin += stride) {
    const double level = passages[begin].level - points;
    end = std::max(end, begin + 1);
    while (end < passages.size() && passages[end].level > level) ++end;
    if (end >= passages.size()) break;
    const Descent::Passage& above = passages[end - 1];
    const Descent::Passage& below = passages[end];
    const double part = (above.level - level) / (above.level - below.level);
    const double at = above.at + part * (below.at - above.at);
    const double days = mWeek.usualDays(passages[begin].at, at);
    const double off =
        std::clamp(std::log(std::max(1e-3, days * mRate.points / points)), -kMostOff, kMostOff);
    (off < 0 ? squares.below : squares.above) += 2 * square(off);
    ++times;
  }
  if (times == 0) return;
  // The times overlap: so many of them are after one another.
  const double apart = (passages.front().level - passages.back().level) / points;
  seen.squares.below += squares.below / times * apart;
  seen.squares.above += squares.above / times * apart;
  seen.times += apart;
}

// `days`: usual days that the points of the position take.
Estimate::Spread Estimate::spread(const Position& position, double days) const {
  Seen seen;
  for (const Descent& descent : mDescents) seeTimesFor(position.points, descent, seen);
  const double atFirst = kUnevenness / days + square(kSlowChange);
  const auto side = [&](double squares) {
    const double uneven = (squares + kTimesAtFirst * atFirst) / (seen.times + kTimesAtFirst);
    const double rateToo = uneven * (1 + std::min(kMostForRate, days / mRate.days));
    return std::sqrt(rateToo + position.variance / square(position.points));
  };
  return {side(seen.squares.below), side(seen.squares.above)};
}

// Times from a quarter of a day to 57 years, each an eighth longer.
constexpr std::size_t kTimes = 100;
struct TimesLeft {
  std::array<double, kTimes + 1> days{};
  std::array<double, kTimes> weights{};  // before anything is seen

  TimesLeft() {
    constexpr double kFirst = 0.25;
    constexpr double kRatio = 1.12;
    for (std::size_t i = 0; i < kTimes; ++i) {
      days[i + 1] = i == 0 ? kFirst : days[i] * kRatio;
      weights[i] = std::pow((days[i] + days[i + 1]) / 2 + kShort, -kShortIsLikelier);
    }
  }
};

EmptyAt Estimate::emptyAt() const {
  static const TimesLeft kLeft;
  const Position from = position();
  const double middle = from.points / mRate.points;
  const Spread spread = this->spread(from, middle);
  const double gone = mWeek.usualDays(from.at, 0);

  // The probability that it takes longer than so many usual days from the position.
  const auto takesLonger = [&](double days) {
    if (days <= 0) return 1.0;
    const double off = std::log(days / middle);
    return std::erfc(off / (off < 0 ? spread.below : spread.above) / std::sqrt(2.0)) / 2;
  };
  std::array<double, kTimes> probability{};
  double all = 0;
  double before = takesLonger(gone);
  for (std::size_t i = 0; i < kTimes; ++i) {
    const double after = takesLonger(gone + mWeek.usualDays(0, kLeft.days[i + 1]));
    probability[i] = (before - after) * kLeft.weights[i];
    all += probability[i];
    before = after;
  }
  const auto quantile = [&](double part) {
    double rest = part * all;
    std::size_t i = 0;
    while (i + 1 < kTimes && rest > probability[i]) rest -= probability[i++];
    const double within = probability[i] > 0 ? std::min(1.0, rest / probability[i]) : 0;
    const double days = kLeft.days[i] + within * (kLeft.days[i + 1] - kLeft.days[i]);
    const auto left = std::chrono::round<std::chrono::seconds>(
        std::chrono::duration<double, std::chrono::days::period>(days));
    return mZero < kLastMoment - left ? mZero + left : std::max(mZero, kLastMoment);
  };
  return {quantile(kLikely), quantile(kEarliest), quantile(kLatest)};
}

// Whether a life tells how fast this supply is used.
bool tellsRate(const CartridgeLife& life) {
  const auto isOther = [&](const LevelAt& level) {
    return level.level != life.levels.front().level;
  };
  return between(life.begin, life.end) >= kLeastHistory &&
         std::ranges::any_of(life.levels, isOther);
}

// The level at which the printer last called an earlier cartridge empty.
int shownEmptyAt(const std::vector<CartridgeLife>& lives, int level) {
  for (std::size_t i = lives.size() - 1; i-- > 0;) {
    if (!lives[i].emptyAt) continue;
    int shown = 0;
    for (const LevelAt& at : lives[i].levels) {
      if (at.moment <= *lives[i].emptyAt) shown = at.level;
    }
    return shown < level ? shown : 0;
  }
  return 0;
}

std::string counted(std::size_t count, std::string_view what) {
  return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

std::string daysOf(const CartridgeLife& life) {
  return counted(static_cast<std::size_t>(between(life.begin, life.end) / std::chrono::days(1)),
                 "day");
}

// An unknown level stands for the last known one of this cartridge.
std::optional<int> levelNow(const SupplyLives& supply) {
  if (supply.last.status == SupplyStatus::kMissing) return std::nullopt;
  if (supply.last.level) return *supply.last.level;
  const auto& levels = supply.lives.back().levels;
  const bool isUnknown = supply.last.level.error() == NoLevel::kUnknown;
  return isUnknown && !levels.empty() ? std::optional(levels.back().level) : std::nullopt;
}

}  // namespace

Attention attentionNow(const SupplyLives& supply) {
  ReadSupply now = supply.last;
  if (const auto level = levelNow(supply)) now.level = *level;
  return attentionOf(now);
}

Forecast forecastOf(const SupplyLives& supply) {
  const CartridgeLife& life = supply.lives.back();
  Forecast forecast = {levelNow(supply), life.end, std::nullopt, {}};
  switch (attentionNow(supply)) {
    case Attention::kMissing:
      forecast.because = "the cartridge is missing";
      return forecast;
    case Attention::kWrong:
      forecast.because = "it is the wrong cartridge for this printer or place";
      return forecast;
    case Attention::kEmpty:
      forecast.emptyAt = {life.end, life.end, life.end};
      forecast.because = "it is empty";
      return forecast;
    case Attention::kLow:
    case Attention::kNone:
      break;
  }
  if (!forecast.level) {
    forecast.because = "this cartridge's level was never known";
    return forecast;
  }

  const auto earlier = static_cast<std::size_t>(
      std::count_if(supply.lives.begin(), supply.lives.end() - 1, tellsRate));
  const bool tellsItself = tellsRate(life);
  if (!tellsItself && earlier == 0) {
    forecast.because = fmt::format(
        "a forecast takes two different levels and 7 days of a cartridge; this one was read for {}",
        daysOf(life));
    return forecast;
  }
  const Estimate estimate(supply, shownEmptyAt(supply.lives, *forecast.level));
  forecast.emptyAt = estimate.emptyAt();
  forecast.because = fmt::format("about {:.2g} % a day lately, by {}{}{}", estimate.pointsADay(),
                                 tellsItself ? daysOf(life) + " of this cartridge" : "",
                                 tellsItself && earlier > 0 ? " and " : "",
                                 earlier > 0 ? counted(earlier, "earlier cartridge") : "");
  return forecast;
}

}  // namespace moxsupply
