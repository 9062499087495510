#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "simulator/Answer.h"
#include "simulator/Disturbance.h"
#include "simulator/Model.h"
#include "simulator/Requests.h"

namespace moxsupply::simulator {

// One connection's conversation, without the connection.
class Printer {
 public:
  using Complain = std::function<void(const Junk&)>;

  // `model` must outlive it. `complain` is told what is no request.
  Printer(const Model& model, Complain complain, Faults faults = {});

  // What the printer does upon `bytes`, cut as they may be. To junk it does nothing.
  std::vector<Write> receive(std::span<const std::uint8_t> bytes);

  // Whether junk waits for its end before it is complained of.
  [[nodiscard]] bool holdsJunk() const { return mReader.holdsJunk(); }

  // Nothing came for a while: complains of the junk so far.
  void hearNothing();

  // Nothing will come any more.
  void hearEnd();

 private:
  const Model* mModel;
  Complain mComplain;
  RequestReader mReader;
  Disturbance mDisturbance;
};

}  // namespace moxsupply::simulator
