// What comes after print jobs: the print server tells the notifier of their ends, and the notifier
// has their queues report.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "tests/queue/QueueTest.h"
#include "tests/support/Models.h"
#include "tests/support/SimulatedPrinter.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;
using ::testing::HasSubstr;

constexpr auto kNotifierPause = 4s;
constexpr auto kSoon = 2s;  // far below the pause
constexpr auto kLongEnough = 15s;

class AfterJobs : public QueueTest {
 protected:
  static void SetUpTestSuite() {
    startPrintServer(PrivatePrintServer::Policy::kDebian, kNotifierPause);
  }

  // Makes a queue that is asked after print jobs, unless `options` of `enable` say otherwise.
  static void addQueueNamed(const PrivatePrintServer& server, const std::string& name,
                            const std::string& uri, const std::vector<std::string>& options = {}) {
    addQueue(server, name, uri, postScriptDriver());
    std::vector<std::string> command = {"enable", name, "--type", "laser"};
    command.insert(command.end(), options.begin(), options.end());
    const Ran ran = server.moxsupply(command);
    ASSERT_EQ(ran.exitStatus, 0) << ran.errors;
  }
  void addQueueHere(const std::vector<std::string>& options = {}) const {
    addQueueNamed(server(), queue(), port().uri(), options);
  }

  // Submits a page, as somebody does. Returns the job's number.
  static int submitPage(const PrivatePrintServer& server, const std::string& name,
                        const std::string& title = "A page") {
    const auto file = server.folder() / "home/page";
    std::ofstream(file) << "%!PS a page";
    return jobOf(server.run({"lp", "-U", "somebody", "-d", name, "-t", title, "-o",
                             "document-format=application/vnd.cups-postscript", file}),
                 name);
  }

  // Prints a page and waits until it is out.
  static int print(const PrivatePrintServer& server, const std::string& name,
                   const std::string& title = "A page") {
    const int job = submitPage(server, name, title);
    EXPECT_EQ(endOf(server, name, job), "completed");
    return job;
  }
  int print() const { return print(server(), queue()); }  // NOLINT(modernize-use-nodiscard)

  // Waits for something to be so.
  template <typename Condition>
  static bool isSoWithin(std::chrono::nanoseconds patience, Condition isSo) {
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!isSo()) {
      if (std::chrono::steady_clock::now() > end) return false;
      std::this_thread::sleep_for(20ms);
    }
    return true;
  }
  static bool showsWithin(std::chrono::nanoseconds patience, const PrivatePrintServer& server,
                          const std::string& name, int level) {
    return isSoWithin(patience, [&] {
      return attributesOf(server, name)["marker-levels"] == Values{std::to_string(level)};
    });
  }
  [[nodiscard]] bool showsWithin(std::chrono::nanoseconds patience, int level) const {
    return showsWithin(patience, server(), queue(), level);
  }

  // The number that a job of this print server gets now: all before it were submitted.
  static int nextJob(const PrivatePrintServer& server, const std::string& name) {
    const int job = submit(server, name, "ReportStatus");
    EXPECT_EQ(endOf(server, name, job), "completed");
    return job;
  }

  // The jobs of the queue that are listed.
  [[nodiscard]] std::string jobs(const char* which) const {
    return server().run({"lpstat", "-W", which, "-o", queue()}).output;
  }

  static std::size_t timeLogged(const std::string& line) { return server().log().find(line); }

  // How many subscriptions there are for our notifier.
  static std::ptrdiff_t subscriptions() {
    const auto file = server().folder() / "home/subscriptions.test";
    std::ofstream(file) << R"({
      OPERATION Get-Subscriptions
      GROUP operation-attributes-tag
      ATTR charset attributes-charset utf-8
      ATTR naturalLanguage attributes-natural-language en
      ATTR uri printer-uri ipp://localhost/
      ATTR name requesting-user-name root
    })";
    const std::string answer =
        server().run({"ipptool", "-tv", server().printerUri(""), file}).output;
    std::istringstream lines(answer);
    std::ptrdiff_t count = 0;
    for (std::string line; std::getline(lines, line);) {
      if (line.find("notify-recipient-uri (uri) = moxsupply:") != std::string::npos) ++count;
    }
    return count;
  }

  // The process of the notifier; 0 when there is none.
  static pid_t notifier() {
    const fs::path program = server().folder() / "lib/cups/notifier/moxsupply";
    for (const auto& entry : fs::directory_iterator("/proc")) {
      std::error_code ignored;
      if (fs::read_symlink(entry.path() / "exe", ignored) == program) {
        return std::atoi(entry.path().filename().c_str());
      }
    }
    return 0;
  }
};

