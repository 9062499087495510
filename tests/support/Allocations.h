#pragma once

#include <cstddef>
#include <functional>

// A program that uses anything of this has its `operator new` and `operator delete` replaced. Each
// thread is counted for itself.

namespace moxsupply::testing {

// How often `operator new` gave memory, how much in all, and how often memory was given back, while
// `action` ran.
struct Allocations {
  std::size_t made = 0;
  std::size_t bytes = 0;
  std::size_t released = 0;
};

Allocations countAllocations(const std::function<void()>& action);

// The blocks that `operator new` has given out and that were not given back.
std::size_t blocksInUse() noexcept;

// While it lives, one allocation fails: the `nth` from now on, the next being the first.
class FailingAllocation {
 public:
  explicit FailingAllocation(std::size_t nth) noexcept;
  ~FailingAllocation();
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;
  FailingAllocation(FailingAllocation&&) = delete;
  FailingAllocation& operator=(FailingAllocation&&) = delete;

  // Whether there were so many.
  [[nodiscard]] bool hasFailed() const noexcept;
};

}  // namespace moxsupply::testing
