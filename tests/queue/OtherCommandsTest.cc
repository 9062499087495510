// Commands that are not ours: `moxsupply enable` leaves them to whoever answered them before.

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>

#include "tests/queue/QueueTest.h"
#include "tests/support/Models.h"
#include "tests/support/SimulatedPrinter.h"
#include "tests/support/TextFile.h"

namespace moxsupply::testing {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

// Tells all that a filter gets from the print server, and then its command file.
constexpr const char* kWitness = R"SH(#!/bin/sh
exec >"$CUPS_CACHEDIR/witness"
echo "arguments:"; printf '<%s>\n' "$@" | sed -E '1s/.*/JOB/;
  s/(job-uuid=|time-at-[a-z]*=)[^ ]*//g; s/[0-9]+-001/FILE/'
echo "environment:"; env | sort
echo "descriptors:"
for fd in 0 1 2 3 4; do readlink /proc/self/fd/$fd | sed 's/[0-9]*//g'; done
ls /proc/self/fd | wc -l
grep -E 'Sig(Blk|Ign|Cgt)|^[UG]id|^Groups' /proc/self/status
[ $(ps -o pgid= -p $$) = $$ ] && echo "leads its group"
umask
nice
[ $# -lt 6 ] || { echo "commands:"; cat "$6"; }
)SH";

class OtherCommands : public QueueTest {
 protected:
  [[nodiscard]] static fs::path witness() { return server().folder() / "cache/witness"; }

  // The queue with a driver that has these lines, and no other way to ask for supplies.
  void addQueueWithLines(const std::string& lines) const {
    addQueue(server(), queue(), port().uri(), driver(lines + "*cupsSNMPSupplies: False\n"));
  }

  static fs::path installFilter(const std::string& name, const std::string& script) {
    fs::path file = server().folder() / "lib/cups/filter" / name;
    write(file, script);
    fs::permissions(file, fs::perms(0755));
    return file;
  }

  // The queue with a driver that has such a command filter.
  void addQueueWith(const std::string& filter) const {
    addQueueWithLines("*cupsFilter: \"application/vnd.cups-command 0 " + filter + "\"\n");
  }
  void enable() const {
    const Ran ran = server().moxsupply({"enable", queue(), "--type", "laser"});
    ASSERT_EQ(ran.exitStatus, 0) << ran.errors;
  }

  [[nodiscard]] std::string endAfter(const std::string& commands) {
    mJob = submit(server(), queue(), commands);
    return endOf(server(), queue(), mJob);
  }

  [[nodiscard]] int job() const { return mJob; }

  [[nodiscard]] static std::string told() { return contentOf(witness()); }

 private:
  int mJob = 0;
};

TEST_F(OtherCommands, AreStillOffered) {
  addQueueWith("commandtops");
  EXPECT_EQ(attributes()["printer-commands"],
            (Values{"AutoConfigure", "Clean", "PrintSelfTestPage"}));
  enable();
  EXPECT_EQ(
      attributes()["printer-commands"],
      (Values{"ReportLevels", "ReportStatus", "AutoConfigure", "Clean", "PrintSelfTestPage"}));
}

// The print server adds a command filter to such a driver by itself, as long as it has none.
TEST_F(OtherCommands, AreStillOfferedOfAPostScriptPrinter) {
  addQueueWithLines("");
  const Values before = attributes()["printer-commands"];
  EXPECT_EQ(before, (Values{"AutoConfigure", "Clean", "PrintSelfTestPage"}));
  enable();
  EXPECT_EQ(
      attributes()["printer-commands"],
      (Values{"ReportLevels", "ReportStatus", "AutoConfigure", "Clean", "PrintSelfTestPage"}));
  ASSERT_EQ(server().moxsupply({"disable", queue()}).exitStatus, 0);
  EXPECT_EQ(attributes()["printer-commands"], before);
}

TEST_F(OtherCommands, AreAnsweredAsBefore) {
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 50}}));
  installFilter("witness", kWitness);
  for (const char* line :
       {"*cupsFilter: \"application/vnd.cups-command 0 witness\"\n",
        "*cupsFilter2: \"application/vnd.cups-command application/x-example 0 witness\"\n"}) {
    addQueueWithLines(line);
    EXPECT_EQ(endAfter("Clean all"), "completed");
    const std::string before = told();
    EXPECT_NE(before.find("leads its group\n"), std::string::npos) << before;
    EXPECT_NE(before.find("commands:\n#CUPS-COMMAND\nClean all\n"), std::string::npos) << before;
    fs::remove(witness());
    enable();
    EXPECT_EQ(endAfter("Clean all"), "completed");
    EXPECT_EQ(told(), before);
  }
}

