#pragma once

#include <cstddef>

// A program that uses anything of this has its `operator new` and `operator delete` replaced. It
// has one thread.

namespace moxsupply::testing {

// While it lives, what is allocated is the product's, or that of the test.
enum class Owner : unsigned char { kTest, kProduct };
class AllocatesFor {
 public:
  explicit AllocatesFor(Owner owner);
  ~AllocatesFor();
  AllocatesFor(const AllocatesFor&) = delete;
  AllocatesFor& operator=(const AllocatesFor&) = delete;
  AllocatesFor(AllocatesFor&&) = delete;
  AllocatesFor& operator=(AllocatesFor&&) = delete;

 private:
  Owner mBefore;
};

// The bytes that the product has at present, without those of libraries in C.
std::size_t bytesOfProduct();

}  // namespace moxsupply::testing
