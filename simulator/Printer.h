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

// What a printer does upon each request of one connection.
using Answers = std::function<std::vector<Write>(Request)>;

// One connection's conversation, without the connection.
class Printer {
 public:
  using Complain = std::function<void(const Junk&)>;

  // `complain` is told what is no request.
  Printer(Answers answers, Complain complain, Faults faults = {});

  // The same of a model, which must outlive it.
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
  Answers mAnswers;
  Complain mComplain;
  RequestReader mReader;
  Disturbance mDisturbance;
};

}  // namespace moxsupply::simulator
