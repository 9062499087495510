// On a print server that asks who somebody is, as Debian sets it up.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <string>

#include "tests/queue/QueueTest.h"
#include "tests/support/Models.h"
#include "tests/support/SimulatedPrinter.h"

namespace moxsupply::testing {
namespace {

namespace fs = std::filesystem;

class DebianPolicy : public QueueTest {
 protected:
  static void SetUpTestSuite() { startPrintServer(PrivatePrintServer::Policy::kDebian); }

  // `moxsupply ARGUMENT...` by somebody who is no administrator. Without a terminal, on which a
  // password would be asked for.
  [[nodiscard]] static Ran asNobody(const std::vector<std::string>& arguments) {
    // Nobody may look into the folder of the build.
    const fs::path program = server().folder() / "bin/moxsupply";
    if (!fs::exists(program)) {
      fs::copy(MOXSUPPLY_PROGRAM, program);
      const fs::path others = server().folder() / "libexec/moxsupply";
      fs::create_directories(others);
      fs::copy(fs::path(MOXSUPPLY_PROGRAM).parent_path() / "../libexec/moxsupply/moxsupply-cups",
               others);
    }
    std::vector<std::string> command = {"setsid",        "--wait",        "setpriv",
                                        "--reuid=65534", "--regid=65534", "--clear-groups",
                                        program.string()};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return server().run(command);
  }
};

TEST_F(DebianPolicy, LetsAnAdministratorAloneChangeAQueue) {
  addQueue(server(), queue(), port().uri(), postScriptDriver());
  const Ran refused = asNobody({"enable", queue(), "--type", "laser"});
  EXPECT_EQ(refused.exitStatus, 1);
  EXPECT_EQ(refused.errors.find("moxsupply enable: cannot change the PPD file of \"" + queue() +
                                "\": the print server says: "),
            0U)
      << refused.errors;
  EXPECT_THAT(refused.errors, ::testing::HasSubstr("\nOnly an administrator may do this. Run this "
                                                   "command again with sudo.\n"));
  EXPECT_EQ(ppdOf(server(), queue()), postScriptDriver());

  EXPECT_EQ(server().moxsupply({"enable", queue(), "--type", "laser"}).exitStatus, 0);
  EXPECT_EQ(asNobody({"disable", queue()}).exitStatus, 1);
  EXPECT_EQ(server().moxsupply({"disable", queue()}).exitStatus, 0);
}

TEST_F(DebianPolicy, LetsEverybodyAskForLevels) {
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 50}}));
  addEnabledQueue("laser");
  const Ran refreshed = asNobody({"refresh", queue()});
  EXPECT_EQ(refreshed.exitStatus, 0) << refreshed.errors;
  const Ran diagnosed = asNobody({"doctor", queue()});
  EXPECT_EQ(diagnosed.exitStatus, 0) << diagnosed.output << diagnosed.errors;
}

TEST_F(DebianPolicy, LetsAdministratorsAloneTakeTheReportsOfOthersOutOfTheList) {
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 50}}));
  addEnabledQueue("laser");
  const int job =
      submit(server(), queue(), "ReportLevels", {"-U", "somebody", "-t", "ReportLevels"});
  EXPECT_EQ(endOf(server(), queue(), job), "completed");
  const auto jobs = [&] {
    return server().run({"lpstat", "-W", "completed", "-o", queue()}).output;
  };
  EXPECT_EQ(asNobody({"refresh", "--all"}).exitStatus, 0);
  EXPECT_EQ(std::ranges::count(jobs(), '\n'), 1) << jobs();
  EXPECT_EQ(server().moxsupply({"refresh", "--all"}).exitStatus, 0);
  EXPECT_EQ(jobs(), "");
}

// The command filter ends the job in its owner's name, whoever that is.
TEST_F(DebianPolicy, LetsTheFilterEndAJobThatThePrinterHolds) {
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 50}}), {.neverClose = true});
  addEnabledQueue("laser");
  const int job = submit(server(), queue(), "ReportLevels", {"-U", "somebody"});
  EXPECT_EQ(endOf(server(), queue(), job), "canceled");
  EXPECT_TRUE(isIdleWithin(std::chrono::seconds(2)));
  EXPECT_EQ(attributes()["marker-levels"], Values{"50"});
  EXPECT_EQ(attributes()["printer-state-reasons"], Values{"none"});
}

}  // namespace
}  // namespace moxsupply::testing
