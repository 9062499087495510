#pragma once

#include <nlohmann/json_fwd.hpp>

#include "supplies/Attention.h"
#include "supplies/Supplies.h"

namespace moxsupply {

// The supplies for programs that watch queues: an array of
//
//   {"name": "Black Toner", "type": "toner", "color": "Black", "level": 62, "attention": "none"}
//
// `level` is 0 to 100 or null, `attention` one of the words of kAttentions.
nlohmann::ordered_json suppliesAsJson(const Supplies& supplies, const Measure& measure);

}  // namespace moxsupply
