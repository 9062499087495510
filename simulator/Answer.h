#pragma once

#include <chrono>
#include <vector>

#include "simulator/Bytes.h"
#include "simulator/Model.h"
#include "simulator/Requests.h"

namespace moxsupply::simulator {

// After a pause, counted from the end of the write before, `bytes` at once.
struct Write {
  std::chrono::milliseconds pause{0};
  Bytes bytes;
};

// All that a printer does upon a request, in order; nothing when it keeps silent. What the reader
// of the reply meets is decided by this list alone: whatever disturbs a reply (cuts it, delays it,
// floods it) is a function from one such list to another.
std::vector<Write> answerTo(const Model& model, Request request);

}  // namespace moxsupply::simulator
