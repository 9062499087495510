#pragma once

#include <cstdint>
#include <vector>

namespace moxsupply::simulator {

using Bytes = std::vector<std::uint8_t>;

}  // namespace moxsupply::simulator
