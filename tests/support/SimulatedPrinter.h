#pragma once

#include <string>
#include <vector>

#include "tests/support/FilterProcess.h"

namespace moxsupply::testing {

// `moxsupply simulate MODEL` in a process of its own, until this object goes. The build tells where
// the program is (MOXSUPPLY_PROGRAM).
class SimulatedPrinter {
 public:
  // `model`: the name of a shipped model, or a model file's path.
  explicit SimulatedPrinter(const std::string& model)
      : mProcess(BackChannel::kClosed, {MOXSUPPLY_PROGRAM, "simulate", model}) {
    for (Bytes next = mProcess.receive(1); !next.empty() && next[0] != '\n';
         next = mProcess.receive(1)) {
      mUri.push_back(static_cast<char>(next[0]));
    }
  }

  // The device URI at which it answers, socket://127.0.0.1:PORT.
  [[nodiscard]] const std::string& uri() const { return mUri; }

 private:
  FilterProcess mProcess;
  std::string mUri;
};

}  // namespace moxsupply::testing
