#pragma once

#include <cstddef>
#include <functional>

namespace moxsupply::testing {

// How often `operator new` gave memory, and how often memory was given back, while `action` ran.
// A program that calls this has its `operator new` and `operator delete` replaced.
struct Allocations {
  std::size_t made = 0;
  std::size_t released = 0;
};

Allocations countAllocations(const std::function<void()>& action);

}  // namespace moxsupply::testing
