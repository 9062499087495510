// The transcripts of tests/data: each is a printer again, and gives the same reports.

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/support/FilterProcess.h"
#include "tests/support/Replay.h"
#include "tests/support/Run.h"
#include "tests/support/TestName.h"
#include "tests/support/TextFile.h"

namespace moxsupply::testing {
namespace {

using Json = nlohmann::json;
using Reports = std::vector<Json>;

// The reports in a text, a line each.
Reports reportsIn(const std::string& text) {
  Reports reports;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    reports.push_back(Json::parse(line, nullptr, false));
    EXPECT_FALSE(reports.back().is_discarded()) << "no JSON: " << line;
  }
  return reports;
}

Reports expectedOf(const std::string& name) {
  return reportsIn(contentOf(dataFile(name + ".report.json")));
}

class GoldenTranscript : public ::testing::TestWithParam<std::string> {};

INSTANTIATE_TEST_SUITE_P(Data, GoldenTranscript, ::testing::ValuesIn(transcriptNames()), testName);

TEST(GoldenTranscripts, AreAtLeastTen) { EXPECT_GE(transcriptNames().size(), 10U); }

TEST_P(GoldenTranscript, GivesItsReportOnDescriptors1And3) {
  const Reports expected = expectedOf(GetParam());
  const auto transcript = readTranscriptOf(GetParam());
  ASSERT_EQ(transcript.size(), expected.size()) << "a line of the report for each query";
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(Json::parse(reportOnReplay(MOXSUPPLY_PROGRAM, transcript[i])), expected[i]);
  }
}

TEST_P(GoldenTranscript, GivesItsReportWhenDecoded) {
  const Ran ran =
      run({MOXSUPPLY_PROGRAM, "decode", dataFile(GetParam() + ".transcript"), "--format", "json"},
          {"LC_ALL=C"});
  EXPECT_EQ(ran.exitStatus, 0) << ran.errors;
  EXPECT_EQ(reportsIn(ran.output), expectedOf(GetParam()));
}

TEST_P(GoldenTranscript, IsReadableWhenDecoded) {
  const Ran ran = run({MOXSUPPLY_PROGRAM, "decode", dataFile(GetParam() + ".transcript")});
  EXPECT_EQ(ran.exitStatus, 0) << ran.errors;
  EXPECT_EQ(ran.errors, "");
  EXPECT_NE(ran.output.find("Report: "), std::string::npos) << ran.output;
  EXPECT_EQ(ran.output.find("not those that this program writes"), std::string::npos);
}

// As `levels` asks the replayed printer over TCP. A printer that falls silent costs four reads.
TEST_P(GoldenTranscript, GivesItsReportOverTcp) {
  const auto transcript = readTranscriptOf(GetParam());
  const Reports expected = expectedOf(GetParam());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const std::string type = transcript[i].printerType == "Laser" ? "laser" : "inkjet";
    const Ran ran = run(
        {MOXSUPPLY_PROGRAM, "simulate", "--replay", dataFile(GetParam() + ".transcript"), "--",
         MOXSUPPLY_PROGRAM, "levels", "{}", "--type", type, "--timeout", "1", "--format", "json"},
        {"LC_ALL=C"});
    EXPECT_EQ(reportsIn(ran.output), Reports{expected[i]}) << ran.errors;
  }
}

}  // namespace
}  // namespace moxsupply::testing
