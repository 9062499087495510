#include "tests/property/DrawnPrinters.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>

#include "tests/property/ModelJson.h"
#include "tests/support/Depth.h"
#include "tests/support/DictionaryJson.h"

namespace moxsupply::testing {

namespace {

// The members of `object` that `other` has not.
Json without(const Json& object, const Json& other) {
  Json rest = Json::object();
  for (const auto& [key, value] : object.items()) {
    if (!other.contains(key) || other[key] != value) rest[key] = value;
  }
  return rest;
}

std::string pretty(const Json& json) {
  return json.dump(2, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

PrinterRange PrinterRange::fromEnvironment() {
  PrinterRange range;
  range.seed = numberFromEnvironment("MOXSUPPLY_SEED").value_or(range.seed);
  range.end = numberFromEnvironment("MOXSUPPLY_PRINTERS").value_or(range.end);
  if (const auto index = numberFromEnvironment("MOXSUPPLY_PRINTER")) {
    range.begin = *index;
    range.end = *index + 1;
  }
  return range;
}

PrinterRange PrinterRange::few() const {
  constexpr std::uint64_t kEnough = 1000;
  const std::uint64_t count = end - begin;
  return {
      .seed = seed, .begin = begin, .end = begin + std::max(count / 50, std::min(count, kEnough))};
}

DrawnPrinter PrinterRange::draw(Draw kind, std::uint64_t index) const {
  Random random(seed, index);
  return {.index = index, .model = kind(random)};
}

void tell(const PrinterRange& printers) {
  std::cout << fmt::format("seed {}, {} printers from number {} on\n", printers.seed,
                           printers.end - printers.begin, printers.begin)
            << std::flush;
}

void checkEachPrinter(const PrinterRange& printers, Draw kind, const Check& check) {
  tell(printers);
  for (std::uint64_t index = printers.begin; index < printers.end; ++index) {
    const DrawnPrinter printer = printers.draw(kind, index);
    const std::string wrong = check(printer);
    if (!wrong.empty()) return failOver(printers, printer, wrong);
  }
}

void failOver(const PrinterRange& printers, const DrawnPrinter& printer, const std::string& wrong) {
  ADD_FAILURE() << wrong << "\nAgain, with this printer alone: MOXSUPPLY_SEED=" << printers.seed
                << " MOXSUPPLY_PRINTER=" << printer.index << "\nIts model:\n"
                << modelJson(printer.model);
}

std::string difference(const Dictionary& expected, const Dictionary& found) {
  if (expected == found) return {};
  const Json expectedJson = asJson(expected);
  const Json foundJson = asJson(found);
  return fmt::format("expected: {}\nfound: {}", pretty(without(expectedJson, foundJson)),
                     pretty(without(foundJson, expectedJson)));
}

}  // namespace moxsupply::testing
