#include "bench/forecast/Houses.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace moxsupply {

namespace {

using std::chrono::days;
using std::chrono::hours;

// The standard engine is the same everywhere, its distributions are not: these are.
class Chance {
 public:
  Chance(std::uint64_t seed, std::uint64_t number)
      : mEngine(seed * 0x9E3779B97F4A7C15ULL + number) {
    mEngine.discard(16);
  }

  double between(double least, double most) {
    constexpr double kRange = 9007199254740992.0;  // 2^53
    return least + (most - least) * (static_cast<double>(mEngine() >> 11U) / kRange);
  }
  int whole(int least, int most) {
    return std::min(most, static_cast<int>(std::floor(between(least, most + 1))));
  }
  bool happens(double probability) { return between(0, 1) < probability; }
  // As often between 3 and 30 as between 30 and 300.
  double magnitude(double least, double most) {
    return std::exp(between(std::log(least), std::log(most)));
  }
  double normal() {
    const double radius = std::sqrt(-2 * std::log(1 - between(0, 1)));
    return radius * std::cos(between(0, 2 * std::numbers::pi));
  }
  // Of mean 1 and this standard deviation; the method of Marsaglia and Tsang.
  double gamma(double deviation) {
    const double shape = 1 / (deviation * deviation);
    if (shape < 1) {
      const double drawn = gammaOfShape(shape + 1);
      return drawn * std::pow(1 - between(0, 1), 1 / shape) / shape;
    }
    return gammaOfShape(shape) / shape;
  }

 private:
  double gammaOfShape(double shape) {
    const double d = shape - 1.0 / 3;
    const double c = 1 / std::sqrt(9 * d);
    while (true) {
      const double x = normal();
      const double v = std::pow(1 + c * x, 3);
      if (v > 0 && std::log(1 - between(0, 1)) < 0.5 * x * x + d - d * v + d * std::log(v)) {
        return d * v;
      }
    }
  }

