#pragma once

#include <cstdint>
#include <vector>

#include "tests/support/Bytes.h"

namespace moxsupply::testing {

// An item of an inkjet printer's reply: its id, the length of its value, the value.
Bytes inkjetItem(std::uint16_t id, const Bytes& value);

// The reply of an inkjet printer that holds these items, in one packet.
Bytes inkjetReply(const std::vector<Bytes>& items);

}  // namespace moxsupply::testing
