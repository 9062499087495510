// Tries forecasts on simulated printers, and prints how far off they are as the tables of
// docs/forecast.md.
//   forecast-bench [HOUSES [SEED]]
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <iterator>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "bench/forecast/Houses.h"
#include "history/Forecast.h"
#include "history/Lives.h"
#include "supplies/Attention.h"

namespace moxsupply {

namespace {

// How long it is until the printer shows that a cartridge is empty, in days.
struct Band {
  std::string_view name;
  double from;
  double to;
};
constexpr std::array<Band, 3> kBands = {{
    {"3 to 7 days", 3, 7},
    {"7 to 21 days", 7, 21},
    {"21 to 60 days", 21, 60},
}};

// Days from a reading on.
struct Told {
  double likely = 0;
  double earliest = 0;
  double latest = 0;
};

// A reading in a band, what was told of it and how it turned out.
struct Case {
  const House* house = nullptr;
  std::size_t band = 0;
  bool isFirst = false;  // no earlier cartridge was seen
  double lastsDays = 0;  // this cartridge, from its first reading
  double rest = 0;       // days
  std::optional<Told> forecast;
  std::optional<Told> byPages;  // the same where the printer tells none
  std::optional<Told> sinceReplacement;
  std::optional<Told> overSevenDays;
};

Told exactly(double days) { return {days, days, days}; }

constexpr double kNever = 10000;  // days

// What is left at the rate since the first reading of this cartridge.
std::optional<Told> sinceReplacement(const std::vector<LevelAt>& levels) {
  const double used = levels.front().level - levels.back().level;
  const double days = daysBetween(levels.front().moment, levels.back().moment);
  if (used <= 0 || days <= 0) return std::nullopt;
  return exactly(levels.back().level * days / used);
}

// Where the straight line through the last seven days, by least squares, comes to 0.
std::optional<Told> overSevenDays(const std::vector<LevelAt>& levels) {
  double count = 0;
  double x = 0;
  double y = 0;
  double xx = 0;
  double xy = 0;
  for (const LevelAt& level : levels) {
    const double at = daysBetween(levels.back().moment, level.moment);
    if (at < -7) continue;
    ++count;
    x += at;
    y += level.level;
    xx += at * at;
    xy += at * level.level;
  }
  const double spread = count * xx - x * x;
  if (spread <= 0) return std::nullopt;
  const double slope = (count * xy - x * y) / spread;
  if (slope >= 0) return exactly(kNever);
  return exactly(std::clamp(-(y - slope * x) / count / slope, 0.0, kNever));
}

std::optional<Told> told(const Forecast& forecast) {
  if (!forecast.emptyAt) return std::nullopt;
  return Told{daysBetween(forecast.asOf, forecast.emptyAt->likely),
              daysBetween(forecast.asOf, forecast.emptyAt->earliest),
              daysBetween(forecast.asOf, forecast.emptyAt->latest)};
}

// How often an event was told of a cartridge that showed a level of which it tells.
struct ToldOfCartridges {
  std::size_t never = 0;
  std::size_t once = 0;
  std::size_t moreOften = 0;

