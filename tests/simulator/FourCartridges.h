#pragma once

#include <string>

#include "tests/support/Hex.h"

namespace moxsupply::testing {

inline const std::string kFour = "inkjet-lantern-four-cartridges";

// What it answers.
inline const Bytes kFourCartridges = hex(R"(
    A5 00 2B 50 E0 81 00 FF
    00 09                                               # nine items
    00 19 01 02                                         # Lantern
    01 10 01 B0  01 20 01 50  01 30 01 C0  01 40 01 D0  # cartridges
    04 27 01 50  04 28 01 3D  04 29 01 2F  04 2A 01 5C  # black, cyan, magenta, yellow
)");

}  // namespace moxsupply::testing