TEST_F(AfterJobs, LevelsAreThoseAfterThem) {
  addQueueHere();
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 41}}));
  EXPECT_EQ(attributes()["marker-levels"], Values());
  print();
  EXPECT_TRUE(showsWithin(kLongEnough, 41));
}

// Nobody would find his own jobs between them.
TEST_F(AfterJobs, NoReportStaysInTheList) {
  addQueueHere();
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 41}}));
  const int job = print();
  ASSERT_TRUE(showsWithin(kLongEnough, 41));
  const std::string listed = queue() + '-' + std::to_string(job) + ' ';
  EXPECT_TRUE(isSoWithin(kLongEnough, [&] {
    return jobs("not-completed").empty() && jobs("completed").starts_with(listed) &&
           std::ranges::count(jobs("completed"), '\n') == 1;
  })) << jobs("completed");
}

TEST_F(AfterJobs, ReportsCauseNoOthers) {
  addQueueHere();
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 41}}));
  const int job = print();
  ASSERT_TRUE(showsWithin(kLongEnough, 41));
  std::this_thread::sleep_for(kNotifierPause + kSoon);
  EXPECT_EQ(nextJob(server(), queue()), job + 2);
}

// They are known by what they are, and not by what they are called.
TEST_F(AfterJobs, ReportsOfOthersCauseNoneWhateverTheirTitle) {
  addQueueHere();
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 41}}));
  const int job = submit(server(), queue(), "ReportLevels", {"-t", "A page", "-U", "somebody"});
  ASSERT_TRUE(showsWithin(kLongEnough, 41));
  std::this_thread::sleep_for(kNotifierPause + kSoon);
  EXPECT_EQ(nextJob(server(), queue()), job + 1);
}

TEST_F(AfterJobs, LevelsAreAskedWhateverTheTitleOfThePage) {
  addQueueHere();
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 41}}));
  print(server(), queue(), "ReportLevels");
  EXPECT_TRUE(showsWithin(kLongEnough, 41));
}

TEST_F(AfterJobs, ReportsPause) {
  addQueueHere();
  {
    const SimulatedPrinter printer(port(), laserPrinter({{"Black", 41}}));
    print();
    ASSERT_TRUE(showsWithin(kLongEnough, 41));
  }
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 40}}));
  const auto start = std::chrono::steady_clock::now();
  const int job = print();
  print();
  EXPECT_TRUE(showsWithin(kLongEnough, 40));
  EXPECT_GT(std::chrono::steady_clock::now() - start, kNotifierPause - kSoon);
  EXPECT_EQ(nextJob(server(), queue()), job + 3);  // one report for both
}

TEST_F(AfterJobs, ReportsPauseAfterThoseOfOthers) {
  addQueueHere();
  {
    const SimulatedPrinter printer(port(), laserPrinter({{"Black", 41}}));
    ASSERT_EQ(server().moxsupply({"refresh", queue()}).exitStatus, 0);
  }
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 40}}));
  const auto start = std::chrono::steady_clock::now();
  print();
  EXPECT_TRUE(showsWithin(kLongEnough, 40));
  EXPECT_GT(std::chrono::steady_clock::now() - start, kNotifierPause - kSoon);
}

TEST_F(AfterJobs, ReportsComeAfterTheLastOfThoseThatWait) {
  addQueueHere();
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 41}}));
  ASSERT_EQ(server().run({"cupsdisable", queue()}).exitStatus, 0);
  const int first = submitPage(server(), queue());
  submitPage(server(), queue());
  const int last = submitPage(server(), queue());
  ASSERT_EQ(server().run({"cupsenable", queue()}).exitStatus, 0);
  EXPECT_TRUE(showsWithin(kLongEnough, 41));
  EXPECT_EQ(last, first + 2);
  const std::string report = std::to_string(last + 1);
  const std::size_t end = timeLogged("[Job " + std::to_string(last) + "] Job completed.");
  ASSERT_NE(end, std::string::npos);
  EXPECT_GT(timeLogged("[Job " + report + "] Queued on"), end);
  EXPECT_EQ(nextJob(server(), queue()), last + 2);
}

