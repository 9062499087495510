#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "history/Reading.h"
#include "tests/support/MadeSupply.h"

namespace moxsupply::testing {

// What a supply of a reading is made of, beside what every supply is.
struct ReadSupplyInWords {
  std::uint32_t number = 1;
  SupplyInWords supply = {};
  std::string part = {};
  std::string serial = {};
  std::optional<std::uint32_t> printed = {};
};

inline ReadSupply madeReadSupply(const ReadSupplyInWords& words) {
  ReadSupply supply;
  static_cast<Supply&>(supply) = madeSupply(words.supply);
  supply.number = words.number;
  supply.part = words.part;
  supply.serial = words.serial;
  supply.pages.printed = words.printed;
  return supply;
}

inline Reading madeReading(const std::string& time, std::vector<ReadSupply> supplies,
                           const std::string& printer = "socket://192.0.2.7") {
  Reading reading{momentFrom(time).value(), time, printer, {}, std::move(supplies)};
  reading.json = asJson(reading);
  return reading;
}

}  // namespace moxsupply::testing
