// `moxsupply refresh` and `moxsupply levels QUEUE`.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <functional>
#include <future>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/queue/QueueTest.h"
#include "tests/support/Models.h"
#include "tests/support/SimulatedPrinter.h"

namespace moxsupply::testing {
namespace {

using Json = nlohmann::json;

std::vector<Json> linesOf(const Ran& ran) {
  std::vector<Json> parsed;
  std::istringstream lines(ran.output);
  for (std::string line; std::getline(lines, line);) parsed.push_back(Json::parse(line));
  return parsed;
}

class Refresh : public QueueTest {
 protected:
  void addImpatientQueue(const std::string& name) const {
    addQueue(server(), name, port().uri(), postScriptDriver());
    const Ran ran = server().moxsupply(
        {"enable", name, "--type", "laser", "--timeout", "1", "--deadline", "3"});
    ASSERT_EQ(ran.exitStatus, 0) << ran.errors;
  }

  // The names of all jobs of the queue that the print server lists, each on a line, those first
  // that are not over.
  [[nodiscard]] std::string allJobs() const {
    return server()
        .run({"sh", "-c",
              R"({ lpstat -o "$1"; lpstat -W completed -o "$1"; } | cut -d' ' -f1 | sort)", "sh",
              queue()})
        .output;
  }

  [[nodiscard]] Ran refresh() const { return server().moxsupply({"refresh", queue()}); }

  // What comes of one during which that is done.
  [[nodiscard]] Ran whileRefreshing(const std::function<void()>& act) const {
    auto refreshing = std::async(std::launch::async, [&] { return refresh(); });
    act();
    return refreshing.get();
  }
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
  EXPECT_TRUE(isIdleWithin(std::chrono::seconds(5)));
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
                            "Run: sudo moxsupply enable " +
                            queue() +
                            " --type laser\n"
                            "or, for an inkjet printer: sudo moxsupply enable " +
                            queue() + " --type inkjet\n");
  EXPECT_EQ(printer.paper(), "");
}

TEST_F(Refresh, RefusesAQueueOutOfService) {
  addEnabledQueue("laser");
  ASSERT_EQ(server().run({"cupsdisable", queue()}).exitStatus, 0);
  Ran ran = refresh();
  EXPECT_EQ(ran.exitStatus, 1);
  EXPECT_EQ(ran.errors, "moxsupply refresh: \"" + queue() +
                            "\" is stopped\nRun: sudo /usr/sbin/cupsenable " + queue() + '\n');
  ASSERT_EQ(server().run({"cupsenable", queue()}).exitStatus, 0);
  ASSERT_EQ(server().run({"cupsreject", queue()}).exitStatus, 0);
  ran = refresh();
  EXPECT_EQ(ran.exitStatus, 1);
  EXPECT_EQ(ran.errors, "moxsupply refresh: \"" + queue() +
                            "\" takes no jobs\nRun: sudo /usr/sbin/cupsaccept " + queue() + '\n');
}

// A desktop shows every job, and the print server keeps 500: reports would push out all others.
TEST_F(Refresh, LeavesNoJobInTheList) {
  addImpatientQueue(queue());
  {
    const SimulatedPrinter printer(port(), laserPrinter({{"Black Toner", 50}}));
    EXPECT_EQ(refresh().exitStatus, 0);
  }
  EXPECT_EQ(refresh().exitStatus, 1);  // it is off
  EXPECT_EQ(allJobs(), "");
}

TEST_F(Refresh, LeavesNoJobInTheListThatThePrinterHeld) {
  addEnabledQueue("laser");
  const SimulatedPrinter printer(port(), laserPrinter({{"Black Toner", 50}}), {.neverClose = true});
  const Ran ran = refresh();
  EXPECT_EQ(ran.exitStatus, 0);
  EXPECT_NE(ran.output.find("50 %"), std::string::npos) << ran.output;
  EXPECT_EQ(allJobs(), "");
}

TEST_F(Refresh, LeavesTheReportsOfOthersToThem) {
  addEnabledQueue("laser");
  const SimulatedPrinter printer(port(), laserPrinter({{"Black Toner", 50}}));
  const int job = submit(server(), queue(), "ReportLevels", {"-t", "ReportLevels"});
  EXPECT_EQ(endOf(server(), queue(), job), "completed");
  EXPECT_EQ(refresh().exitStatus, 0);
  EXPECT_EQ(allJobs(), queue() + '-' + std::to_string(job) + '\n');
}

TEST_F(Refresh, IsNoSuccessWhenSomebodyCancelsIt) {
  addEnabledQueue("laser");
  {
    const SimulatedPrinter printer(port(), laserPrinter({{"Black Toner", 50}}));
    ASSERT_EQ(refresh().exitStatus, 0);
  }
  const SimulatedPrinter printer(port(), {}, silence());
  const Ran ran = whileRefreshing([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(500));  // it is asking by now
    EXPECT_EQ(server().run({"cancel", "-a", queue()}).exitStatus, 0);
  });
  EXPECT_EQ(ran.exitStatus, 1);
  EXPECT_EQ(ran.output, "");
  EXPECT_EQ(ran.errors.find("moxsupply refresh: the report of \"" + queue() + "\" was cancelled\n"),
            0U)
      << ran.errors;
}

