#pragma once

#include <array>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "simulator/Faults.h"
#include "simulator/Model.h"
#include "simulator/Server.h"
#include "system/Pipe.h"
#include "tests/support/ReservedPort.h"

namespace moxsupply::testing {

// Takes everything, says nothing, and does not hang up either.
inline simulator::Faults silence() { return {.silent = 0, .neverClose = true}; }

// The simulated printer, in a thread of this process. To replace a cartridge: let it go, and put
// another printer on the same port.
class ModelPrinter {
 public:
  ModelPrinter(const ReservedPort& port, simulator::Model model, simulator::Faults faults = {})
      : mModel(std::move(model)),
        mServer(
            mModel, listenOn(port), [this](const simulator::Junk& junk) { print(junk); },
            std::move(faults)),
        mThread([this] { mServer.serve(std::array{mStop.readEnd.get()}); }) {}

  ~ModelPrinter() {
    mStop.writeEnd = FileDescriptor();
    mThread.join();
  }

  // What has come out as paper: the beginnings of what it was sent and is no request.
  [[nodiscard]] std::string paper() const {
    const std::lock_guard lock(mMutex);
    return mPaper;
  }

  ModelPrinter(const ModelPrinter&) = delete;
  ModelPrinter& operator=(const ModelPrinter&) = delete;
  ModelPrinter(ModelPrinter&&) = delete;
  ModelPrinter& operator=(ModelPrinter&&) = delete;

 private:
  void print(const simulator::Junk& junk) {
    const std::lock_guard lock(mMutex);
    mPaper.append(junk.head.begin(), junk.head.end());
  }

  mutable std::mutex mMutex;
  std::string mPaper;
  simulator::Model mModel;
  simulator::Server mServer;
  Pipe mStop = makePipe(Blocking::kNo);  // its end: stop
  std::thread mThread;
};

}  // namespace moxsupply::testing
