#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "simulator/Bytes.h"
#include "simulator/Model.h"

namespace moxsupply::simulator {

// All of these throw std::length_error when something does not fit the field that counts it: a
// serial or part number of more than 255 bytes, an entry, element or list beyond 65535.

// The payload of the answer to the device query: the supplies table in its tree.
Bytes suppliesTable(const LaserModel& printer);

// The payload of the answer to the supplies query. Nothing when the printer has no record.
Bytes familyRecord(const LaserModel& printer);

// The packets of those answers. `sizes`: payload bytes of each packet, see Reply.
std::vector<Bytes> deviceReply(const LaserModel& printer, std::span<const std::size_t> sizes = {});
std::vector<Bytes> suppliesReply(const LaserModel& printer,
                                 std::span<const std::size_t> sizes = {});

}  // namespace moxsupply::simulator