TEST_F(Refresh, IsNoSuccessWhenSomebodyTakesItOutOfTheList) {
  addEnabledQueue("laser");
  const SimulatedPrinter printer(port(), {}, silence());
  const Ran ran = whileRefreshing([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(500));  // it is asking by now
    EXPECT_EQ(server().run({"cancel", "-a", "-x", queue()}).exitStatus, 0);
  });
  EXPECT_NE(ran.exitStatus, 0);
  EXPECT_EQ(ran.output, "");
  EXPECT_TRUE(ran.errors.starts_with("moxsupply refresh: ")) << ran.errors;
}

// A report that is ours and gone was not made, whatever the queue shows.
TEST_F(Refresh, IsNoSuccessWhenItIsGoneBeforeItsTurn) {
  addEnabledQueue("laser");
  ASSERT_EQ(server().run({"cupsdisable", "--hold", queue()}).exitStatus, 0);
  const Ran ran = whileRefreshing([&] {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (allJobs().empty() && std::chrono::steady_clock::now() < end) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    EXPECT_EQ(server().run({"cancel", "-a", "-x", queue()}).exitStatus, 0);
  });
  EXPECT_EQ(ran.exitStatus, 2);
  EXPECT_EQ(ran.output, "");
  EXPECT_TRUE(ran.errors.starts_with("moxsupply refresh: cannot look at job ")) << ran.errors;
}

// It would ask the printer when nobody waits for it any more.
TEST_F(Refresh, TakesBackWhatDidNotComeToItByTheDeadline) {
  addEnabledQueue("laser");
  ASSERT_EQ(server().run({"cupsdisable", "--hold", queue()}).exitStatus, 0);
  const Ran ran = server().moxsupply({"refresh", queue(), "--deadline", "1"});
  EXPECT_EQ(ran.exitStatus, 1);
  EXPECT_TRUE(ran.errors.starts_with("moxsupply refresh: \"" + queue() +
                                     "\" did not come to it by the deadline\n"))
      << ran.errors;
  EXPECT_EQ(server().run({"lpstat", "-o", queue()}).output, "");
}

// They would pile up, one each time, on a queue that is set up wrongly.
TEST_F(Refresh, TakesAStoppedReportBack) {
  const SimulatedPrinter printer(port(), laserPrinter({{"Black Toner", 50}}));
  addEnabledQueue("laser");
  const std::string good = ppdOf(server(), queue());
  std::string wrong = good;
  wrong.replace(wrong.find("\"Laser\""), 7, "\"Plotter\"");
  addQueue(server(), queue(), port().uri(), wrong);
  for (int i = 0; i < 2; ++i) {
    const Ran ran = refresh();
    EXPECT_EQ(ran.exitStatus, 1);
    EXPECT_NE(ran.errors.find("the job was stopped"), std::string::npos) << ran.errors;
    EXPECT_EQ(std::ranges::count(allJobs(), '\n'), 1);
  }
  addQueue(server(), queue(), port().uri(), good);
  EXPECT_EQ(refresh().exitStatus, 0);
  EXPECT_EQ(allJobs(), "");
}

// Sees all queues of its print server.
class RefreshOfAll : public Refresh {};

TEST_F(RefreshOfAll, TakesTheReportsOfOthersOutOfTheListAndNothingElse) {
  addEnabledQueue("laser");
  const SimulatedPrinter printer(port(), laserPrinter({{"Black Toner", 50}}));
  const auto endAs = [&](const std::string& user, const std::string& title,
                         const std::string& commands) {
    const int job = submit(server(), queue(), commands, {"-U", user, "-t", title});
    endOf(server(), queue(), job);
    return queue() + '-' + std::to_string(job) + '\n';
  };
  endAs("somebody", "ReportLevels", "ReportLevels");
  const std::string stopped = endAs("somebody", "Clean", "Clean");
  const std::string other = endAs("somebody", "Status", "ReportStatus");
  std::ofstream(server().folder() / "home/page") << "%!PS a page";
  const Ran page = server().run({"lp", "-d", queue(), "-t", "ReportLevels", "-o",
                                 "document-format=application/vnd.cups-postscript",
                                 server().folder() / "home/page"});
  const int paper = jobOf(page, queue());
  EXPECT_EQ(endOf(server(), queue(), paper), "completed");

  EXPECT_EQ(server().moxsupply({"refresh", "--all"}).exitStatus, 0);
  EXPECT_EQ(allJobs(), stopped + other + queue() + '-' + std::to_string(paper) + '\n');
  EXPECT_EQ(server().run({"lpadmin", "-x", queue()}).exitStatus, 0);
}

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
  EXPECT_EQ(ran.output, "good: 2 supplies, ok; lowest: Cyan 50 %\nsilent: no answer\n");
  EXPECT_EQ(printer.paper(), "");

  const Ran json = server().moxsupply({"refresh", "--all", "--format", "json"});
  EXPECT_EQ(json.exitStatus, 0);
  EXPECT_EQ(json.errors, "");
  const std::vector<Json> lines = linesOf(json);
  ASSERT_EQ(lines.size(), 2U) << json.output;
  EXPECT_EQ(lines[0]["queue"], "good");
  EXPECT_EQ(lines[0]["refreshed"], true);
  EXPECT_EQ(lines[1]["queue"], "silent");
  EXPECT_EQ(lines[1]["refreshed"], false);
  for (const char* queue : {"good", "silent", "raw", "unasked", "stopped"}) {
    EXPECT_EQ(server().run({"lpadmin", "-x", queue}).exitStatus, 0);
  }
}

