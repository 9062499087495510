// `moxsupply enable --low`: what the print server, desktops and our own commands make of it.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "tests/queue/QueueTest.h"
#include "tests/support/Models.h"
#include "tests/support/SimulatedPrinter.h"
#include "tests/support/TextFile.h"

namespace moxsupply::testing {
namespace {

using Json = nlohmann::json;

class LowLevel : public QueueTest {
 protected:
  [[nodiscard]] Ran enable(const std::string& low) const {
    return server().moxsupply({"enable", queue(), "--type", "laser", "--low", low});
  }

  void reportWith(std::uint32_t level) const {
    const SimulatedPrinter printer(port(), laserPrinter({{"Cyan Toner", level}, {"Fuser", 90}}));
    report();
  }

  [[nodiscard]] std::string attention() const {
    const Ran ran = server().moxsupply({"queues", "--format", "json"});
    for (const Json& entry : Json::parse(ran.output)) {
      if (entry["queue"] == queue()) return entry["supplies"][0]["attention"];
    }
    return "no such queue";
  }
};

TEST_F(LowLevel, IsPublishedAndJudgedWith) {
  addQueue(server(), queue(), port().uri(), postScriptDriver());
  ASSERT_EQ(enable("25").exitStatus, 0);
  reportWith(26);
  EXPECT_EQ(attributes()["marker-low-levels"], (Values{"25", "25"}));
  EXPECT_EQ(attributes()["printer-state-reasons"], Values{"none"});
  EXPECT_EQ(attributes()["marker-message"], Values{""});
  EXPECT_EQ(attention(), "none");

  reportWith(25);
  EXPECT_EQ(attributes()["printer-state-reasons"], Values{"toner-low-report"});
  EXPECT_EQ(attributes()["marker-message"], Values{"Cyan Toner is low (25 %)"});
  EXPECT_EQ(attention(), "low");
}

TEST_F(LowLevel, IsWhatOurOwnCommandsGoBy) {
  addQueue(server(), queue(), port().uri(), postScriptDriver());
  ASSERT_EQ(enable("25").exitStatus, 0);
  const SimulatedPrinter printer(port(), laserPrinter({{"Cyan Toner", 25}}));
  const Ran refreshed = server().moxsupply({"refresh", queue()});
  EXPECT_NE(refreshed.output.find("25 %  low\n"), std::string::npos) << refreshed.output;
  const Ran examined = server().moxsupply({"doctor", queue()});
  EXPECT_EQ(examined.exitStatus, 0) << examined.output;
  EXPECT_NE(examined.output.find("the printer reports 1 supply: Cyan Toner low (25 %)\n"),
            std::string::npos)
      << examined.output;
  const Ran queues = server().moxsupply({"queues"});
  EXPECT_NE(queues.output.find("Cyan Toner low (25 %)\n"), std::string::npos) << queues.output;
}

TEST_F(LowLevel, IsRememberedUntilTheQueueIsSetUpWithoutIt) {
  addQueue(server(), queue(), port().uri(), postScriptDriver());
  ASSERT_EQ(enable("99").exitStatus, 0);
  EXPECT_EQ(Json::parse(contentOf(server().enabledQueues()))[queue()]["low"], 99);
  EXPECT_NE(ppdOf(server(), queue()).find("*moxLowLevel: \"99\"\n"), std::string::npos);
  // All queues are set up as they are.
  ASSERT_EQ(server().moxsupply({"enable", "--all", "--low", "5"}).exitStatus, 0);
  EXPECT_EQ(Json::parse(contentOf(server().enabledQueues()))[queue()]["low"], 99);
  ASSERT_EQ(server().moxsupply({"enable", queue(), "--type", "laser"}).exitStatus, 0);
  EXPECT_EQ(Json::parse(contentOf(server().enabledQueues()))[queue()]["low"], 10);
  EXPECT_EQ(server().moxsupply({"disable", queue()}).exitStatus, 0);
  EXPECT_EQ(ppdOf(server(), queue()), postScriptDriver());
}

// A driver update takes it away; the command that mends this names it again.
TEST_F(LowLevel, IsNamedByWhatSetsTheQueueUpAgain) {
  addQueue(server(), queue(), port().uri(), postScriptDriver());
  ASSERT_EQ(enable("25").exitStatus, 0);
  addQueue(server(), queue(), port().uri(), postScriptDriver());
  const Ran ran = server().moxsupply({"doctor", queue()});
  EXPECT_NE(ran.output.find("sudo moxsupply enable " + queue() + " --type laser --low 25\n"),
            std::string::npos)
      << ran.output;
}

TEST_F(LowLevel, IsBetweenEmptyAndFull) {
  addQueue(server(), queue(), port().uri(), postScriptDriver());
  for (const char* low : {"0", "100", "-1", "ten", "10%", ""}) {
    EXPECT_EQ(enable(low).exitStatus, 2) << low;
  }
  EXPECT_EQ(ppdOf(server(), queue()), postScriptDriver());
}

}  // namespace
}  // namespace moxsupply::testing