TEST_F(OtherCommands, PrintTheSamePage) {
  std::string before;
  {
    const SimulatedPrinter printer(port(), laserPrinter({{"Black", 50}}));
    addQueueWithLines("");
    EXPECT_EQ(endAfter("PrintSelfTestPage"), "completed");
    before = printer.paper();
  }
  EXPECT_NE(before.find("%!"), std::string::npos) << before;
  enable();
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 50}}));
  EXPECT_EQ(endAfter("PrintSelfTestPage"), "completed");
  EXPECT_EQ(printer.paper(), before);
}

TEST_F(OtherCommands, AreTakenOutOfAFileThatHasOursToo) {
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 50}}));
  installFilter("witness", kWitness);
  addQueueWith("witness");
  enable();
  EXPECT_EQ(endAfter("Clean all\nReportLevels\nAutoConfigure # now"), "completed");
  EXPECT_NE(told().find("commands:\n#CUPS-COMMAND\nClean all\nAutoConfigure\n"), std::string::npos)
      << told();
  EXPECT_EQ(attributes()["marker-levels"], Values{"50"});
}

TEST_F(OtherCommands, ThatFailDoNotKeepOursFromBeingDone) {
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 50}}));
  installFilter("failing", "#!/bin/sh\nexit 3\n");
  addQueueWith("failing");
  enable();
  EXPECT_EQ(endAfter("Clean all\nReportLevels"), "stopped");
  EXPECT_EQ(attributes()["marker-levels"], Values{"50"});
}

// Whoever may write a program would get the print server's rights by it.
TEST_F(OtherCommands, AreNotAnsweredByAProgramThatOthersMayWrite) {
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 50}}));
  const fs::path program = installFilter("witness", kWitness);
  addQueueWith("witness");
  enable();
  fs::remove(witness());
  fs::permissions(program, fs::perms(0775));
  for (const char* commands : {"Clean all", "Clean all\nReportLevels"}) {
    EXPECT_EQ(endAfter(commands), "stopped");
    EXPECT_EQ(timesLogged(server(), job(),
                          "cannot run " + program.string() +
                              ", which answers the other commands of this queue: others than root "
                              "may write " +
                              program.string()),
              1);
    EXPECT_FALSE(fs::exists(witness()));
  }
  EXPECT_EQ(attributes()["marker-levels"], Values{"50"});
}

TEST_F(OtherCommands, EndWhenTheirJobIsCancelled) {
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 50}}));
  installFilter("slow",
                "#!/bin/sh\ntrap 'echo \"INFO: told to stop\" >&2; exit 0' TERM\n"
                "sleep 20 & wait\n");
  addQueueWith("slow");
  enable();
  for (const char* commands : {"Clean all", "Clean all\nReportLevels"}) {
    const int job = submit(server(), queue(), commands);
    std::this_thread::sleep_for(300ms);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(server().run({"cancel", queue() + '-' + std::to_string(job)}).exitStatus, 0);
    EXPECT_EQ(endOf(server(), queue(), job), "canceled");
    EXPECT_TRUE(isIdleWithin(3s));
    EXPECT_LT(std::chrono::steady_clock::now() - start, 4s);
    EXPECT_EQ(timesLogged(server(), job, "told to stop"), 1);
  }
}

}  // namespace
}  // namespace moxsupply::testing
