// `moxsupply enable` and `disable` on the drivers that queues have.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>
#include <string>

#include "tests/queue/QueueTest.h"
#include "tests/support/Models.h"
#include "tests/support/SimulatedPrinter.h"
#include "tests/support/TextFile.h"

namespace moxsupply::testing {
namespace {

namespace fs = std::filesystem;

// A driver's own filter, which passes on what it gets.
void installFilter(const PrivatePrintServer& server, const std::string& name) {
  const fs::path file = server.folder() / "lib/cups/filter" / name;
  std::ofstream(file) << "#!/bin/sh\nexec cat $6\n";
  fs::permissions(file, fs::perms(0755));
}

std::string withReturns(const std::string& text) {
  return std::regex_replace(text, std::regex("\n"), "\r\n");
}

struct Driver {
  const char* name;
  std::string ppd;
};

class DriverOfAQueue : public QueueTest, public ::testing::WithParamInterface<Driver> {
 protected:
  // Prints a page that needs no filter, and waits for it.
  void print() const {
    const std::string file = server().folder() / "home/page";
    std::ofstream(file) << "%!PS a page";
    const Ran ran = server().run(
        {"lp", "-d", queue(), "-o", "document-format=application/vnd.cups-postscript", file});
    EXPECT_EQ(endOf(server(), queue(), jobOf(ran, queue())), "completed");
  }
};

INSTANTIATE_TEST_SUITE_P(
    Drivers, DriverOfAQueue,
    ::testing::Values(
        Driver{"OfAPostScriptPrinter", postScriptDriver()},
        Driver{"WithAFilter",
               driver("*cupsFilter: \"application/vnd.cups-postscript 0 example\"\n")},
        Driver{"WithAFilterOfTheNewForm",
               driver("*cupsFilter2: \"application/vnd.cups-postscript application/example 0 "
                      "example\"\n")},
        Driver{"WithCommandsOfItsOwn",
               driver("*cupsFilter: \"application/vnd.cups-postscript 0 example\"\n"
                      "*cupsFilter: \"application/vnd.cups-command 0 commandtops\"\n"
                      "*cupsCommands: \"AutoConfigure\nClean\"\n"
                      "*cupsSNMPSupplies: True\n")},
        Driver{"WithDosLineEnds", withReturns(postScriptDriver())},
        Driver{"WithAnUnfinishedLastLine", postScriptDriver() + "*% the end"}),
    [](const auto& driver) { return driver.param.name; });

TEST_P(DriverOfAQueue, ReportsPrintsAndIsGivenBackToTheByte) {
  installFilter(server(), "example");
  addQueue(server(), queue(), port().uri(), GetParam().ppd);
  const std::string before = ppdOf(server(), queue());
  ASSERT_EQ(before, GetParam().ppd);

  const Ran enabled = server().moxsupply({"enable", queue(), "--type", "laser"});
  EXPECT_EQ(enabled.exitStatus, 0);
  EXPECT_EQ(enabled.errors, "");
  EXPECT_NE(ppdOf(server(), queue()), before);
  {
    const SimulatedPrinter printer(port(), laserPrinter({{"Black", 50}}));
    report();
    EXPECT_EQ(attributes()["marker-levels"], Values{"50"});
    EXPECT_EQ(printer.paper(), "");
    print();
    EXPECT_EQ(printer.paper(), "%!PS a page");
  }
  EXPECT_EQ(server().moxsupply({"disable", queue()}).exitStatus, 0);
  EXPECT_EQ(ppdOf(server(), queue()), before);
}

class Enable : public QueueTest {
 protected:
  [[nodiscard]] Ran enable(const std::string& type) const {
    return server().moxsupply({"enable", queue(), "--type", type});
  }
  [[nodiscard]] Ran disable() const { return server().moxsupply({"disable", queue()}); }
};

TEST_F(Enable, AgainChangesNothing) {
  addEnabledQueue("laser");
  const auto written = fs::last_write_time(server().folder() / "etc/ppd" / (queue() + ".ppd"));
  const Ran again = enable("laser");
  EXPECT_EQ(again.exitStatus, 0);
  EXPECT_EQ(again.output, queue() + " is set up like this already.\n");
  EXPECT_EQ(fs::last_write_time(server().folder() / "etc/ppd" / (queue() + ".ppd")), written);
}

TEST_F(Enable, WithAnotherTypeTakesThePlaceOfTheFirst) {
  addEnabledQueue("laser");
  EXPECT_EQ(enable("inkjet").exitStatus, 0);
  const SimulatedPrinter printer(port(), inkjetPrinter("B0", 61));
  report();
  EXPECT_EQ(attributes()["marker-levels"], (Values{"61", "80", "47", "92"}));
  EXPECT_EQ(disable().exitStatus, 0);
  EXPECT_EQ(ppdOf(server(), queue()), postScriptDriver());
}

TEST_F(Enable, IsNothingToTakeBackFromAQueueWithoutIt) {
  addQueue(server(), queue(), port().uri(), postScriptDriver());
  const Ran ran = disable();
  EXPECT_EQ(ran.exitStatus, 0);
  EXPECT_EQ(ran.output, queue() + " was not set up by moxsupply enable; nothing was changed.\n");
}

// A new driver takes the set-up from the queue, and this is what tells that it had one.
TEST_F(Enable, IsRememberedUntilItIsTakenBack) {
  addEnabledQueue("laser");
  EXPECT_EQ(enable("inkjet").exitStatus, 0);
  const auto remembered = [] { return nlohmann::json::parse(contentOf(server().enabledQueues())); };
  EXPECT_EQ(remembered()[queue()],
            (nlohmann::json{{"type", "inkjet"}, {"low", 10}, {"afterJobs", true}}));
  EXPECT_EQ(disable().exitStatus, 0);
  EXPECT_FALSE(remembered().contains(queue()));
}

TEST_F(Enable, IsForgottenAlsoOfAQueueThatHasLostIt) {
  addEnabledQueue("laser");
  addQueue(server(), queue(), port().uri(), postScriptDriver());
  EXPECT_EQ(disable().exitStatus, 0);
  EXPECT_EQ(contentOf(server().enabledQueues()).find(queue()), std::string::npos);
}

TEST_F(Enable, IsRememberedOfAQueueThatIsSetUpAlready) {
  addEnabledQueue("laser");
  fs::remove(server().enabledQueues());
  EXPECT_EQ(enable("laser").exitStatus, 0);
  EXPECT_NE(contentOf(server().enabledQueues()).find(queue()), std::string::npos);
}

TEST_F(Enable, SaysThatItCannotBeRemembered) {
  addQueue(server(), queue(), port().uri(), postScriptDriver());
  const std::string nowhere = server().folder() / "nowhere/at/all";
  const Ran ran =
      server().moxsupply({"enable", queue(), "--type", "laser"}, {"STATE_DIRECTORY=" + nowhere});
  EXPECT_EQ(ran.exitStatus, 1);
  EXPECT_EQ(ran.errors, "moxsupply enable: cannot remember what is enabled: " + nowhere +
                            "/queues.json: No such file or directory\n");
}

TEST_F(Enable, TakenBackLeavesNoReasons) {
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 0}}));
  addEnabledQueue("laser");
  report();
  EXPECT_EQ(attributes()["printer-state-reasons"], Values{"toner-empty-warning"});
  EXPECT_EQ(disable().exitStatus, 0);
  EXPECT_EQ(attributes()["printer-state-reasons"], Values{"none"});
}

