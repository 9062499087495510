// `moxsupply enable` and `disable` on the drivers that queues have.

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

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

TEST_F(Enable, SaysWhenThePrinterIsAskedAndHowToHaveItAsked) {
  addQueue(server(), queue(), port().uri(), postScriptDriver());
  const auto told = [this](const std::string& when) {
    return queue() + " reports its supplies from now on, " + when +
           ".\n"
           "Ask it: moxsupply refresh " +
           queue() +
           "\n"
           "Have all queues asked every night, also those that nobody prints on: sudo systemctl "
           "enable --now moxsupply-refresh.timer\n";
  };
  EXPECT_EQ(enable("laser").output, told("after print jobs and whenever it is asked to"));
  ASSERT_EQ(disable().exitStatus, 0);
  EXPECT_EQ(server().moxsupply({"enable", queue(), "--type", "laser", "--no-after-jobs"}).output,
            told("whenever it is asked to"));
}

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

// The print server itself never forgets a level.
TEST_F(Enable, TakenBackLeavesNoLevelsAndNoMessage) {
  addEnabledQueue("laser");
  {
    const SimulatedPrinter printer(port(), laserPrinter({{"Black", 5}, {"Cyan", 50}}));
    report();
  }
  EXPECT_EQ(attributes()["marker-message"], Values{"Black is low (5 %)"});
  const Ran ran = disable();  // the printer is off
  EXPECT_EQ(ran.exitStatus, 0) << ran.errors;
  EXPECT_EQ(ran.output, queue() + " no longer reports its supplies.\n");
  EXPECT_EQ(attributes()["marker-levels"], (Values{"-1", "-1"}));
  EXPECT_EQ(attributes()["marker-message"], Values{""});
  EXPECT_EQ(attributes()["printer-state-reasons"], Values{"none"});
  EXPECT_EQ(ppdOf(server(), queue()), postScriptDriver());
  EXPECT_EQ(server().run({"lpstat", "-W", "all", "-o", queue()}).output.find("ReportLevels"),
            std::string::npos);
  EXPECT_TRUE(isIdleWithin(std::chrono::seconds(3)));

  // And not for long, if it is set up again.
  ASSERT_EQ(enable("laser").exitStatus, 0);
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 5}, {"Cyan", 50}}));
  report();
  EXPECT_EQ(attributes()["marker-levels"], (Values{"5", "50"}));
}

TEST_F(Enable, TakenBackSaysWhatIsStillShown) {
  addEnabledQueue("laser");
  {
    const SimulatedPrinter printer(port(), laserPrinter({{"Black", 50}}));
    report();
  }
  ASSERT_EQ(server().run({"cupsdisable", queue()}).exitStatus, 0);
  const Ran ran = disable();
  EXPECT_EQ(ran.exitStatus, 0) << ran.errors;
  EXPECT_EQ(ran.output, queue() +
                            " no longer reports its supplies; its last levels are still "
                            "shown, since the queue is stopped.\n");
  EXPECT_EQ(ppdOf(server(), queue()), postScriptDriver());
}

// Each has the queues of a print server to itself.
class EveryQueue : public QueueTest {
 protected:
  void SetUp() override {
    QueueTest::SetUp();
    if (!IsSkipped()) startPrintServer(PrivatePrintServer::Policy::kOpen);
  }

  static void addLaserQueue(const std::string& name, const std::string& uri) {
    addQueue(server(), name, uri, postScriptDriver());
  }
};

