#pragma once

#include <array>
#include <cstdint>

#include "values/Export.h"

namespace moxsupply {

// One canned request, 36 bytes.
struct CommandRecord {
  std::array<std::uint8_t, 4> index;     // the record's place in the table, little-endian
  std::array<std::uint8_t, 32> command;  // the request, then zero bytes
};

}  // namespace moxsupply

// Every request that the module can send, 180 bytes in all. A query sends as many bytes of
// `command` as its packets are long.
extern "C" MOXSUPPLY_EXPORT const std::array<moxsupply::CommandRecord, 5> CommandList;