  std::mt19937_64 mEngine;
};

constexpr int kMostDays = 5 * 365;
constexpr std::chrono::sys_days kBeginning = std::chrono::January / 1 / 2024;

// The pages of each day, by what people do in this house.
std::vector<double> pagesByDay(House& house, Chance& chance) {
  const UseOfPrinter use = house.use;
  std::array<double, 7> week{};  // from Sunday
  const double weekend = chance.between(0, 0.2);
  for (std::size_t day = 0; day < 7; ++day) {
    week[day] = day == 0 || day == 6 ? weekend : chance.between(0.7, 1.3);
  }
  if (use == UseOfPrinter::kSchool) week[0] = week[6] = 0;
  if (use == UseOfPrinter::kEveryDay) {
    for (double& day : week) day = chance.between(0.8, 1.2);
  }
  if (use == UseOfPrinter::kOneDay) {
    for (double& day : week) day *= 0.25;
    week[static_cast<std::size_t>(chance.whole(1, 5))] = chance.between(3, 6);
  }

  std::vector<bool> isHoliday(kMostDays);
  const auto close = [&](int first, int length) {
    for (int day = std::max(0, first); day < std::min(kMostDays, first + length); ++day) {
      isHoliday[static_cast<std::size_t>(day)] = true;
    }
  };
  const bool hasHolidays = use != UseOfPrinter::kEveryDay;
  for (int year = 0; hasHolidays && year < 5; ++year) {
    close(year * 365 - chance.whole(5, 9), chance.whole(8, 15));  // the end of the year
    for (int holiday = 0; holiday < 9; ++holiday) close(year * 365 + chance.whole(0, 364), 1);
    if (use == UseOfPrinter::kSchool) {
      close(year * 365 + 45 + chance.whole(0, 7), 7);
      close(year * 365 + 95 + chance.whole(0, 14), 14);
      close(year * 365 + 180 + chance.whole(0, 25), 42);
      close(year * 365 + 295 + chance.whole(0, 7), chance.whole(7, 12));
    } else if (chance.happens(0.3)) {
      close(year * 365 + chance.whole(190, 230), chance.whole(10, 21));
    }
  }

  const double summer = chance.between(0, 0.3);
  const double deviation = chance.between(0.25, use == UseOfPrinter::kEveryDay ? 0.5 : 1.1);
  const double drift = use == UseOfPrinter::kDrift ? chance.between(0.02, 0.05)
                                                   : chance.between(0, 0.015);  // log, a day
  const double burst = chance.between(0.02, 0.1);
  std::array<int, 2> moves = {chance.whole(60, 500), chance.whole(500, 1000)};
  double trend = 0;
  std::vector<double> pages(kMostDays);
  double sum = 0;
  for (int day = 0; day < kMostDays; ++day) {
    trend += drift * chance.normal() - 0.002 * trend;
    if (use == UseOfPrinter::kMoves && std::ranges::count(moves, day) > 0) {
      trend += std::log(chance.magnitude(0.4, 2.5));
    }
    const auto weekday = std::chrono::weekday(kBeginning + days(day));
    double drawn = week[weekday.c_encoding()] * std::exp(trend) * chance.gamma(deviation);
    if (use != UseOfPrinter::kEveryDay) {
      const double season = std::sin(std::numbers::pi * ((day % 365) - 135) / 183.0);
      if (day % 365 > 135 && day % 365 < 318) drawn *= 1 - summer * season;
    }
    if (use == UseOfPrinter::kBursts && chance.happens(burst)) drawn += chance.between(3, 12);
    if (isHoliday[static_cast<std::size_t>(day)]) drawn = 0;
    pages[static_cast<std::size_t>(day)] = drawn;
    sum += drawn;
  }
  for (double& day : pages) day = std::floor(day * house.pagesADay * kMostDays / sum + 0.5);
  return pages;
}

int rounded(double level, const House& house) {
  const double steps = level / house.step;
  switch (house.rounding) {
    case Rounding::kDown:
      return static_cast<int>(std::floor(steps)) * house.step;
    case Rounding::kNearest:
      return static_cast<int>(std::floor(steps + 0.5)) * house.step;
    case Rounding::kUp:
      return static_cast<int>(std::ceil(steps)) * house.step;
  }
  return 0;
}

int shown(double level, const House& house, Chance& chance) {
  const int jitter = chance.whole(-3, 3);
  switch (house.jitter) {
    case Jitter::kNone:
      break;
    case Jitter::kNowAndThen:
      if (chance.happens(0.3)) level += jitter;
      break;
    case Jitter::kAlways:
      level += jitter;
      break;
    case Jitter::kBehindRounding:
      return std::clamp(rounded(std::clamp(level, 0.0, 100.0), house) + jitter, 0, 100);
  }
  return rounded(std::clamp(level, 0.0, 100.0), house);
}

// When the printer is read.
struct Schedule {
  int hour = 8;  // of the day, UTC
  bool isHourly = false;
  double lost = 0;  // of the readings
  bool isOffAtWeekends = false;
  double silenceADay = 0;  // probability that days without a reading begin
};

}  // namespace

std::string_view nameOf(UseOfPrinter use) {
  switch (use) {
    case UseOfPrinter::kOffice:
      return "office";
    case UseOfPrinter::kSchool:
      return "school";
    case UseOfPrinter::kBursts:
      return "bursts";
    case UseOfPrinter::kDrift:
      return "drift";
    case UseOfPrinter::kMoves:
      return "moves";
    case UseOfPrinter::kEveryDay:
      return "every day";
    case UseOfPrinter::kOneDay:
      return "one day";
  }
  return "";
}

