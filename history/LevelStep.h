#pragma once

#include <algorithm>
#include <array>

namespace moxsupply {

// Printers round levels to steps of so many points.
constexpr std::array<int, 5> kLevelSteps = {25, 20, 10, 5, 1};

// The largest step of which all levels are multiples. `divisor`: the greatest one of all of them.
[[nodiscard]] constexpr int levelStep(int divisor) {
  return *std::ranges::find_if(kLevelSteps, [&](int step) { return divisor % step == 0; });
}

}  // namespace moxsupply
