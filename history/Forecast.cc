#include "history/Forecast.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>
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

// How far the time that so many points take is off the usual, on printers in general: by the
// unevenness of days, as the variance of one, and by all that changes slowly, as a standard
// deviation. Both of the logarithm.
constexpr double kUnevenness = 0.2;
constexpr double kSlowChange = 0.35;
// How much more or less uneven than those one supply is used, is taken from its own past, as if
// so many times like those in general had been seen before.
constexpr double kTimesAtFirst = 7;
// One pause or burst counts at most as a square of so many times the usual one.
constexpr double kMostOff = 5;
// Over fewer usual days the hours at which printers are read matter more than their use.
constexpr double kShortTime = 5;
// Times so much longer than the short ones tell something else than these.
constexpr double kLonger = 1.5;
// A rate from few days is as uncertain as the time itself, or up to so many times as much.
constexpr double kMostForRate = 2;

// A time left that is twice as long, and longer than some days, is so much less likely before
// anything is seen: 2 to the power of this. It makes intervals right for short times and for long
// ones alike, where as likely would make the short ones too long.
constexpr double kShortIsLikelier = 0.8;
constexpr double kShort = 3;  // days

// The part of the probability before the likely moment, which is a little later than the middle:
// the times that are far too short weigh least in it.
constexpr double kLikely = 0.57;

// The interval has at least and at most so much of the probability, in parts of which there are so
// many in all. Between these it grows for as long as a day more brings enough. All of the
// probability would be worth an interval from now to the square of so many times the middle time
// left; a day that is farther away costs less, as the square root. So it is neither wide for the
// sake of a few cases where little is known, nor narrow where more costs little. On simulated
// printers four fifths are within.
constexpr std::size_t kParts = 200;
constexpr std::size_t kLeastWithin = 110;
constexpr std::size_t kMostWithin = 170;
constexpr double kWorth = 2.6;

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
        mEnd(shownEmptyAt + mStep / 2.0),
        mDescents(descentsOf(supply.lives)),
        mWeek(mDescents, mZero),
        mRate(rate()) {}

  [[nodiscard]] EmptyAt emptyAt() const;
  [[nodiscard]] double pointsADay() const { return mRate.points; }

 private:
  [[nodiscard]] std::vector<Descent> descentsOf(const std::vector<CartridgeLife>& lives);
  [[nodiscard]] std::vector<Use> uses() const;
  [[nodiscard]] Rate rate() const;
  [[nodiscard]] Position position() const;
  [[nodiscard]] double spread(const Position& position, double days) const;
  [[nodiscard]] double unevenness(double points) const;
  [[nodiscard]] double started() const;

  [[nodiscard]] const Descent& current() const { return mDescents.back(); }

  Moment mZero;
  int mStep;
  double mEnd;             // the passage to the level at which the printer calls a cartridge empty
  double mOffByPages = 0;  // of what is left, the standard deviation where pages tell it
  std::vector<Descent> mDescents;  // of the lives that have levels, the last one is now
  Week mWeek;
  Rate mRate;
};

