// A transcript of what the print server's own filter says to its printer, as an administrator asks
// for one.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "tests/queue/QueueTest.h"
#include "tests/support/Models.h"
#include "tests/support/SimulatedPrinter.h"
#include "transcript/TranscriptReader.h"

namespace moxsupply::testing {
namespace {

using RecordOnAQueue = QueueTest;

TEST_F(RecordOnAQueue, IsOfTheLastReportAndForThePrintServerAlone) {
  const std::filesystem::path file = server().folder() / "cache/levels.transcript";
  std::ofstream(server().folder() / "cups-files.conf", std::ios::app)
      << "SetEnv MOXSUPPLY_RECORD " << file.string() << "\nSetEnv MOXSUPPLY_REDACT yes\n";
  server().restart();
  addEnabledQueue("laser");
  const SimulatedPrinter printer(port(), shippedModel("laser-mono-levels-in-record"));
  for (int reports = 0; reports < 2; ++reports) {
    report();
    EXPECT_EQ(attributes()["marker-levels"], (Values{"45", "81"}));
    std::ifstream stream(file);
    const auto transcript = transcript::readTranscript(stream).value();
    ASSERT_EQ(transcript.size(), 1U);
    EXPECT_EQ(transcript[0].printerType, "Laser");
    ASSERT_GE(transcript[0].operations.size(), 4U);
    EXPECT_THAT(hexText(transcript[0].operations[3].bytes), ::testing::HasSubstr("0A 30 30 30"));
  }
  struct stat status {};
  ASSERT_EQ(::stat(file.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
  EXPECT_NE(status.st_uid, 0U) << "not the filter's user";
}

// A print server has one environment for all its filters.
TEST_F(RecordOnAQueue, IsAFileOfItsOwnForEachQueue) {
  const std::filesystem::path folder = server().folder() / "cache";
  for (const std::string pattern : {"one", "of-%q"}) {
    std::ofstream(server().folder() / "cups-files.conf", std::ios::app)
        << "SetEnv MOXSUPPLY_RECORD " << (folder / pattern).string() << '\n';
    server().restart();
    const SimulatedPrinter printer(port(), shippedModel("laser-mono-levels-in-record"));
    for (const char* name : {"a", "b"}) {
      addQueue(server(), name, port().uri(), postScriptDriver());
      EXPECT_EQ(server().moxsupply({"enable", name, "--type", "laser"}).exitStatus, 0);
      EXPECT_EQ(server().moxsupply({"refresh", name}).exitStatus, 0);
    }
  }
  for (const char* name : {"one", "one.b", "of-a", "of-b"}) {
    std::ifstream stream(folder / name);
    EXPECT_EQ(transcript::readTranscript(stream).value().size(), 1U) << name;
  }
}

}  // namespace
}  // namespace moxsupply::testing
