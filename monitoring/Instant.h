#pragma once

#include <chrono>

#include "history/Moment.h"

namespace moxsupply {

// What two clocks show at the same time: one that only goes on, by which things are waited for, and
// that of the world, which people may set.
struct Instant {
  std::chrono::steady_clock::time_point time;
  Moment moment;

  static Instant now() {
    return {std::chrono::steady_clock::now(),
            std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now())};
  }
};

}  // namespace moxsupply
