#include "tests/support/Depth.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

namespace moxsupply::testing {

namespace {

bool isFull() {
  const char* depth = std::getenv("MOXSUPPLY_TEST_DEPTH");
  return depth != nullptr && std::string_view(depth) == "full" && !kIsSlowBuild;
}

}  // namespace

bool isEmulated() { return MOXSUPPLY_EMULATED != 0; }

std::size_t cutEvery() { return isFull() ? 1 : 8; }

std::uint64_t randomPrinters() { return isFull() ? 50'000 : 5'000; }

std::uint64_t failEvery() { return isFull() ? 1 : 41; }

std::uint64_t failingExporters(std::uint64_t all) {
  return isFull() ? all : std::min<std::uint64_t>(all, 16);
}

std::optional<std::uint64_t> onlyFailure() {
  const char* number = std::getenv("MOXSUPPLY_FAILURE");
  if (number == nullptr) return std::nullopt;
  return std::strtoull(number, nullptr, 10);
}

int killedWriters() {
  if (const char* many = std::getenv("MOXSUPPLY_KILLS")) return std::atoi(many);
  return isFull() ? 1000 : 200;
}

}  // namespace moxsupply::testing
