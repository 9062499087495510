#pragma once

#include <optional>
#include <string>

#include "history/Lives.h"
#include "supplies/Attention.h"

namespace moxsupply {

// When a printer would first show that a cartridge is empty. Of ten cartridges, eight are empty
// between the outer two.
struct EmptyAt {
  Moment likely;
  Moment earliest;
  Moment latest;
};

// What is to be expected of the cartridge that is in one place of a printer.
struct Forecast {
  std::optional<int> level;  // percent; the last known one of this cartridge, none if it is missing
  Moment asOf;               // the last reading, from which it is told
  std::optional<EmptyAt> emptyAt;
  std::string because;  // what it rests on, or why there is none
};

// What a supply needs now, by its last reading; an unknown level stands for the last known one of
// this cartridge.
[[nodiscard]] Attention attentionNow(const SupplyLives& supply);

// Tells it from the lives of one supply. docs/forecast.md has the formula.
[[nodiscard]] Forecast forecastOf(const SupplyLives& supply);

}  // namespace moxsupply
