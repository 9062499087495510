#pragma once

#include "tests/support/Hex.h"

namespace moxsupply::testing {

// What a host writes to a printer, each in one write.

inline const Bytes kLoopBack = hex("A5 00 06 40 03 04 20 20 20");
inline const Bytes kInkjetQuery = hex("A5 00 05 50 E0 81 00 FF");
// A laser printer's two queries have a packet before them.
inline const Bytes kDeviceQuery = hex(R"(
    A5 00 10 80 A4 5B A4 5B 10 EF A4 5B 11 EE 00 FF 13 EC 2E
    A5 00 08 50 E0 21 01 00 00 01 08)");
inline const Bytes kSuppliesQuery = hex(R"(
    A5 00 10 80 A4 5B A4 5B 10 EF A4 5B 11 EE 00 FF 13 EC 2E
    A5 00 05 50 E0 07 02 00)");

}  // namespace moxsupply::testing
