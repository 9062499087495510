#pragma once

#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "simulator/Faults.h"
#include "simulator/Model.h"
#include "simulator/Server.h"
#include "system/Pipe.h"
#include "tests/support/ReservedPort.h"

namespace moxsupply::testing {

// Takes everything, says nothing, and does not hang up either.
inline simulator::Faults silence() { return {.silent = 0, .neverClose = true}; }

// The simulated printer on the network, in a thread of this process, until this object goes.
//
// Use it wherever a program is to meet a printer at a device URI. Where the simulator itself is
// tested, ask its classes, or run `moxsupply simulate` and be its host (Client); where a program is
// to have the printer on descriptors 1 and 3, as a filter, FilterProcess.
class SimulatedPrinter {
 public:
  // On a port of its own. `model`: the name of a shipped model, or a model file's path. `faults`:
  // as `moxsupply simulate --fault` takes them.
  explicit SimulatedPrinter(const std::string& model, const std::vector<std::string>& faults = {});

  // To replace a cartridge: let the printer go, and put another one on the same port.
  SimulatedPrinter(const ReservedPort& port, simulator::Model model, simulator::Faults faults = {});

  ~SimulatedPrinter();
  SimulatedPrinter(const SimulatedPrinter&) = delete;
  SimulatedPrinter& operator=(const SimulatedPrinter&) = delete;
  SimulatedPrinter(SimulatedPrinter&&) = delete;
  SimulatedPrinter& operator=(SimulatedPrinter&&) = delete;

  // The device URI at which it answers, socket://127.0.0.1:PORT.
  [[nodiscard]] const std::string& uri() const { return mUri; }

  // What has come out as paper: the beginnings of what it was sent and is no request.
  [[nodiscard]] std::string paper() const;

 private:
  void print(const simulator::Junk& junk);

  std::string mUri;
  mutable std::mutex mMutex;
  std::string mPaper;
  simulator::Model mModel;
  simulator::Server mServer;
  Pipe mStop = makePipe(Blocking::kNo);  // its end: stop
  std::thread mThread;
};

}  // namespace moxsupply::testing
