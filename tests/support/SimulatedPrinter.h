#pragma once

#include <string>
#include <vector>

#include "tests/support/FilterProcess.h"

namespace moxsupply::testing {

// `moxsupply simulate MODEL` in a process of its own, until this object goes. The build tells where
// the program is (MOXSUPPLY_PROGRAM).
class SimulatedPrinter {
 public:
  // `model`: the name of a shipped model, or a model file's path. `faults`: as --fault takes them.
  explicit SimulatedPrinter(const std::string& model, const std::vector<std::string>& faults = {})
      : mProcess(BackChannel::kClosed, commandFor(model, faults)) {
    for (Bytes next = mProcess.receive(1); !next.empty() && next[0] != '\n';
         next = mProcess.receive(1)) {
      mUri.push_back(static_cast<char>(next[0]));
    }
  }

  // The device URI at which it answers, socket://127.0.0.1:PORT.
  [[nodiscard]] const std::string& uri() const { return mUri; }

 private:
  static std::vector<std::string> commandFor(const std::string& model,
                                             const std::vector<std::string>& faults) {
    std::vector<std::string> command = {MOXSUPPLY_PROGRAM, "simulate", model};
    for (const std::string& fault : faults) command.push_back("--fault=" + fault);
    return command;
  }

  FilterProcess mProcess;
  std::string mUri;
};

}  // namespace moxsupply::testing
