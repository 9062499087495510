#include "tests/support/Replay.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/support/FilterProcess.h"
#include "tests/support/Hex.h"
#include "transcript/ReplayPace.h"
#include "transcript/TranscriptReader.h"

namespace moxsupply::testing {

using transcript::Event;

std::string reportOnReplay(const std::string& program, const transcript::Session& query) {
  const transcript::ReplayPace pace(query);
  FilterProcess report(BackChannel::kNonBlockingPipe,
                       {program, "report", "--printer-type", query.printerType, "--transport",
                        query.transport, "--timeout", std::to_string(pace.timeout())},
                       {"LC_ALL=C"});
  for (const transcript::Operation& operation : query.operations) {
    if (operation.event != Event::kSent) std::this_thread::sleep_for(pace.pauseBefore(operation));
    switch (operation.event) {
      case Event::kSent:
        EXPECT_EQ(hexText(report.receive(operation.bytes.size())), hexText(operation.bytes));
        break;
      case Event::kReceived:
        report.sendInPieces({operation.bytes});
        break;
      case Event::kEnded:
        report.endBackChannel();
        break;
      case Event::kFailed:
        ADD_FAILURE() << "a pipe takes every request; one that failed cannot be played";
    }
  }
  report.endBackChannel();
  const auto ending = report.wait();
  EXPECT_EQ(hexText(ending.written), "") << "requests that are not in the transcript";
  return ending.result;
}

std::vector<std::string> transcriptNames() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(MOXSUPPLY_TEST_DATA)) {
    if (entry.path().extension() == ".transcript") names.push_back(entry.path().stem());
  }
  std::ranges::sort(names);
  return names;
}

transcript::Transcript readTranscriptOf(const std::string& name) {
  std::ifstream file(dataFile(name + ".transcript"));
  return transcript::readTranscript(file).value();
}

std::string dataFile(const std::string& name) {
  return std::filesystem::path(MOXSUPPLY_TEST_DATA) / name;
}

}  // namespace moxsupply::testing
