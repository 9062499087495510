#include "tests/support/Allocations.h"

#include <cstdlib>
#include <new>

namespace {

std::size_t made = 0;      // NOLINT(*-non-const-global-variables)
std::size_t released = 0;  // NOLINT(*-non-const-global-variables)

}  // namespace

// The array forms, those that do not throw and those with a size come down to these two. Memory
// still comes from malloc, which the address sanitizer watches.
void* operator new(std::size_t size) {
  ++made;
  if (void* memory = std::malloc(size == 0 ? 1 : size); memory != nullptr) return memory;
  throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
  if (memory != nullptr) ++released;
  std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept { ::operator delete(memory); }

namespace moxsupply::testing {

Allocations countAllocations(const std::function<void()>& action) {
  const Allocations before = {made, released};
  action();
  return {made - before.made, released - before.released};
}

}  // namespace moxsupply::testing
