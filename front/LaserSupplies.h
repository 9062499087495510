#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace moxsupply {

// The words by which a description tells a colour. Of several the last of these counts.
inline constexpr std::array<std::string_view, 3> kColorWords = {"Cyan", "Magenta", "Yellow"};

// How many of a printer's supplies are reported: only the low 8 bits of their number say so.
constexpr std::uint8_t reportedSupplies(std::int32_t suppliesCount) noexcept {
  return static_cast<std::uint8_t>(suppliesCount);
}

}  // namespace moxsupply
