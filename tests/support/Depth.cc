#include "tests/support/Depth.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <stdexcept>
#include <string_view>

namespace moxsupply::testing {

namespace {

bool isFull() {
  const char* depth = std::getenv("MOXSUPPLY_TEST_DEPTH");
  return depth != nullptr && std::string_view(depth) == "full" && !kIsSlowBuild;
}

}  // namespace

std::optional<std::uint64_t> numberFromEnvironment(const char* variable) {
  const char* value = std::getenv(variable);
  if (value == nullptr || *value == '\0') return std::nullopt;
  const std::string_view text = value;
  std::uint64_t number = 0;
  const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
  if (read.ec != std::errc() || read.ptr != text.data() + text.size()) {
    throw std::invalid_argument(fmt::format("{}={}: no number", variable, text));
  }
  return number;
}

bool isEmulated() { return MOXSUPPLY_EMULATED != 0; }

std::size_t cutEvery() { return isFull() ? 1 : 8; }

std::uint64_t randomPrinters() { return isFull() ? 50'000 : 5'000; }

std::uint64_t failuresTried(std::uint64_t all) {
  return std::clamp<std::uint64_t>(numberFromEnvironment("MOXSUPPLY_FAILURES").value_or(16), 1,
                                   all);
}

std::optional<std::uint64_t> onlyFailure() { return numberFromEnvironment("MOXSUPPLY_FAILURE"); }

int killedWriters() {
  if (const char* many = std::getenv("MOXSUPPLY_KILLS")) return std::atoi(many);
  return isFull() ? 1000 : 200;
}

std::size_t fleetOfADay() { return isFull() ? 1000 : 50; }

std::size_t fleetOfAMonth() { return isFull() ? 200 : 20; }

}  // namespace moxsupply::testing
