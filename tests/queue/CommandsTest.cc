// Command files as people and desktops submit them, with plain `lp`.

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "tests/queue/QueueTest.h"
#include "tests/support/Models.h"
#include "tests/support/SimulatedPrinter.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;

class Commands : public QueueTest {
 protected:
  // Submits a command file and waits for its end.
  std::string endAfter(const std::string& commands, const std::vector<std::string>& options = {}) {
    mJob = submit(server(), queue(), commands, options);
    return endOf(server(), queue(), mJob);
  }

  // A queue on which nothing answered commands before it was enabled.
  void addQueueWithoutOtherCommands() const {
    addQueue(server(), queue(), port().uri(),
             driver("*cupsFilter: \"application/vnd.cups-raster 0 -\"\n"));
    EXPECT_EQ(server().moxsupply({"enable", queue(), "--type", "laser"}).exitStatus, 0);
  }

  // How often the last one's job has said this.
  [[nodiscard]] int timesLogged(const std::string& beginning) const {
    return testing::timesLogged(server(), mJob, beginning);
  }

 private:
  int mJob = 0;
};

TEST_F(Commands, AreKnownInSmallLettersAndBesideComments) {
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 50}}));
  addEnabledQueue("laser");
  EXPECT_EQ(endAfter("# what desktops send\n  reportlevels   # now\n"), "completed");
  EXPECT_EQ(attributes()["marker-levels"], Values{"50"});
  EXPECT_EQ(printer.paper(), "");
}

TEST_F(Commands, ReportStatusBringsTheReasonsAlone) {
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 4}}));
  addEnabledQueue("laser");
  EXPECT_EQ(endAfter("ReportStatus"), "completed");
  EXPECT_EQ(attributes()["printer-state-reasons"], Values{"toner-low-report"});
  EXPECT_EQ(attributes()["marker-names"], Values{});
  EXPECT_EQ(timesLogged("ATTR: marker-"), 0);
}

TEST_F(Commands, OfOthersAreRefusedInOneLine) {
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 50}}));
  addQueueWithoutOtherCommands();
  EXPECT_EQ(endAfter("Clean all"), "stopped");
  EXPECT_EQ(timesLogged(R"(\"Clean\" is no command of this printer; it takes ReportLevels and )"
                        "ReportStatus"),
            1);
  EXPECT_EQ(printer.paper(), "");
  EXPECT_EQ(attributes()["marker-names"], Values{});

  EXPECT_EQ(attributes()["printer-state"], Values{"3"});  // idle
  report();
  EXPECT_EQ(attributes()["marker-levels"], Values{"50"});
}

TEST_F(Commands, OfOthersDoNotKeepOursFromBeingDone) {
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 50}}));
  addQueueWithoutOtherCommands();
  EXPECT_EQ(endAfter("PrintSelfTestPage\nReportLevels"), "stopped");
  EXPECT_EQ(attributes()["marker-levels"], Values{"50"});
  EXPECT_EQ(printer.paper(), "");
}

TEST_F(Commands, DoNotChangeTheSettingsOfTheQueue) {
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 50}}));
  addEnabledQueue("laser");
  EXPECT_EQ(endAfter("ReportLevels", {"-o", "moxPrinterType=Inkjet", "-o", "moxTimeout=soon", "-o",
                                      "moxDeadline=4294967295"}),
            "completed");
  EXPECT_EQ(attributes()["marker-levels"], Values{"50"});
  EXPECT_EQ(timesLogged("The job option moxPrinterType=Inkjet is ignored: "), 1);
  EXPECT_EQ(timesLogged("The job option moxTimeout=soon is ignored: "), 1);
  EXPECT_EQ(timesLogged("The job option moxDeadline=4294967295 is ignored: "), 1);
}

// The print server gives them to the filter as the job's.
TEST_F(Commands, TakeNoLongerTimesFromDefaultsOutsideThePpdFile) {
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 50}}));
  addEnabledQueue("laser");
  const auto set = server().run({"lpadmin", "-p", queue(), "-o", "moxTimeout-default=3"});
  EXPECT_EQ(set.exitStatus, 0);
  EXPECT_EQ(endAfter("ReportLevels"), "completed");
  EXPECT_EQ(timesLogged("The job option moxTimeout=3 is ignored: "), 1);
}

TEST_F(Commands, EndAtOnceWhenTheirJobIsCancelled) {
  const SimulatedPrinter printer(port(), {}, silence());
  addEnabledQueue("laser");
  const int job = submit(server(), queue(), "ReportLevels");
  std::this_thread::sleep_for(500ms);  // it is asking by now
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(server().run({"cancel", queue() + '-' + std::to_string(job)}).exitStatus, 0);
  EXPECT_EQ(endOf(server(), queue(), job), "canceled");
  EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
}

}  // namespace
}  // namespace moxsupply::testing
