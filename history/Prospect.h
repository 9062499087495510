#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "history/Forecast.h"
#include "history/Lives.h"
#include "history/Reading.h"
#include "supplies/Attention.h"

namespace moxsupply {

// What is to be expected of one toner or ink of a printer.
struct Prospect {
  std::uint32_t supply = 0;  // its number
  std::string name;
  SupplyKind kind = SupplyKind::kToner;
  std::string part;                        // the last that was told of it; or empty
  Attention attention = Attention::kNone;  // what it needs now
  Forecast forecast;
};

// What is to be expected of a printer.
struct PrinterProspects {
  std::string printer;
  std::optional<std::string> place;
  Moment asOf;  // its last reading
  std::vector<Prospect> supplies;
};

// Tells it of the toners and inks that the last reading of a printer has, from the lives until
// then.
[[nodiscard]] PrinterProspects prospectsOf(const Reading& last, const PrinterLives& lives);

}  // namespace moxsupply
