#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

namespace moxsupply {

enum class CartridgeKind : std::uint8_t { kOneColor, kPhoto, kThreeColors };

// What the code of an inkjet cartridge says of it.
struct CartridgeCode {
  std::uint8_t code;
  std::string_view status;
  CartridgeKind kind = CartridgeKind::kOneColor;
};

// A cartridge of any other code does not exist.
inline constexpr auto kCartridgeCodes = std::to_array<CartridgeCode>({
    {0x10, "Invalid"},
    {0x20, "Missing"},
    {0x21, "Incorrect"},
    {0x30, "Correct"},
    {0x31, "Correct"},
    {0x32, "Correct"},
    {0x3F, "Correct"},
    {0x50, "Correct"},
    {0x51, "Correct"},
    {0x52, "Correct"},
    {0x5F, "Correct"},
    {0x70, "Correct", CartridgeKind::kPhoto},
    {0x71, "Correct", CartridgeKind::kPhoto},
    {0x72, "Correct", CartridgeKind::kPhoto},
    {0x7F, "Correct", CartridgeKind::kPhoto},
    {0x80, "Correct"},
    {0x90, "Correct"},
    {0x91, "Correct"},
    {0x92, "Correct"},
    {0xA0, "Correct", CartridgeKind::kThreeColors},
    {0xA1, "Correct", CartridgeKind::kThreeColors},
    {0xA2, "Correct", CartridgeKind::kThreeColors},
    {0xB0, "Correct"},
    {0xB1, "Correct"},
    {0xB2, "Correct"},
    {0xC0, "Correct"},
    {0xC1, "Correct"},
    {0xC2, "Correct"},
    {0xD0, "Correct"},
    {0xD1, "Correct"},
    {0xD2, "Correct"},
});
static_assert(std::ranges::is_sorted(kCartridgeCodes, {}, &CartridgeCode::code));

}  // namespace moxsupply