TEST_F(EveryQueue, IsEnabledWhosePrinterAnswers) {
  const SimulatedPrinter laser(port(), laserPrinter({{"Black", 50}}));
  const ReservedPort inkjetPort;
  const SimulatedPrinter inkjet(inkjetPort, inkjetPrinter("B0", 61));
  const ReservedPort off;
  addLaserQueue("a-laser", port().uri());
  addLaserQueue("b-inkjet", inkjetPort.uri());
  addLaserQueue("c-off", off.uri());
  addLaserQueue("d-ipp", "ipp://127.0.0.1/queue");
  addQueue(server(), "e-raw", port().uri(), "");
  addLaserQueue("f-own", off.uri());
  ASSERT_EQ(
      server().moxsupply({"enable", "f-own", "--type", "inkjet", "--timeout", "7"}).exitStatus, 0);
  const std::string own = ppdOf(server(), "f-own");

  const Ran ran = server().moxsupply({"enable", "--all", "--timeout", "1"});
  EXPECT_EQ(ran.exitStatus, 0) << ran.output << ran.errors;
  EXPECT_EQ(ran.errors, "");
  std::istringstream lines(ran.output);
  std::vector<std::string> line;
  for (std::string one; std::getline(lines, one);) line.push_back(one);
  ASSERT_EQ(line.size(), 6U) << ran.output;
  EXPECT_EQ(line[0], "a-laser: reports its supplies from now on, as a printer of the type laser");
  EXPECT_EQ(line[1], "b-inkjet: reports its supplies from now on, as a printer of the type inkjet");
  EXPECT_EQ(line[2].find("c-off: left alone: "), 0U) << line[2];
  EXPECT_EQ(line[3].find("d-ipp: left alone: the printer of \"d-ipp\" is reached over ipp://"), 0U)
      << line[3];
  EXPECT_EQ(line[4].find("e-raw: left alone: \"e-raw\" is a raw queue"), 0U) << line[4];
  EXPECT_EQ(line[5], "f-own: is set up like this already");
  EXPECT_EQ(ppdOf(server(), "f-own"), own);
  EXPECT_EQ(ppdOf(server(), "c-off"), postScriptDriver());
  EXPECT_EQ(laser.paper(), "");
  EXPECT_EQ(inkjet.paper(), "");
  EXPECT_EQ(server().moxsupply({"refresh", "a-laser"}).exitStatus, 0);
  EXPECT_EQ(server().moxsupply({"refresh", "b-inkjet"}).exitStatus, 0);
}

TEST_F(EveryQueue, IsDisabledThatIsSetUpOrWas) {
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 50}}));
  for (const char* name : {"a-good", "b-stopped", "c-lost", "d-forgotten", "e-gone", "f-other"}) {
    addLaserQueue(name, port().uri());
  }
  for (const char* name : {"d-forgotten", "a-good", "b-stopped", "c-lost", "e-gone"}) {
    if (std::string(name) == "a-good") fs::remove(server().enabledQueues());
    ASSERT_EQ(server().moxsupply({"enable", name, "--type", "laser"}).exitStatus, 0);
    ASSERT_EQ(server().moxsupply({"refresh", name}).exitStatus, 0);
  }
  ASSERT_EQ(server().run({"cupsdisable", "b-stopped"}).exitStatus, 0);
  addLaserQueue("c-lost", port().uri());  // gets a new driver
  ASSERT_EQ(server().run({"lpadmin", "-x", "e-gone"}).exitStatus, 0);

  const Ran ran = server().moxsupply({"disable", "--all"});
  EXPECT_EQ(ran.exitStatus, 0) << ran.output << ran.errors;
  EXPECT_EQ(ran.errors, "");
  EXPECT_EQ(ran.output,
            "a-good: no longer reports its supplies\n"
            "b-stopped: no longer reports its supplies; its last levels are still shown, since the "
            "queue is stopped\n"
            "c-lost: no longer reports its supplies\n"
            "d-forgotten: no longer reports its supplies\n");
  for (const char* name : {"a-good", "b-stopped", "c-lost", "d-forgotten", "f-other"}) {
    EXPECT_EQ(ppdOf(server(), name), postScriptDriver()) << name;
  }
  for (const char* name : {"a-good", "c-lost", "d-forgotten"}) {
    EXPECT_EQ(attributesOf(server(), name)["marker-levels"], Values{"-1"}) << name;
  }
  EXPECT_EQ(contentOf(server().enabledQueues()), "{}\n");
  EXPECT_EQ(server().moxsupply({"disable", "--all"}).output, "");
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
