#pragma once

#include <array>
#include <cstdint>

#include "values/Export.h"

namespace moxsupply {

struct CPDTripletRow {
  const char* key;      // the item's key in the CPD dictionary; null ends the table
  std::int32_t itemId;  // on the wire the first two bytes of the item; the low 16 bits count
};

}  // namespace moxsupply

// The items of an inkjet printer's reply that are kept, by the names under which they are kept.
extern "C" MOXSUPPLY_EXPORT const std::array<moxsupply::CPDTripletRow, 33> CPDTriplet;
