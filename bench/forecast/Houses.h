#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <random>
#include <string_view>
#include <vector>

namespace moxsupply {

// When a simulated thing happens: whole hours are fine enough.
using HouseTime = std::chrono::sys_time<std::chrono::hours>;

// A level that a simulated printer showed when it was read.
struct ShownLevel {
  HouseTime time;
  int level = 0;              // percent
  std::uint32_t printed = 0;  // pages since this cartridge went in
};

// One cartridge in a simulated printer.
struct SimulatedCartridge {
  std::vector<ShownLevel> shown;     // the readings that were made, oldest first
  std::optional<HouseTime> emptyAt;  // when it first showed 0; none where it was replaced before
};

// How people use a simulated printer.
enum class UseOfPrinter : std::uint8_t {
  kOffice,    // little at weekends, nothing over holidays, less in summer
  kSchool,    // nothing at weekends and in breaks of one to six weeks
  kBursts,    // a job of many days' pages now and then
  kDrift,     // an office that prints slowly more or less
  kMoves,     // an office whose use changes for good once or twice, by up to a factor of two and a
              // half
  kEveryDay,  // a ward or a shop: all days nearly alike
  kOneDay,    // most of the week's pages on one of its days
};
inline constexpr std::array kUses = {
    UseOfPrinter::kOffice, UseOfPrinter::kSchool,   UseOfPrinter::kBursts, UseOfPrinter::kDrift,
    UseOfPrinter::kMoves,  UseOfPrinter::kEveryDay, UseOfPrinter::kOneDay};
std::string_view nameOf(UseOfPrinter use);

// How the level that a printer shows comes from what is left.
enum class Rounding : std::uint8_t { kDown, kNearest, kUp };
enum class Jitter : std::uint8_t {
  kNone,
  kNowAndThen,     // at three readings of ten
  kAlways,         // at each reading
  kBehindRounding  // at each reading, of the rounded level
};

inline constexpr std::array kSteps = {1, 5, 10, 20, 25};

// One supply of a simulated printer, through several cartridges.
struct House {
  UseOfPrinter use = UseOfPrinter::kOffice;
  double pagesADay = 0;  // 3 to 3,000, over all days
  int step = 1;
  Rounding rounding = Rounding::kNearest;
  Jitter jitter = Jitter::kNone;
  bool isShaken = false;
  bool tellsPages = false;
  std::vector<SimulatedCartridge> cartridges;
};

// The house of this number. The same seed and number give the same house, on every machine with the
// same arithmetic.
House simulatedHouse(std::uint64_t seed, std::uint64_t number);

}  // namespace moxsupply
