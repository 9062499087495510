#include "tests/support/FailingAllocation.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> gBlocksInUse = 0;
std::atomic<std::size_t> gUntilFailure = 0;  // 0: none fails

void* allocate(std::size_t size) {
  if (gUntilFailure > 0 && --gUntilFailure == 0) throw std::bad_alloc();
  void* block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) throw std::bad_alloc();
  ++gBlocksInUse;
  return block;
}

void release(void* block) noexcept {
  if (block != nullptr) --gBlocksInUse;
  std::free(block);
}

}  // namespace

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void operator delete(void* block) noexcept { release(block); }
void operator delete[](void* block) noexcept { release(block); }
void operator delete(void* block, std::size_t /*size*/) noexcept { release(block); }
void operator delete[](void* block, std::size_t /*size*/) noexcept { release(block); }

namespace moxsupply::testing {

FailingAllocation::FailingAllocation(std::size_t nth) noexcept { gUntilFailure = nth; }

FailingAllocation::~FailingAllocation() { gUntilFailure = 0; }

bool FailingAllocation::hasFailed() const noexcept { return gUntilFailure == 0; }

std::size_t blocksInUse() noexcept { return gBlocksInUse; }

}  // namespace moxsupply::testing
