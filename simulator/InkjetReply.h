#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "simulator/Bytes.h"
#include "simulator/Model.h"

namespace moxsupply::simulator {

// The payload of the answer to the inkjet query: the count of items, then the items. Throws
// std::length_error when a value is longer than 255 bytes.
Bytes inkjetPayload(const InkjetModel& printer);

// The packets of that answer. `sizes`: payload bytes of each packet, see Reply.
std::vector<Bytes> inkjetReply(const InkjetModel& printer, std::span<const std::size_t> sizes = {});

}  // namespace moxsupply::simulator
