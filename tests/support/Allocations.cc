#include "tests/support/Allocations.h"

#include <cstdlib>
#include <new>

namespace {

// Of each thread its own, so that counting costs next to nothing.
thread_local std::size_t gMade = 0;
thread_local std::size_t gBytes = 0;
thread_local std::size_t gReleased = 0;
thread_local std::size_t gUntilFailure = 0;  // 0: none fails

}  // namespace

// The array forms, those that do not throw and those with a size come down to these two. Memory
// still comes from malloc, which the address sanitizer watches.
void* operator new(std::size_t size) {
  if (gUntilFailure > 0 && --gUntilFailure == 0) throw std::bad_alloc();
  void* memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  ++gMade;
  gBytes += size;
  return memory;
}

// (A sanitizer has one of its own, whose memory is not to be released by ours.)
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  try {
    return ::operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void operator delete(void* memory) noexcept {
  if (memory != nullptr) ++gReleased;
  std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept { ::operator delete(memory); }

namespace moxsupply::testing {

Allocations countAllocations(const std::function<void()>& action) {
  const Allocations before = {gMade, gBytes, gReleased};
  action();
  return {gMade - before.made, gBytes - before.bytes, gReleased - before.released};
}

std::size_t blocksInUse() noexcept { return gMade - gReleased; }

FailingAllocation::FailingAllocation(std::size_t nth) noexcept { gUntilFailure = nth; }

FailingAllocation::~FailingAllocation() { gUntilFailure = 0; }

bool FailingAllocation::hasFailed() const noexcept { return gUntilFailure == 0; }

}  // namespace moxsupply::testing