House simulatedHouse(std::uint64_t seed, std::uint64_t number) {
  Chance chance(seed, number);
  House house;
  house.use = kUses[static_cast<std::size_t>(number % kUses.size())];
  house.step = kSteps[static_cast<std::size_t>(number / kUses.size() % kSteps.size())];
  house.pagesADay = chance.magnitude(3, 3000);
  house.rounding = static_cast<Rounding>(chance.whole(0, 2));
  house.jitter = static_cast<Jitter>(std::max(0, chance.whole(-2, 3)));
  if (house.jitter == Jitter::kBehindRounding && house.step > 10) house.jitter = Jitter::kAlways;
  house.isShaken = chance.happens(0.3);
  const std::vector<double> pages = pagesByDay(house, chance);

  Schedule schedule = {.hour = chance.whole(0, 23),
                       .isHourly = chance.happens(0.3),
                       .lost = chance.happens(0.5) ? chance.between(0, 0.4) : 0,
                       .isOffAtWeekends = chance.happens(0.15),
                       .silenceADay = chance.happens(0.3) ? 0.02 : 0};
  const int firstHour = chance.whole(-1, 14);  // of the working day, UTC
  // People buy cartridges for 10 days to 10 months of their own use.
  const double capacity = std::max(100.0, house.pagesADay * chance.magnitude(10, 300));

  // Drawn apart, so that a house is the same whether or not it tells pages.
  constexpr std::uint64_t kOfPages = 0x7061676573;
  Chance ofPages(seed ^ kOfPages, number);
  house.tellsPages = ofPages.happens(1.0 / 3);
  double coverage = 1;  // of a page by toner or ink, beside the usual

  int day = chance.whole(0, 364);
  const int most = chance.whole(1, 4);
  for (int life = 0; life < most && day < kMostDays - 1; ++life) {
    SimulatedCartridge cartridge;
    double left = chance.happens(0.8) ? 100 : chance.between(60, 100);  // percent
    const double perPage = 100 / capacity * std::exp(0.1 * chance.normal());
    const double replacedAt = chance.happens(0.2) ? chance.between(2, 15) : -1;
    const double shakenAt = house.isShaken ? chance.between(4, 19) : -1;
    double gained = 0;
    double printed = 0;
    int silentUntil = -1;
    bool isOver = false;
    for (; !isOver && day < kMostDays; ++day) {
      coverage *= std::exp(0.02 * ofPages.normal() - 0.01 * std::log(coverage));
      const double ofToday = coverage * ofPages.gamma(0.3);
      const auto printForAnHour = [&] {
        const double usual = pages[static_cast<std::size_t>(day)] / 10;
        left -= usual * perPage;
        printed += usual / ofToday;
      };
      const std::chrono::sys_days midnight = kBeginning + days(day);
      const auto weekday = std::chrono::weekday(midnight).c_encoding();
      const bool isOff = schedule.isOffAtWeekends && (weekday == 0 || weekday == 6);
      if (chance.happens(schedule.silenceADay)) silentUntil = day + chance.whole(2, 20);
      for (int hour = 0; !isOver && hour < 24; ++hour) {
        const bool isWorking = hour >= firstHour && hour < firstHour + 10;
        if (isWorking) printForAnHour();
        if (firstHour < 0 && hour == 0) printForAnHour();
        if (gained == 0 && left < shakenAt && left > 0) gained = chance.between(3, 15);
        if (!schedule.isHourly && hour != schedule.hour) continue;
        const int level = shown(left + gained, house, chance);
        const HouseTime now = midnight + hours(hour);
        const bool isRead = !isOff && day >= silentUntil && !chance.happens(schedule.lost);
        const bool isNew = cartridge.shown.empty() || cartridge.shown.back().level != level ||
                           now - cartridge.shown.back().time >= days(1);
        if (isRead && isNew) {
          cartridge.shown.push_back({now, level, static_cast<std::uint32_t>(printed)});
        }
        if (level == 0) cartridge.emptyAt = now;
        isOver = level == 0 || left + gained < replacedAt;
      }
    }
    day += chance.whole(0, 3);
    house.cartridges.push_back(std::move(cartridge));
  }
  return house;
}

}  // namespace moxsupply
