// `moxsupply refresh` and `moxsupply levels QUEUE`.

#include <gtest/gtest.h>

#include <string>

#include "tests/queue/QueueTest.h"
#include "tests/support/Models.h"
#include "tests/support/SimulatedPrinter.h"

namespace moxsupply::testing {
namespace {

class Refresh : public QueueTest {
 protected:
  void addImpatientQueue(const std::string& name) const {
    addQueue(server(), name, port().uri(), postScriptDriver());
    const Ran ran = server().moxsupply(
        {"enable", name, "--type", "laser", "--timeout", "1", "--deadline", "3"});
    ASSERT_EQ(ran.exitStatus, 0) << ran.errors;
  }

  [[nodiscard]] Ran refresh() const { return server().moxsupply({"refresh", queue()}); }
};

TEST_F(Refresh, ShowsWhatThePrinterHasJustReported) {
  addEnabledQueue("laser");
  const SimulatedPrinter printer(port(), laserPrinter({{"Cyan Toner", 62}, {"Black Toner", 8}}));
  const Ran ran = refresh();
  EXPECT_EQ(ran.exitStatus, 0);
  EXPECT_EQ(ran.errors, "");
  EXPECT_EQ(ran.output, queue() +
                            ", 2 supplies\n"
                            "\n"
                            "SUPPLY       COLOUR  LEVEL                       STATUS\n"
                            "Cyan Toner   cyan    █████████████░░░░░░░  62 %  ok\n"
                            "Black Toner  black   ██░░░░░░░░░░░░░░░░░░   8 %  low\n"
                            "\n"
                            "Black Toner is low (8 %)\n");
}

// The print server keeps levels alone, and a message.
TEST_F(Refresh, CallsNoCartridgeGoodThatThePrinterRefuses) {
  addEnabledQueue("inkjet");
  const SimulatedPrinter printer(port(), shippedModel("inkjet-lantern-cartridge-faults"));
  const Ran ran = refresh();
  EXPECT_EQ(ran.exitStatus, 0);
  EXPECT_EQ(ran.output,
            queue() +
                ", 4 supplies\n"
                "\n"
                "SUPPLY             COLOUR   LEVEL                       STATUS\n"
                "Cyan Cartridge     cyan     no cartridge                missing\n"
                "Black Cartridge    black    █████░░░░░░░░░░░░░░░  25 %  not valid here\n"
                "Magenta Cartridge  magenta  ██████████░░░░░░░░░░  50 %  wrong cartridge\n"
                "Yellow Cartridge   yellow   ███████████████░░░░░  75 %  ok\n"
                "\n"
                "Cyan Cartridge is missing; Black Cartridge is not valid in this printer; Magenta "
                "Cartridge is the wrong cartridge\n");
}

TEST_F(Refresh, OfASilentPrinterShowsItsLastReportAndSaysSo) {
  addImpatientQueue(queue());
  {
    const SimulatedPrinter printer(port(), laserPrinter({{"Black Toner", 50}}));
    ASSERT_EQ(refresh().exitStatus, 0);
  }
  const Ran ran = refresh();
  EXPECT_EQ(ran.exitStatus, 1);
  EXPECT_NE(ran.output.find("Black Toner"), std::string::npos) << ran.output;
  EXPECT_EQ(ran.errors, "moxsupply refresh: the printer of \"" + queue() +
                            "\" gave no levels; those shown are its last ones\n"
                            "Is it switched on and awake? `moxsupply doctor " +
                            queue() + "` looks for the reason.\n");
}

TEST_F(Refresh, WaitsForAReportThatIsUnderWay) {
  const SimulatedPrinter printer(port(), {}, silence());
  addImpatientQueue(queue());
  const int job = submit(server(), queue(), "ReportLevels", {"-t", "ReportLevels"});
  EXPECT_EQ(refresh().exitStatus, 1);
  EXPECT_NE(endOf(server(), queue(), job), "never");
  // No other job was made.
  EXPECT_EQ(submit(server(), queue(), "ReportStatus"), job + 1);
}

TEST_F(Refresh, RefusesARawQueue) {
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 50}}));
  addQueue(server(), queue(), port().uri(), "");
  const Ran ran = refresh();
  EXPECT_EQ(ran.exitStatus, 2);
  EXPECT_EQ(ran.errors.find("moxsupply refresh: \"" + queue() + "\" is a raw queue"), 0U)
      << ran.errors;
  EXPECT_EQ(printer.paper(), "");
}

