#include "tests/support/SimulatedPrinter.h"

#include <gtest/gtest.h>

#include <array>
#include <utility>

#include "simulator/ModelFile.h"
#include "tests/support/Models.h"

namespace moxsupply::testing {

namespace {

simulator::Model modelNamed(const std::string& model) {
  const bool isPath = model.find('/') != std::string::npos;
  return isPath ? simulator::readModelFile(model).value() : shippedModel(model);
}

simulator::Faults faultsFrom(const std::vector<std::string>& texts) {
  simulator::Faults faults;
  for (const std::string& text : texts) EXPECT_TRUE(faults.add(text)) << text;
  return faults;
}

}  // namespace

// The listening socket keeps the port.
SimulatedPrinter::SimulatedPrinter(const std::string& model, const std::vector<std::string>& faults)
    : SimulatedPrinter(ReservedPort(), modelNamed(model), faultsFrom(faults)) {}

SimulatedPrinter::SimulatedPrinter(const ReservedPort& port, simulator::Model model,
                                   simulator::Faults faults)
    : mUri(port.uri()),
      mModel(std::move(model)),
      mServer(
          mModel, listenOn(port), [this](const simulator::Junk& junk) { print(junk); },
          std::move(faults)),
      mThread([this] { mServer.serve(std::array{mStop.readEnd.get()}); }) {}

SimulatedPrinter::~SimulatedPrinter() {
  mStop.writeEnd = FileDescriptor();
  mThread.join();
}

std::string SimulatedPrinter::paper() const {
  const std::lock_guard lock(mMutex);
  return mPaper;
}

void SimulatedPrinter::print(const simulator::Junk& junk) {
  const std::lock_guard lock(mMutex);
  mPaper.append(junk.head.begin(), junk.head.end());
}

}  // namespace moxsupply::testing