  void count(std::ptrdiff_t times) { ++(times == 0 ? never : times == 1 ? once : moreOften); }
};

struct Results {
  std::vector<Case> cases;
  ToldOfCartridges low;
  ToldOfCartridges empty;
  std::size_t replaced = 0;         // cartridges
  std::size_t missed = 0;           // of them, that the lives did not show
  std::size_t falselyReplaced = 0;  // that the lives showed where there was none
  std::size_t forecasts = 0;
  double seconds = 0;  // of the processor, for them
};

// Which readings of a cartridge are tried: of each band one by lot.
std::array<std::optional<std::size_t>, kBands.size()> drawn(const SimulatedCartridge& cartridge,
                                                            std::mt19937_64& lots) {
  std::array<std::optional<std::size_t>, kBands.size()> drawn;
  if (!cartridge.emptyAt) return drawn;
  for (std::size_t band = 0; band < kBands.size(); ++band) {
    std::vector<std::size_t> within;
    for (std::size_t i = 0; i < cartridge.shown.size(); ++i) {
      const double rest = daysBetween(cartridge.shown[i].time, *cartridge.emptyAt);
      if (rest >= kBands[band].from && rest < kBands[band].to) within.push_back(i);
    }
    if (!within.empty()) drawn[band] = within[lots() % within.size()];
  }
  return drawn;
}

void tryHouse(const House& house, std::mt19937_64& lots, Results& results) {
  PrinterLives lives;
  PrinterLives withPages;
  Reading reading;
  reading.supplies.resize(1);
  ReadSupply& supply = reading.supplies.front();
  supply.name = "Black";
  supply.kind = SupplyKind::kToner;
  supply.number = 1;
  bool isFirst = true;
  for (const SimulatedCartridge& cartridge : house.cartridges) {
    const auto tried = drawn(cartridge, lots);
    bool isNew = !lives.supplies().empty();
    std::vector<SupplyEvent> ofCartridge;
    for (std::size_t i = 0; i < cartridge.shown.size(); ++i) {
      reading.moment = cartridge.shown[i].time;
      supply.level = cartridge.shown[i].level;
      supply.pages.printed = std::nullopt;
      const auto events = lives.take(reading);
      if (house.tellsPages) {
        supply.pages.printed = cartridge.shown[i].printed;
        withPages.take(reading);
      }
      ofCartridge.insert(ofCartridge.end(), events.begin(), events.end());
      const bool isReplaced = std::ranges::count(events, Event::kReplaced, &SupplyEvent::event) > 0;
      // A new one may be seen as such at its second reading.
      if (isReplaced && !isNew) ++results.falselyReplaced;
      if (isNew) ++results.replaced;
      if (isNew && !isReplaced) ++results.missed;
      isNew = false;
      for (std::size_t band = 0; band < kBands.size(); ++band) {
        if (tried[band] != i || cartridge.shown[i].level == 0) continue;
        const std::clock_t begin = std::clock();
        const Forecast forecast = forecastOf(lives.supplies().at(1));
        results.seconds += static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
        ++results.forecasts;
        const auto& levels = lives.supplies().at(1).lives.back().levels;
        results.cases.push_back(
            {.house = &house,
             .band = band,
             .isFirst = isFirst,
             .lastsDays = daysBetween(cartridge.shown.front().time, *cartridge.emptyAt),
             .rest = daysBetween(reading.moment, *cartridge.emptyAt),
             .forecast = told(forecast),
             .byPages = told(house.tellsPages ? forecastOf(withPages.supplies().at(1)) : forecast),
             .sinceReplacement = sinceReplacement(levels),
             .overSevenDays = overSevenDays(levels)});
      }
    }
    isFirst = false;
    const auto showed = [&](int level) {
      return std::ranges::any_of(cartridge.shown,
                                 [=](const ShownLevel& one) { return one.level <= level; });
    };
    const auto times = [&](Event event) {
      return std::ranges::count(ofCartridge, event, &SupplyEvent::event);
    };
    if (showed(kLowLevel)) results.low.count(times(Event::kLow));
    if (showed(0)) results.empty.count(times(Event::kEmpty));
  }
}

double median(std::vector<double> values) {
  if (values.empty()) return std::nan("");
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::ranges::nth_element(values, middle);
  return *middle;
}

using Method = std::optional<Told> Case::*;
using Filter = std::function<bool(const Case&)>;

void printRow(const std::string& name, const Results& results, Method method, bool hasInterval,
              const Filter& filter) {
  std::string row = fmt::format("| {} |", name);
  for (std::size_t band = 0; band < kBands.size(); ++band) {
    std::vector<double> errors;
    std::vector<double> widths;
    double right = 0;
    for (const Case& one : results.cases) {
      if (one.band != band || !(one.*method) || !one.forecast || !filter(one)) continue;
      const Told& told = *(one.*method);
      errors.push_back(std::abs(told.likely - one.rest) / one.rest);
      widths.push_back((told.latest - told.earliest) / one.rest);
      right += told.earliest <= one.rest && one.rest <= told.latest ? 1 : 0;
    }
    const auto count = static_cast<double>(errors.size());
    row += fmt::format(" {} | {:.2f} |", errors.size(), median(errors));
    row += hasInterval ? fmt::format(" {:.0f} % | {:.2f} |", 100 * right / count, median(widths))
                       : std::string(" | |");
  }
  fmt::print("{}\n", row);
}

void printHeading(std::string_view what) {
  fmt::print("\n| {} |", what);
  for (const Band& band : kBands) fmt::print(" {} | off | right | width |", band.name);
  fmt::print("\n|---|");
  for (std::size_t band = 0; band < kBands.size(); ++band) fmt::print("---|---|---|---|");
  fmt::print("\n");
}

void printTables(const Results& results) {
  const Filter all = [](const Case&) { return true; };
  const auto row = [&](const std::string& name, const Filter& filter) {
    printRow(name, results, &Case::forecast, true, filter);
  };
  printHeading("all printers");
  row("forecast", all);
  printRow("the same, a third telling pages", results, &Case::byPages, true, all);
  printRow("the rate since the replacement", results, &Case::sinceReplacement, false, all);
  printRow("a straight line over seven days", results, &Case::overSevenDays, false, all);

  printHeading("step of the level");
  for (const int step : kSteps) {
    row(std::to_string(step), [=](const Case& one) { return one.house->step == step; });
  }
  printHeading("use");
  for (const UseOfPrinter use : kUses) {
    row(std::string(nameOf(use)), [=](const Case& one) { return one.house->use == use; });
  }
  printHeading("jitter and shaking");
  row("neither",
      [](const Case& one) { return one.house->jitter == Jitter::kNone && !one.house->isShaken; });
  row("jitter before rounding", [](const Case& one) {
    return one.house->jitter == Jitter::kNowAndThen || one.house->jitter == Jitter::kAlways;
  });
  row("jitter after rounding",
      [](const Case& one) { return one.house->jitter == Jitter::kBehindRounding; });
  row("shaken below 20 %", [](const Case& one) { return one.house->isShaken; });

  printHeading("printers that tell pages");
  const auto tells = [](const Case& one) { return one.house->tellsPages; };
  row("without these", tells);
  printRow("forecast by them", results, &Case::byPages, true, tells);
  for (const int step : kSteps) {
    const auto ofStep = [=](const Case& one) { return tells(one) && one.house->step == step; };
    row(fmt::format("step {}, without", step), ofStep);
    printRow(fmt::format("step {}", step), results, &Case::byPages, true, ofStep);
  }

  printHeading("a cartridge lasts");
  constexpr std::array<double, 4> kLasts = {0, 40, 120, 10000};
  constexpr std::array<const char*, 3> kNames = {"under 40 days", "40 to 120 days", "longer"};
  for (std::size_t i = 0; i < kNames.size(); ++i) {
    row(kNames[i], [&, i](const Case& one) {
      return one.lastsDays >= kLasts[i] && one.lastsDays < kLasts[i + 1];
    });
  }
  printHeading("history");
  row("the first cartridge", [](const Case& one) { return one.isFirst; });
  row("a later one", [](const Case& one) { return !one.isFirst; });

  const auto line = [](const ToldOfCartridges& told, std::string_view what) {
    return fmt::format("{} told once of {}, never of {}, more often of {}.", what, told.once,
                       told.never, told.moreOften);
  };
  fmt::print(
      "\nReplacements: {} cartridges, {} not seen as new by the level alone, {} falsely seen.\n"
      "{}\n{}\nA forecast takes {:.0f} µs of the processor.\n",
      results.replaced, results.missed, results.falselyReplaced,
      line(results.low, "Cartridges that showed 10 % or less: low was"),
      line(results.empty, "Cartridges that showed 0: empty was"),
      1e6 * results.seconds / static_cast<double>(results.forecasts));
}

}  // namespace

}  // namespace moxsupply

int main(int argc, char** argv) {
  using namespace moxsupply;
  const std::uint64_t count = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 7000;
  const std::uint64_t seed = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 2026;
  std::vector<House> houses;
  for (std::uint64_t number = 0; number < count; ++number) {
    houses.push_back(simulatedHouse(seed, number));
  }
  std::mt19937_64 lots(seed);
  Results results;
  for (const House& house : houses) tryHouse(house, lots, results);
  fmt::print("{} houses, seed {}\n", count, seed);
  printTables(results);
}