TEST_F(Refresh, RefusesAQueueThatIsNotEnabled) {
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 50}}));
  addQueue(server(), queue(), port().uri(), postScriptDriver());
  const Ran ran = refresh();
  EXPECT_EQ(ran.exitStatus, 2);
  EXPECT_EQ(ran.errors, "moxsupply refresh: nothing on \"" + queue() +
                            "\" asks its printer for its supplies\n"
                            "Run: moxsupply enable " +
                            queue() +
                            " --type laser\n"
                            "or, for an inkjet printer: moxsupply enable " +
                            queue() + " --type inkjet\n");
  EXPECT_EQ(printer.paper(), "");
}

TEST_F(Refresh, RefusesAQueueOutOfService) {
  addEnabledQueue("laser");
  ASSERT_EQ(server().run({"cupsdisable", queue()}).exitStatus, 0);
  Ran ran = refresh();
  EXPECT_EQ(ran.exitStatus, 1);
  EXPECT_EQ(ran.errors,
            "moxsupply refresh: \"" + queue() + "\" is stopped\nRun: cupsenable " + queue() + '\n');
  ASSERT_EQ(server().run({"cupsenable", queue()}).exitStatus, 0);
  ASSERT_EQ(server().run({"cupsreject", queue()}).exitStatus, 0);
  ran = refresh();
  EXPECT_EQ(ran.exitStatus, 1);
  EXPECT_EQ(ran.errors, "moxsupply refresh: \"" + queue() + "\" takes no jobs\nRun: cupsaccept " +
                            queue() + '\n');
}

// Sees all queues of its print server.
class RefreshOfAll : public Refresh {};

TEST_F(RefreshOfAll, HasALineForEachQueueThatReports) {
  const SimulatedPrinter printer(port(), laserPrinter({{"Cyan", 50}, {"Black", 50}}));
  const ReservedPort silent;
  addImpatientQueue("good");
  addImpatientQueue("silent");
  ASSERT_EQ(server().run({"lpadmin", "-p", "silent", "-v", silent.uri()}).exitStatus, 0);
  addQueue(server(), "raw", port().uri(), "");
  addQueue(server(), "unasked", port().uri(), postScriptDriver());
  addImpatientQueue("stopped");
  ASSERT_EQ(server().run({"cupsdisable", "stopped"}).exitStatus, 0);

  const Ran ran = server().moxsupply({"refresh", "--all"});
  EXPECT_EQ(ran.exitStatus, 0);
  EXPECT_EQ(ran.errors, "");
  EXPECT_EQ(ran.output, "good: 2 supplies\nsilent: no answer\n");
  EXPECT_EQ(printer.paper(), "");
}

class LevelsOfAQueue : public QueueTest {};

TEST_F(LevelsOfAQueue, AreThoseOfItsPrinter) {
  const SimulatedPrinter printer(port(), laserPrinter({{"Cyan Toner", 62}}));
  addQueue(server(), queue(), port().uri(), postScriptDriver());
  const Ran byName = server().moxsupply({"levels", queue()});
  EXPECT_EQ(byName.exitStatus, 0);
  EXPECT_EQ(byName.errors, "");
  EXPECT_EQ(byName.output, server().moxsupply({"levels", port().uri()}).output);
  EXPECT_EQ(byName.output.find("Laser printer, 1 supply\n"), 0U) << byName.output;
}

// A queue that tells the type of its printer spares the question.
TEST_F(LevelsOfAQueue, AreAskedAsItIsEnabled) {
  const SimulatedPrinter printer(port(), inkjetPrinter("B0", 61));
  addEnabledQueue("inkjet");
  const Ran ran = server().moxsupply({"levels", queue(), "--timeout", "5"});
  EXPECT_EQ(ran.output.find("Inkjet printer, Lantern print head, 4 supplies\n"), 0U) << ran.output;
  EXPECT_LT(ran.time, std::chrono::seconds(3));  // as a laser printer it would be silent for four
}

TEST_F(LevelsOfAQueue, ThatIsNotThereAreRefused) {
  const Ran ran = server().moxsupply({"levels", queue()});
  EXPECT_EQ(ran.exitStatus, 2);
  EXPECT_EQ(ran.errors.find("moxsupply levels: no queue \"" + queue() + "\""), 0U) << ran.errors;
}

}  // namespace
}  // namespace moxsupply::testing
