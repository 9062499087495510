#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "simulator/Answer.h"
#include "simulator/Faults.h"

namespace moxsupply::simulator {

// What a printer's faults make of its answers on one connection.
class Disturbance {
 public:
  explicit Disturbance(Faults faults) : mFaults(std::move(faults)) {}

  // The writes that come in the place of `answer`, all that was to be written upon one request.
  std::vector<Write> disturb(std::vector<Write> answer);

 private:
  void flip(std::vector<Write>& answer) const;
  void endInTime(std::vector<Write>& answer);

  Faults mFaults;
  std::size_t mSent = 0;  // bytes of the answers so far
  bool mHasEnded = false;
};

}  // namespace moxsupply::simulator
