#include "tests/fleet/ProductMemory.h"

#include <cstdlib>
#include <new>
#include <utility>

namespace {

using moxsupply::testing::Owner;

// Stands before each block.
struct alignas(std::max_align_t) Head {
  std::size_t bytes;
  Owner owner;
};

Owner gOwner = Owner::kTest;
std::size_t gBytesOfProduct = 0;

}  // namespace

// The array forms, those that do not throw and those with a size come down to these two.
void* operator new(std::size_t bytes) {
  void* block = std::malloc(sizeof(Head) + bytes);
  if (block == nullptr) throw std::bad_alloc();
  auto* head = ::new (block) Head{bytes, gOwner};
  if (gOwner == Owner::kProduct) gBytesOfProduct += bytes;
  return head + 1;
}

// (A sanitizer has one of its own, whose memory is not to be released by ours.)
void* operator new(std::size_t bytes, const std::nothrow_t& /*tag*/) noexcept {
  try {
    return ::operator new(bytes);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void operator delete(void* memory) noexcept {
  if (memory == nullptr) return;
  Head* head = static_cast<Head*>(memory) - 1;
  if (head->owner == Owner::kProduct) gBytesOfProduct -= head->bytes;
  std::free(head);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept { ::operator delete(memory); }

namespace moxsupply::testing {

AllocatesFor::AllocatesFor(Owner owner) : mBefore(std::exchange(gOwner, owner)) {}
AllocatesFor::~AllocatesFor() { gOwner = mBefore; }

std::size_t bytesOfProduct() { return gBytesOfProduct; }

}  // namespace moxsupply::testing
