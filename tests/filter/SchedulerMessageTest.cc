#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "filter/SchedulerMessage.h"
#include "tests/support/CapturedErrors.h"

namespace moxsupply::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(SchedulerMessage, IsOneLineInOneWrite) {
  CapturedErrors errors;
  tellScheduler("WARNING", "The printer did not answer.");
  tellScheduler("ERROR", "");
  EXPECT_THAT(errors.writes(), ElementsAre("WARNING: The printer did not answer.\n", "ERROR: \n"));
}

TEST(SchedulerMessage, IsOneLineWhateverItsTextHolds) {
  CapturedErrors errors;
  tellScheduler("INFO", "a\nATTR: marker-levels=0\r\nSTATE: paused\n\x1B[2J\xFF");
  EXPECT_THAT(errors.writes(),
              ElementsAre("INFO: a ATTR: marker-levels=0 STATE: paused [2J\uFFFD\n"));
}

TEST(SchedulerMessage, IsCutBeforeThePrintServerWouldCutIt) {
  CapturedErrors errors;
  tellScheduler("ERROR", std::string(5000, 'x'));
  EXPECT_THAT(errors.writes(), ElementsAre("ERROR: " + std::string(1000, 'x') + "\n"));
}

TEST(SchedulerLines, GoOutEachInAWriteOfItsOwn) {
  CapturedErrors errors;
  sendToScheduler("STATE: -a\nSTATE: +b\nATTR: marker-message=\n");
  EXPECT_THAT(errors.writes(),
              ElementsAre("STATE: -a\n", "STATE: +b\n", "ATTR: marker-message=\n"));
}

TEST(SchedulerLines, MayBeNone) {
  CapturedErrors errors;
  sendToScheduler("");
  EXPECT_THAT(errors.writes(), IsEmpty());
}

// As long as the longest list. A pipe takes so much in one piece; so does a line of the print
// server.
TEST(SchedulerLines, OfTwoThousandBytesAreNotTornApart) {
  const std::string line = std::string(1999, 'x') + "\n";
  CapturedErrors errors;
  sendToScheduler(line + line);
  EXPECT_THAT(errors.writes(), ElementsAre(line, line));
}

TEST(SchedulerLines, SendTheLastOneAlsoWithoutItsNewline) {
  CapturedErrors errors;
  sendToScheduler("STATE: -a\nSTATE: +b");
  EXPECT_THAT(errors.writes(), ElementsAre("STATE: -a\n", "STATE: +b"));
}

}  // namespace
}  // namespace moxsupply::testing