TEST_F(AfterJobs, QueuesThatAreNotToBeAskedAreNot) {
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 41}}));
  addQueueHere({"--no-after-jobs"});
  addQueue(server(), "unasked", port().uri(), postScriptDriver());
  addQueueNamed(server(), "asked", port().uri());
  const int job = print(server(), queue());
  print(server(), "unasked");
  print(server(), "asked");
  EXPECT_TRUE(showsWithin(kLongEnough, server(), "asked", 41));
  EXPECT_EQ(attributes()["marker-levels"], Values());
  EXPECT_EQ(attributesOf(server(), "unasked")["marker-levels"], Values());
  EXPECT_EQ(nextJob(server(), queue()), job + 4);  // three pages and a report
}

// The print server may be confined to its own folders, and its notifiers with it.
TEST_F(AfterJobs, LevelsAreAskedWhereTheListOfQueuesCannotBeRead) {
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 41}}));
  addQueueHere();
  addQueueNamed(server(), "silent", port().uri(), {"--no-after-jobs"});
  const fs::path folder = server().enabledQueues().parent_path();
  fs::permissions(folder, fs::perms(0700));
  const int job = print(server(), "silent");
  print();
  EXPECT_TRUE(showsWithin(kLongEnough, 41));
  EXPECT_EQ(nextJob(server(), queue()), job + 3);
  fs::permissions(folder, fs::perms(0755));
}

TEST_F(AfterJobs, EachPrintServerHasItsOwn) {
  const PrivatePrintServer other(PrivatePrintServer::Policy::kDebian, kNotifierPause);
  const SimulatedPrinter here(port(), laserPrinter({{"Black", 41}}));
  const SimulatedPrinter there(ReservedPort(), laserPrinter({{"Black", 77}}));
  addQueueHere();
  addQueueNamed(other, queue(), there.uri());
  print(other, queue());
  EXPECT_TRUE(showsWithin(kLongEnough, other, queue(), 77));
  EXPECT_EQ(attributes()["marker-levels"], Values());
  print();
  EXPECT_TRUE(showsWithin(kLongEnough, 41));
}

TEST_F(AfterJobs, LevelsAreAskedAfterARestartAndAfterChanges) {
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 41}}));
  addQueueHere();
  server().restart();
  ASSERT_EQ(
      server().run({"lpadmin", "-p", queue(), "-D", "The office", "-o", "PageSize=A4"}).exitStatus,
      0);
  print();
  EXPECT_TRUE(showsWithin(kLongEnough, 41));
}

TEST_F(AfterJobs, AnotherNotifierTakesThePlaceOfOneThatDied) {
  addQueueHere();
  {
    const SimulatedPrinter printer(port(), laserPrinter({{"Black", 41}}));
    print();
    ASSERT_TRUE(showsWithin(kLongEnough, 41));
  }
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 40}}));
  const pid_t first = notifier();
  ASSERT_GT(first, 0);
  ::kill(first, SIGTERM);
  EXPECT_TRUE(isSoWithin(kLongEnough, [] { return notifier() == 0; }));
  print();
  EXPECT_TRUE(showsWithin(kLongEnough, 40));
  EXPECT_NE(notifier(), first);
}

// It has failed, and people are to see it.
TEST_F(AfterJobs, AReportThatFailedStaysInTheList) {
  addQueueHere();
  std::string wrong = ppdOf(server(), queue());
  wrong.replace(wrong.find("\"Laser\""), 7, "\"Plotter\"");
  addQueue(server(), queue(), port().uri(), wrong);
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 41}}));
  const int job = print();
  const std::string report = queue() + '-' + std::to_string(job + 1) + ' ';
  EXPECT_TRUE(isSoWithin(kLongEnough, [&] {
    return attributesOf(server(), queue())["printer-state"] == Values{"3"} &&
           jobs("not-completed").starts_with(report);
  })) << jobs("not-completed");
}

