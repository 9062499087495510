#include "tests/support/Depth.h"

#include <cstdlib>
#include <string_view>

namespace moxsupply::testing {

namespace {

bool isFull() {
  const char* depth = std::getenv("MOXSUPPLY_TEST_DEPTH");
  return depth != nullptr && std::string_view(depth) == "full" && !kIsSlowBuild;
}

}  // namespace

std::size_t cutEvery() { return isFull() ? 1 : 8; }

std::uint64_t randomPrinters() { return isFull() ? 50'000 : 5'000; }

}  // namespace moxsupply::testing