TEST_F(Enable, RefusesARawQueue) {
  addQueue(server(), queue(), port().uri(), "");
  const Ran ran = enable("laser");
  EXPECT_EQ(ran.exitStatus, 2);
  EXPECT_EQ(ran.errors.find("moxsupply enable: \"" + queue() + "\" is a raw queue"), 0U)
      << ran.errors;
}

TEST_F(Enable, RefusesConnectionsThatBringNoAnswersBack) {
  const std::vector<std::pair<std::string, std::string>> kLinks = {
      {"ipp://127.0.0.1/queue", "ipp://"},
      {"lpd://127.0.0.1/queue", "lpd://"},
      {"dnssd://Printer._ipp._tcp.local/?uuid=1", "dnssd://..._ipp._tcp"}};
  for (const auto& [uri, link] : kLinks) {
    addQueue(server(), queue(), uri, postScriptDriver());
    const Ran ran = enable("laser");
    EXPECT_EQ(ran.exitStatus, 2);
    EXPECT_EQ(ran.errors.find("moxsupply enable: the printer of \"" + queue() +
                              "\" is reached over " + link + ", which brings no answers back"),
              0U)
        << ran.errors;
    EXPECT_EQ(ppdOf(server(), queue()), postScriptDriver());
  }
}

TEST_F(Enable, RefusesAQueueThatIsNotThere) {
  const Ran ran = enable("laser");
  EXPECT_EQ(ran.exitStatus, 2);
  EXPECT_EQ(ran.errors.find("moxsupply enable: no queue \"" + queue() + "\""), 0U) << ran.errors;
}

}  // namespace
}  // namespace moxsupply::testing