class RefreshOfSeveral : public Refresh {};

TEST_F(RefreshOfSeveral, ShowsABlockOfEachInTheirOrder) {
  const SimulatedPrinter printer(port(), laserPrinter({{"Black Toner", 7}}));
  addEnabledQueue("laser");
  const Ran one = refresh();
  const Ran ran = server().moxsupply({"refresh", queue(), "nowhere", queue()});
  EXPECT_EQ(ran.exitStatus, 2);
  EXPECT_EQ(ran.output, one.output + '\n' + one.output);
  EXPECT_EQ(ran.errors.find("moxsupply refresh: no queue \"nowhere\""), 0U) << ran.errors;
}

TEST_F(RefreshOfSeveral, IsALineOfJsonEach) {
  addEnabledQueue("laser");
  {
    const SimulatedPrinter printer(port(), laserPrinter({{"Cyan Toner", 62}, {"Black Toner", 7}}));
    const Ran ran = server().moxsupply({"refresh", queue(), "--format", "json"});
    EXPECT_EQ(ran.exitStatus, 0);
    EXPECT_EQ(ran.errors, "");
    EXPECT_EQ(linesOf(ran), std::vector{Json::parse(R"({"queue":")" + queue() + R"(",
      "refreshed":true,"why":null,"supplies":[
        {"name":"Cyan Toner","type":"toner","color":"Cyan","level":62,"attention":"none"},
        {"name":"Black Toner","type":"toner","color":"Black","level":7,"attention":"low"}]})")});
  }
  // It is off now; what it showed stays.
  const Ran ran = server().moxsupply({"refresh", "nowhere", queue(), "--format", "json"});
  EXPECT_EQ(ran.exitStatus, 2);
  const std::vector<Json> lines = linesOf(ran);
  ASSERT_EQ(lines.size(), 2U) << ran.output;
  EXPECT_EQ(lines[0]["queue"], "nowhere");
  EXPECT_EQ(lines[0]["refreshed"], false);
  EXPECT_EQ(lines[0]["why"].get<std::string>().find("no queue \"nowhere\""), 0U);
  EXPECT_EQ(lines[0]["supplies"], Json::array());
  EXPECT_EQ(lines[1]["queue"], queue());
  EXPECT_EQ(lines[1]["refreshed"], false);
  EXPECT_EQ(lines[1]["why"],
            "the printer of \"" + queue() + "\" gave no levels; those shown are its last ones");
  EXPECT_EQ(lines[1]["supplies"][1]["level"], 7);
}

// Each alone has the exit status that it has without JSON.
TEST_F(RefreshOfSeveral, IsALineOfJsonWhateverIsWrong) {
  addEnabledQueue("laser");
  ASSERT_EQ(server().run({"cupsdisable", queue()}).exitStatus, 0);
  addQueue(server(), "raw", port().uri(), "");
  for (const auto& [name, exitStatus] : {std::pair(queue(), 1), {std::string("raw"), 2}}) {
    const Ran ran = server().moxsupply({"refresh", name, "--format", "json"});
    EXPECT_EQ(ran.exitStatus, exitStatus);
    ASSERT_EQ(linesOf(ran).size(), 1U) << ran.output;
    EXPECT_EQ(linesOf(ran)[0]["queue"], name);
    EXPECT_EQ(linesOf(ran)[0]["refreshed"], false);
    EXPECT_NE(linesOf(ran)[0]["why"], "");
  }
  EXPECT_EQ(server().run({"lpadmin", "-x", "raw"}).exitStatus, 0);
  EXPECT_EQ(server().moxsupply({"refresh"}).exitStatus, 2);
  EXPECT_EQ(server().moxsupply({"refresh", "--all", queue()}).exitStatus, 2);
  EXPECT_EQ(server().moxsupply({"refresh", queue(), "--format", "list"}).exitStatus, 2);
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