TEST_F(AfterJobs, OneSubscriptionServesAllQueuesAndGoesWithTheLast) {
  ASSERT_EQ(server().moxsupply({"disable", "--all"}).exitStatus, 0);
  EXPECT_EQ(subscriptions(), 0);
  addQueueNamed(server(), "first", port().uri());
  EXPECT_EQ(subscriptions(), 1);
  addQueueNamed(server(), "second", port().uri());
  addQueueNamed(server(), "third", port().uri(), {"--no-after-jobs"});
  EXPECT_EQ(subscriptions(), 1);
  const Ran again = server().moxsupply({"enable", "first", "--type", "laser"});
  EXPECT_THAT(again.output, HasSubstr("is set up like this already"));
  EXPECT_EQ(subscriptions(), 1);
  EXPECT_EQ(server().moxsupply({"disable", "first"}).exitStatus, 0);
  EXPECT_EQ(subscriptions(), 1);
  EXPECT_EQ(server().moxsupply({"disable", "second"}).exitStatus, 0);
  EXPECT_EQ(subscriptions(), 0);
  const Ran third = server().moxsupply({"enable", "third", "--type", "laser"});
  EXPECT_EQ(third.exitStatus, 0);
  EXPECT_THAT(third.output, HasSubstr("third reports its supplies from now on, after print jobs"));
  EXPECT_THAT(third.output, HasSubstr("sudo systemctl enable --now moxsupply-refresh.timer\n"));
  EXPECT_EQ(subscriptions(), 1);
  EXPECT_EQ(server().moxsupply({"disable", "--all"}).exitStatus, 0);
  EXPECT_EQ(subscriptions(), 0);
}

TEST_F(AfterJobs, DoctorSeesThatNobodyTellsOfThem) {
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 41}}));
  addQueueHere();
  const auto diagnose = [this] { return server().moxsupply({"doctor", queue()}).output; };
  EXPECT_THAT(diagnose(), HasSubstr("Nothing is wrong.\n"));
  // What was enabled is lost, and then a queue is taken back.
  fs::remove(server().enabledQueues());
  addQueue(server(), "other", port().uri(), postScriptDriver());
  ASSERT_EQ(server().moxsupply({"disable", "other"}).exitStatus, 0);
  EXPECT_THAT(diagnose(),
              HasSubstr("  FAULT  the printer is not asked after print jobs: the print server does "
                        "not tell of their ends\n"
                        "         sudo moxsupply enable " +
                        queue() + " --type laser\n1 fault.\n"));
  ASSERT_EQ(server().moxsupply({"enable", queue(), "--type", "laser"}).exitStatus, 0);
  EXPECT_THAT(diagnose(), HasSubstr("Nothing is wrong.\n"));
}

TEST_F(AfterJobs, WhatIsNoEventEndsTheNotifier) {
  const std::string program = server().folder() / "lib/cups/notifier/moxsupply";
  for (const char* input : {":", R"(printf '\0')", "head -c 300000 /dev/zero", "yes",
                            R"(printf '\2\0\0\0\0\0\0\1\7'; sleep 1)"}) {
    const Ran ran = server().run(
        {"sh", "-c", std::string("{ ") + input + "; } | \"$1\" moxsupply:", "sh", program});
    EXPECT_EQ(ran.exitStatus, 0) << input;
    EXPECT_LT(ran.time, kLongEnough) << input;
  }
}

TEST_F(AfterJobs, EnableSaysWhereThereIsNoNotifier) {
  addQueue(server(), queue(), port().uri(), postScriptDriver());
  const fs::path program = server().folder() / "lib/cups/notifier/moxsupply";
  ASSERT_EQ(server().moxsupply({"disable", "--all"}).exitStatus, 0);
  fs::rename(program, program.string() + ".away");
  const Ran ran = server().moxsupply({"enable", queue(), "--type", "laser"});
  EXPECT_EQ(ran.exitStatus, 1);
  EXPECT_THAT(ran.errors, HasSubstr("cannot have the print server tell of the ends of jobs"));
  fs::rename(program.string() + ".away", program);
}

}  // namespace
}  // namespace moxsupply::testing