std::vector<Descent> Estimate::descentsOf(const std::vector<CartridgeLife>& lives) {
  std::vector<Descent> descents;
  for (const CartridgeLife& life : lives) {
    if (!life.levels.empty()) descents.push_back(descentOf(life, mStep, mZero));
  }
  const bool isByPages = mStep > 1 && tellsPages(lives.back());
  const auto points = isByPages ? pointsAPage(lives, descents, mZero) : std::nullopt;
  if (!points) return descents;
  const Descent now = descents.back();
  auto descent = descents.begin();
  for (const CartridgeLife& life : lives) {
    if (life.levels.empty()) continue;
    *descent = byPages(*descent, life, mStep, *points, mZero);
    ++descent;
  }
  // Pages take more or less than others, and when the last step was passed is known as well as
  // readings are close.
  constexpr double kOfPages = 0.25;
  double seen = now.plateaus.back().level;
  double passing = mStep;
  if (!now.passages.empty()) {
    seen = now.passages.back().level;
    const double before = now.plateaus[now.plateaus.size() - 2].to;
    passing = *points * pagesBetween(lives.back(), before, now.plateaus.back().from, mZero);
  }
  mOffByPages = std::hypot(kOfPages * (seen - descents.back().plateaus.back().level),
                           passing / std::sqrt(12.0));
  mStep = 1;
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

// Where levels are rounded or jitter, when a new one came tells more than which one it is.
Position Estimate::position() const {
  const auto& plateaus = current().plateaus;
  const Descent::Plateau& now = plateaus.back();
  Position position = {now.level, started(), square(mStep) / 12.0};
  if (plateaus.size() > 1) {
    const Descent::Plateau& before = plateaus[plateaus.size() - 2];
    position.points = current().passages.back().level;
    // It passed there some time between two readings.
    const double passing = mWeek.usualDays(before.to, now.from) * mRate.points;
    const double most = before.level - now.level + mStep;
    position.variance = square(std::min(passing, most)) / 12;
  }
  const double next = now.level - mStep / 2.0;  // the passage that was not seen yet
  if (next > mEnd) {
    // However long it was there, less was used than is left before the next passage. When that is
    // due, it is somewhere in the second half.
    constexpr double kMostUsed = 0.75;
    const double most = position.points - next;
    const double usual = mWeek.usualDays(position.at, now.to) * mRate.points;
    const double used = std::min(usual, kMostUsed * most);
    position = {position.points - used, now.to, position.variance + square(used) / 12};
  }
  position.variance += square(mOffByPages);
  position.points = std::max({mStep / 4.0, mOffByPages, position.points - mEnd});
  return position;
}

// A variance of the logarithm of the time, of printers in general.
double usualVariance(double days) { return kUnevenness / days + square(kSlowChange); }

// How uneven this supply is used beside printers in general, as a factor of the variance: by the
// times that it took to use a few days' points, and to use so many.
double Estimate::unevenness(double points) const {
  double squares = kTimesAtFirst;
  double times = kTimesAtFirst;
  const auto seeTimesFor = [&](double least, const std::vector<Descent::Passage>& passages) {
    std::size_t begin = 0;
    for (std::size_t end = 1; end < passages.size(); ++end) {
      constexpr double kNothing = 1e-6;
      const double used = passages[begin].level - passages[end].level;
      if (used < least - kNothing) continue;
      const double usual = used / mRate.points;
      const double days = mWeek.usualDays(passages[begin].at, passages[end].at);
      const double off = std::log(std::max(1e-3, days) / usual);
      squares += std::min(kMostOff, square(off) / usualVariance(usual));
      ++times;
      begin = end;
    }
  };
  const double few = kShortTime * mRate.points;
  for (const Descent& descent : mDescents) {
    seeTimesFor(few, descent.passages);
    if (points > kLonger * std::max<double>(mStep, few)) seeTimesFor(points, descent.passages);
  }
  return squares / times;
}

// The standard deviation of the logarithm of the time. `days`: usual days that the points of the
// position take.
double Estimate::spread(const Position& position, double days) const {
  const double uneven = unevenness(position.points) * usualVariance(days);
  const double rateToo = uneven * (1 + std::min(kMostForRate, days / mRate.days));
  return std::sqrt(rateToo + position.variance / square(position.points));
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

// The first and the last of the days that are worth to be within the interval. `days`: before which
// lies each part of the probability.
std::pair<double, double> worthwhile(const std::array<double, kParts + 1>& days) {
  std::array<double, kParts + 1> roots{};
  std::ranges::transform(days, roots.begin(), [](double time) { return std::sqrt(time); });
  const double scale = kWorth * roots[kParts / 2];
  double most = -std::numeric_limits<double>::infinity();
  std::pair<double, double> best;
  for (std::size_t within = kLeastWithin; within <= kMostWithin; ++within) {
    for (std::size_t before = 0; before + within <= kParts; ++before) {
      const std::size_t last = before + within;
      const double worth =
          static_cast<double>(within) / kParts - (roots[last] - roots[before]) / scale;
      if (worth <= most) continue;
      most = worth;
      best = {days[before], days[last]};
    }
  }
  return best;
}

EmptyAt Estimate::emptyAt() const {
  static const TimesLeft kLeft;
  const Position from = position();
  const double middle = from.points / mRate.points;
  const double spread = this->spread(from, middle);
  const double gone = mWeek.usualDays(from.at, 0);

  // The probability that it takes longer than so many usual days from the position.
  const auto takesLonger = [&](double days) {
    if (days <= 0) return 1.0;
    return std::erfc(std::log(days / middle) / spread / std::sqrt(2.0)) / 2;
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
    return kLeft.days[i] + within * (kLeft.days[i + 1] - kLeft.days[i]);
  };
  const auto moment = [&](double days) {
    const auto left = std::chrono::round<std::chrono::seconds>(
        std::chrono::duration<double, std::chrono::days::period>(days));
    return mZero < kLastMoment - left ? mZero + left : std::max(mZero, kLastMoment);
  };
  const double likely = quantile(kLikely);
  std::array<double, kParts + 1> days{};
  for (std::size_t part = 0; part <= kParts; ++part) {
    days[part] = quantile(static_cast<double>(part) / kParts);
  }
  const auto [earliest, latest] = worthwhile(days);
  return {moment(likely), moment(std::min(earliest, likely)), moment(std::max(latest, likely))};
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
