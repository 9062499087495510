#pragma once

#include <cstdint>

#include "tests/support/Bytes.h"

namespace moxsupply::testing {

// A packet as a printer sends it: the start byte A5, the length of what follows the length, the
// flags, the body.
Bytes packet(std::uint8_t flags, const Bytes& body);
constexpr std::uint8_t kLast = 0x50;
constexpr std::uint8_t kMoreFollow = 0x70;

}  // namespace moxsupply::testing
