#pragma once

#include <optional>
#include <string>

#include "supplies/Supply.h"
#include "supplies/Words.h"

namespace moxsupply::testing {

// What a supply is made of, in the words of a report.
struct SupplyInWords {
  std::string name = "Name";
  std::string kind = "toner";
  std::string color = {};
  std::string status = "Correct";
  std::optional<int> level = {};  // percent
};

inline Supply madeSupply(const SupplyInWords& words) {
  Supply supply;
  supply.name = words.name;
  supply.kind = meaningIn(kSupplyKinds, words.kind).value();
  supply.color = meaningIn(kColors, words.color).value();
  supply.status = meaningIn(kSupplyStatuses, words.status).value();
  if (words.level) {
    supply.level = *words.level;
  } else if (supply.status == SupplyStatus::kMissing) {
    supply.level = tl::unexpected(NoLevel::kMissing);
  }
  return supply;
}

inline Supply supplyOf(const std::string& kind, std::optional<int> level,
                       const std::string& status = "Correct") {
  return madeSupply({.kind = kind, .status = status, .level = level});
}

}  // namespace moxsupply::testing
