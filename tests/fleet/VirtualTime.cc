#include "tests/fleet/VirtualTime.h"

#include <fmt/format.h>

namespace moxsupply::testing {

std::string VirtualTime::inWords() const {
  const auto days = std::chrono::floor<std::chrono::days>(passed());
  const std::chrono::hh_mm_ss time(std::chrono::floor<std::chrono::milliseconds>(passed() - days));
  return fmt::format("day {}, {:02}:{:02}:{:02}.{:03}", days.count() + 1, time.hours().count(),
                     time.minutes().count(), time.seconds().count(), time.subseconds().count());
}

}  // namespace moxsupply::testing
