#pragma once

#include <cstddef>

namespace moxsupply::testing {

// While it lives, one allocation with operator new fails: the `nth` from now on, the next being the
// first. A program that uses this has every operator new of its own replaced.
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

// The blocks that operator new has given out and that were not given back.
std::size_t blocksInUse() noexcept;

}  // namespace moxsupply::testing
