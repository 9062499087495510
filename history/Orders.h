#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "history/Prospect.h"

namespace moxsupply {

// Cartridges of one kind that have to be bought.
struct Order {
  struct Needed {
    std::string printer;
    std::uint32_t supply = 0;  // its number
    std::optional<std::string> place;
    Moment by;
  };

  std::string part;  // empty where it was not told: then the kind is the name and the type
  std::string name;
  SupplyKind kind = SupplyKind::kToner;
  std::vector<Needed> needed;  // one cartridge each, the first one first; never empty

  [[nodiscard]] Moment by() const { return needed.front().by; }
};

struct Orders {
  std::vector<Order> list;  // what is needed first comes first
  std::size_t silent =
      0;  // printers that count no more, since nothing was read of them for so long
};

// By when another cartridge is needed for a supply; nothing where that is later than so many days
// after `at`.
[[nodiscard]] std::optional<Moment> neededBy(const Prospect& supply, Moment at,
                                             std::chrono::days within);

// A printer counts no more when its last reading is so old.
constexpr std::chrono::days kSilent(90);

// What is needed until so many days after `at`.
[[nodiscard]] Orders ordersFor(const std::vector<PrinterProspects>& printers, Moment at,
                               std::chrono::days within);

}  // namespace moxsupply
