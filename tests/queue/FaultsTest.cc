// Printers that do not behave. Whatever they do, the job ends, the queue stays in service, the last
// levels stay, and the next good report takes every trace of the fault away.

#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <string>

#include "tests/queue/QueueTest.h"
#include "tests/support/Models.h"
#include "tests/support/SimulatedPrinter.h"

namespace moxsupply::testing {
namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr auto kDeadline = 3s;
constexpr auto kSlack = 2s;  // for the print server, on a busy machine

constexpr std::string_view kLastReport = " The levels shown are those of its last report (20";

struct Trouble {
  const char* name;
  std::optional<simulator::Faults> faults;  // none: the printer refuses connections
  std::string why;
};

class FaultyPrinter : public QueueTest, public ::testing::WithParamInterface<Trouble> {};

INSTANTIATE_TEST_SUITE_P(
    Faults, FaultyPrinter,
    ::testing::Values(
        Trouble{"IsSilent", silence(), "The printer did not answer."},
        Trouble{"HangsUpMidReply", simulator::Faults{.cut = 60}, "The printer did not answer."},
        Trouble{"ResetsTheConnectionMidReply", simulator::Faults{.reset = 60},
                "The printer answered but its supplies cannot be read."},
        Trouble{"Drips", simulator::Faults{.drip = 100ms}, "The printer did not answer."},
        Trouble{"Floods", simulator::Faults{.flood = simulator::Faults::Flood::kBytes},
                "The printer did not answer."},
        Trouble{"FloodsPackets", simulator::Faults{.flood = simulator::Faults::Flood::kPackets},
                "The printer did not answer."},
        Trouble{"AnswersTheWrongRequest", simulator::Faults{.wrongRequest = true},
                "The printer did not answer."},
        Trouble{"RefusesConnections", std::nullopt, "The printer did not answer."}),
    [](const auto& trouble) { return trouble.param.name; });

TEST_P(FaultyPrinter, KeepsNeitherJobNorQueue) {
  const auto good = laserPrinter({{"Cyan Toner", 8}, {"Black Toner", 70}});
  addEnabledQueue("laser");
  {
    const SimulatedPrinter printer(port(), good);
    report();
  }
  const Attributes before = attributes();
  std::optional<SimulatedPrinter> faulty;
  if (GetParam().faults) faulty.emplace(port(), good, *GetParam().faults);
  const auto start = Clock::now();
  const int job =
      submit(server(), queue(), "ReportLevels", {"-o", "moxTimeout=1", "-o", "moxDeadline=3"});
  const std::string end = endOf(server(), queue(), job);
  EXPECT_TRUE(end == "completed" || end == "canceled") << end;
  EXPECT_TRUE(isIdleWithin(start + kDeadline + kSlack - Clock::now()));
  EXPECT_EQ(timesLogged(server(), job, GetParam().why), 1);
  const Attributes after = attributes();
  for (const char* list : {"marker-names", "marker-types", "marker-colors", "marker-levels",
                           "marker-low-levels", "marker-high-levels"}) {
    EXPECT_EQ(after[list], before[list]) << list;
  }
  EXPECT_EQ(after["marker-message"].at(0).find(GetParam().why + std::string(kLastReport)), 0U)
      << after["marker-message"].at(0);
  EXPECT_EQ(after["printer-is-accepting-jobs"], Values{"true"});
  EXPECT_EQ(alertsOf(server(), queue()), (Values{"timed-out-report", "toner-low-report"}));

  faulty.reset();
  const SimulatedPrinter printer(port(), good);
  report();
  EXPECT_EQ(attributes()["marker-levels"], before["marker-levels"]);
  EXPECT_EQ(attributes()["marker-message"], Values{"Cyan Toner is low (8 %)"});
  EXPECT_EQ(attributes()["printer-state-reasons"], Values{"toner-low-report"});
}

class PrinterThatNeverHangsUp : public QueueTest {};

// The CUPS backend alone would stay for 90 seconds, whether the job is cancelled or not.
TEST_F(PrinterThatNeverHangsUp, IsLeftByTheDeadline) {
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 50}}), {.neverClose = true});
  addEnabledQueue("laser");
  for (const std::string deadline : {"3", "2"}) {
    const auto start = Clock::now();
    const int job = submit(server(), queue(), "ReportLevels", {"-o", "moxDeadline=" + deadline});
    EXPECT_EQ(endOf(server(), queue(), job), "canceled");
    EXPECT_TRUE(isIdleWithin(start + kDeadline + kSlack - Clock::now()));
  }
  EXPECT_EQ(attributes()["marker-levels"], Values{"50"});
  EXPECT_EQ(attributes()["marker-message"], Values{""});
  EXPECT_EQ(attributes()["printer-state-reasons"], Values{"none"});
}

class BackendThatFailsAtTheEnd : public QueueTest {};

// Its job would be held back, and tried again in five minutes.
TEST_F(BackendThatFailsAtTheEnd, KeepsNoJob) {
  server().addBackend("late", "#!/bin/sh\ncat > /dev/null\nexit 1\n");
  addQueue(server(), queue(), "late://printer", postScriptDriver());
  ASSERT_EQ(server().moxsupply({"enable", queue(), "--type", "laser"}).exitStatus, 0);
  const int job = submit(server(), queue(), "ReportLevels", {"-o", "moxTimeout=1"});
  EXPECT_EQ(endOf(server(), queue(), job), "canceled");
  EXPECT_TRUE(isIdleWithin(kSlack));
}

class SilentPrinter : public QueueTest {};

TEST_F(SilentPrinter, IsLeftByAShortDeadline) {
  const SimulatedPrinter printer(port(), {}, silence());
  addEnabledQueue("laser");
  const auto start = Clock::now();
  const int job = submit(server(), queue(), "ReportLevels", {"-o", "moxDeadline=2"});
  EXPECT_EQ(endOf(server(), queue(), job), "canceled");
  EXPECT_TRUE(isIdleWithin(start + 2s + kSlack - Clock::now()));
  EXPECT_EQ(attributes()["printer-state-reasons"], Values{"timed-out-report"});
}

}  // namespace
}  // namespace moxsupply::testing
