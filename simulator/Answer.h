#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

#include "simulator/Bytes.h"
#include "simulator/Model.h"
#include "simulator/Requests.h"

namespace moxsupply::simulator {

// What a printer does once a write is out.
enum class Then : std::uint8_t {
  kNext,    // the next write
  kAgain,   // the same write again, without end
  kHangUp,  // it ends the connection
  kReset,   // it ends the connection without a farewell
};

// After a pause, counted from the end of the write before, `bytes` at once.
struct Write {
  std::chrono::milliseconds pause{0};
  Bytes bytes;
  Then then = Then::kNext;
};

// All that a printer does upon a request, in order; nothing when it keeps silent. What the reader
// of the reply meets is decided by this list alone: whatever disturbs a reply (cuts it, delays it,
// floods it) is a function from one such list to another; see Disturbance.
std::vector<Write> answerTo(const Model& model, Request request);

}  // namespace moxsupply::simulator
