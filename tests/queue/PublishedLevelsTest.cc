// What comes back through IPP after a report: people's desktops and monitoring read these
// attributes.

#include <gtest/gtest.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <thread>
#include <tuple>

#include "tests/queue/QueueTest.h"
#include "tests/support/Models.h"
#include "tests/support/SimulatedPrinter.h"
#include "tests/support/TextFile.h"

namespace moxsupply::testing {
namespace {

struct Published {
  const char* name;
  const char* type;
  const char* model;
  Values names;
  Values types;
  Values colors;
  Values levels;
  Values reasons;
  std::string message;
};

class PublishedLevels : public QueueTest, public ::testing::WithParamInterface<Published> {};

INSTANTIATE_TEST_SUITE_P(
    Models, PublishedLevels,
    ::testing::Values(
        Published{
            .name = "InkjetWithFourCartridges",
            .type = "inkjet",
            .model = "inkjet-lantern-four-cartridges",
            .names = {"Cyan Cartridge", "Black Cartridge", "Magenta Cartridge", "Yellow Cartridge"},
            .types = {"ink", "ink", "ink", "ink"},
            .colors = {"#00FFFF", "#000000", "#FF00FF", "#FFFF00"},
            .levels = {"61", "80", "47", "92"},
            .reasons = {"none"},
            .message = ""},
        Published{.name = "InkjetWithCartridgeOfThreeColours",
                  .type = "inkjet",
                  .model = "inkjet-lantern-three-colour",
                  .names = {"Color Cartridge", "Black Cartridge"},
                  .types = {"ink", "ink"},
                  .colors = {"#00FFFF#FF00FF#FFFF00", "#000000"},
                  .levels = {"37", "88"},  // the least of the three
                  .reasons = {"none"},
                  .message = ""},
        Published{
            .name = "InkjetWithCartridgeFaults",
            .type = "inkjet",
            .model = "inkjet-lantern-cartridge-faults",
            .names = {"Cyan Cartridge", "Black Cartridge", "Magenta Cartridge", "Yellow Cartridge"},
            .types = {"ink", "ink", "ink", "ink"},
            .colors = {"#00FFFF", "#000000", "#FF00FF", "#FFFF00"},
            .levels = {"-1", "25", "50", "75"},
            .reasons = {"marker-supply-missing-warning", "subunit-recoverable-failure-warning"},
            .message = "Cyan Cartridge is missing; Black Cartridge is not valid in this "
                       "printer; Magenta Cartridge is the wrong cartridge"},
        Published{
            .name = "InkjetThatIsNearlyEmpty",
            .type = "inkjet",
            .model = "inkjet-lantern-nearly-empty",
            .names = {"Cyan Cartridge", "Black Cartridge", "Magenta Cartridge", "Yellow Cartridge"},
            .types = {"ink", "ink", "ink", "ink"},
            .colors = {"#00FFFF", "#000000", "#FF00FF", "#FFFF00"},
            .levels = {"2", "0", "0", "5"},
            .reasons = {"marker-supply-empty-warning", "marker-supply-low-report"},
            .message = "Cyan Cartridge is low (2 %); Black Cartridge is empty; Magenta "
                       "Cartridge is empty; Yellow Cartridge is low (5 %)"},
        Published{.name = "MonoLaserWithOneSupply",
                  .type = "laser",
                  .model = "laser-mono-toner",
                  .names = {"Black Toner Cartridge"},
                  .types = {"toner"},
                  .colors = {"#000000"},
                  .levels = {"73"},
                  .reasons = {"none"},
                  .message = ""},
        Published{.name = "ColourLaserWithAllSupplies",
                  .type = "laser",
                  .model = "laser-colour-full",
                  .names = {"Cyan Toner Cartridge", "Magenta Toner Cartridge",
                            "Yellow Toner Cartridge", "Black Toner Cartridge", "Cyan Imaging Unit",
                            "Magenta Imaging Unit", "Yellow Imaging Unit", "Black Imaging Unit",
                            "Fuser", "Waste Toner Container"},
                  .types = {"toner", "toner", "toner", "toner", "other", "other", "other", "other",
                            "fuser", "other"},
                  .colors = {"#00FFFF", "#FF00FF", "#FFFF00", "#000000", "#00FFFF", "#FF00FF",
                             "#FFFF00", "#000000", "none", "none"},
                  .levels = {"62", "48", "91", "15", "88", "87", "90", "64", "65", "40"},
                  .reasons = {"none"},
                  .message = ""},
        Published{.name = "ColourLaserWithLowAndEmptyToner",
                  .type = "laser",
                  .model = "laser-colour-dots-in-record",
                  .names = {"Cyan Toner Cartridge", "Magenta Toner Cartridge",
                            "Yellow Toner Cartridge", "Black Toner Cartridge"},
                  .types = {"toner", "toner", "toner", "toner"},
                  .colors = {"#00FFFF", "#FF00FF", "#FFFF00", "#000000"},
                  .levels = {"90", "30", "1", "50"},
                  .reasons = {"toner-low-report"},
                  .message = "Yellow Toner Cartridge is low (1 %)"},
        Published{.name = "ColourLaserWithNamesInManyLanguages",
                  .type = "laser",
                  .model = "laser-colour-other-names",
                  .names = {"Cartouche de toner jaune / haute", "Schwarze Tonerkassette für große",
                            "青色トナー (Cyan)", "Magenta and Yellow Twin Pack",
                            "Jednotka zapékače", "Supply 6"},
                  .types = {"toner", "toner", "toner", "toner", "fuser", "other"},
                  .colors = {"#000000", "#000000", "#00FFFF", "#FFFF00", "none", "none"},
                  .levels = {"31", "62", "93", "24", "55", "86"},
                  .reasons = {"none"},
                  .message = ""}),
    [](const auto& published) { return published.param.name; });

TEST_P(PublishedLevels, ComeBackThroughIpp) {
  const Published& expected = GetParam();
  const SimulatedPrinter printer(port(), shippedModel(expected.model));
  addEnabledQueue(expected.type);
  const Ran refreshed = server().moxsupply({"refresh", queue()});
  EXPECT_EQ(refreshed.exitStatus, 0) << refreshed.errors;

  const Attributes published = attributes();
  EXPECT_EQ(published["marker-names"], expected.names);
  EXPECT_EQ(published["marker-types"], expected.types);
  EXPECT_EQ(published["marker-colors"], expected.colors);
  EXPECT_EQ(published["marker-levels"], expected.levels);
  EXPECT_EQ(published["marker-low-levels"], Values(expected.names.size(), "10"));
  EXPECT_EQ(published["marker-high-levels"], Values(expected.names.size(), "100"));
  EXPECT_EQ(published["marker-message"], Values{expected.message});
  EXPECT_EQ(sorted(published["printer-state-reasons"]), expected.reasons);
  EXPECT_EQ(published["printer-supply-description"], expected.names);

  // What `lpstat` and desktops make of them.
  EXPECT_EQ(alertsOf(server(), queue()),
            expected.reasons == Values{"none"} ? Values{} : expected.reasons);
  EXPECT_EQ(optionOf(server(), queue(), "marker-names"), expected.names);
  EXPECT_EQ(optionOf(server(), queue(), "marker-types"), expected.types);
  EXPECT_EQ(optionOf(server(), queue(), "marker-colors"), expected.colors);
  EXPECT_EQ(optionOf(server(), queue(), "marker-levels"), expected.levels);
}

class PublishedLists : public QueueTest {};

// These cartridges, of which a printer tells the level or not at all.
simulator::Model laserPrinterThatMayNotTell(const std::vector<Toner>& toners) {
  simulator::Model model = laserPrinter(toners);
  auto& supplies = std::get<simulator::LaserModel>(model.printer).supplies;
  for (std::size_t i = 0; i < toners.size(); ++i) {
    if (!toners[i].level) supplies[i].maxLevel.reset();
  }
  return model;
}

TEST_F(PublishedLists, HaveLevelsOnlyWherePercentageIsKnown) {
  simulator::Model model = laserPrinter(
      {{"More than full", 130}, {"Not measured", std::nullopt}, {"Of nothing", 50}, {"Empty", 0}});
  auto& supplies = std::get<simulator::LaserModel>(model.printer).supplies;
  supplies[1].maxLevel.reset();
  supplies[2].maxLevel->value = 0;
  const SimulatedPrinter printer(port(), std::move(model));
  addEnabledQueue("laser");
  report();
  EXPECT_EQ(attributes()["marker-levels"], (Values{"100", "-2", "-2", "0"}));
  EXPECT_EQ(attributes()["printer-state-reasons"], Values{"toner-empty-warning"});
}

TEST_F(PublishedLists, OfAnInkjetPrinterHoldNoLevelAbove100) {
  const SimulatedPrinter printer(port(), inkjetPrinter("B0", 101));
  addEnabledQueue("inkjet");
  report();
  EXPECT_EQ(attributes()["marker-levels"], (Values{"-2", "80", "47", "92"}));
}

// Desktops draw a level that is not known as an empty one.
TEST_F(PublishedLists, SayWhichLevelsAreNotKnown) {
  const SimulatedPrinter printer(
      port(), laserPrinterThatMayNotTell({{"Cyan", 50}, {"Fuser", std::nullopt}}));
  addEnabledQueue("laser");
  report();
  EXPECT_EQ(attributes()["marker-levels"], (Values{"50", "-2"}));
  EXPECT_EQ(attributes()["marker-message"],
            Values{"Level unknown even where drawn as empty (see: man commandtomox): Fuser"});
}

TEST_F(PublishedLists, AreNoneOfAPrinterThatTellsNoLevels) {
  addEnabledQueue("laser");
  const std::string message = "The printer tells no levels (see: man commandtomox)";
  {
    const SimulatedPrinter printer(port(), laserPrinterThatMayNotTell({{"Cyan", std::nullopt}}));
    report();
    EXPECT_EQ(attributes()["marker-names"], Values{});
    EXPECT_EQ(attributes()["marker-levels"], Values{});
    EXPECT_EQ(attributes()["marker-message"], Values{message});
    const Ran ran = server().moxsupply({"doctor", queue()});
    EXPECT_NE(ran.output.find("the printer answers, but tells no levels"), std::string::npos)
        << ran.output;
  }
  // No report has told levels, so none are old.
  EXPECT_EQ(server().moxsupply({"refresh", queue()}).exitStatus, 1);
  EXPECT_EQ(attributes()["marker-message"], Values{"The printer did not answer."});
  // Levels that were published cannot be taken back.
  for (const std::optional<std::uint32_t> level :
       {std::optional(50U), std::optional<std::uint32_t>()}) {
    const SimulatedPrinter printer(port(), laserPrinterThatMayNotTell({{"Cyan", level}}));
    report();
    EXPECT_EQ(attributes()["marker-levels"], Values{level ? "50" : "-2"});
    EXPECT_EQ(attributes()["marker-message"], Values{level ? "" : message});
  }
}

// Where there are no levels, the time is that of the last attempt.
TEST_F(PublishedLists, HaveATimeAlsoWhereThereAreNone) {
  addEnabledQueue("laser");
  Values times;
  for (int i = 0; i < 2; ++i) {
    submit(server(), queue(), "ReportLevels", {"-o", "moxTimeout=0"});
    EXPECT_TRUE(isIdleWithin(std::chrono::seconds(10)));
    EXPECT_EQ(attributes()["marker-message"], Values{"The printer did not answer."});
    times.push_back(attributes()["marker-change-time"].at(0));
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
  }
  EXPECT_GT(std::stol(times[1]), std::stol(times[0]));
}

// A printer that does not answer any more makes them no newer.
TEST_F(PublishedLists, AreAsOldAsTheirReport) {
  addEnabledQueue("laser");
  const auto age = [this] {
    const Ran ran = server().moxsupply({"queues", "--format", "json"});
    for (const auto& entry : nlohmann::json::parse(ran.output)) {
      if (entry["queue"] == queue()) return entry["age"].get<int>();
    }
    return -1;
  };
  {
    const SimulatedPrinter printer(port(), laserPrinter({{"Black", 50}}));
    report();
    EXPECT_LE(age(), 30);
  }
  // As if the report had been two hours ago.
  const auto memory = server().folder() / "cache" / ("moxsupply-" + queue() + ".markers");
  std::string remembered = contentOf(memory);
  const std::size_t begin = remembered.find('\n') + 1;
  const std::size_t size = remembered.find('\n', begin) - begin;
  const int reported = std::stoi(remembered.substr(begin, size));
  write(memory, remembered.replace(begin, size, std::to_string(reported - 7200)));
  EXPECT_EQ(server().moxsupply({"refresh", queue()}).exitStatus, 1);
  EXPECT_GE(age(), 7200);
  EXPECT_LE(age(), 7400);
}

// There is no way to publish an empty list.
TEST_F(PublishedLists, StayWhenThePrinterReportsNoSupplies) {
  addEnabledQueue("inkjet");
  {
    const SimulatedPrinter printer(port(), inkjetPrinter("B0", 5));
    report();
  }
  const simulator::InkjetItem lanternHead = {.id = 0x0019, .value = {2}};
  const simulator::InkjetItem unknownCartridge = {.id = 0x0110, .value = {1}};
  const SimulatedPrinter printer(
      port(), {.printer = simulator::InkjetModel{.items = {lanternHead, unknownCartridge}}});
  const int job = report();
  EXPECT_EQ(timesLogged(server(), job, "The printer reports no supplies."), 1);
  EXPECT_EQ(attributes()["marker-levels"], (Values{"5", "80", "47", "92"}));
  EXPECT_EQ(attributes()["marker-message"], Values{""});
  EXPECT_EQ(attributes()["printer-state-reasons"], Values{"none"});
}

// Every publication makes the print server raise an event, and keep one more copy of the
// descriptions.
TEST_F(PublishedLists, AreSentOnceWhileTheyHold) {
  const SimulatedPrinter printer(port(), shippedModel("laser-colour-full"));
  addEnabledQueue("laser");
  // Six lists and the message, which alone is sent again.
  EXPECT_EQ(timesLogged(server(), report(), "ATTR: marker-"), 7);
  EXPECT_EQ(timesLogged(server(), report(), "ATTR: marker-"), 1);
  EXPECT_EQ(timesLogged(server(), report(), "ATTR: marker-"), 1);
  EXPECT_EQ(attributes()["printer-supply-description"].size(), 10U);
}

// The print server keeps one more copy of the descriptions for each list of names.
TEST_F(PublishedLists, AreTheLevelsAloneWhereTheyAloneChange) {
  addEnabledQueue("laser");
  for (const auto& [level, namesSent, levelsSent] :
       {std::tuple(50U, 1, 1), {50U, 0, 0}, {49U, 0, 1}, {8U, 0, 1}}) {
    const SimulatedPrinter printer(port(), laserPrinter({{"Cyan", level}, {"Black", 90}}));
    const int job = report();
    EXPECT_EQ(timesLogged(server(), job, "ATTR: marker-names"), namesSent);
    EXPECT_EQ(timesLogged(server(), job, "ATTR: marker-levels"), levelsSent);
    EXPECT_EQ(attributes()["marker-levels"], (Values{std::to_string(level), "90"}));
    EXPECT_EQ(attributes()["marker-names"], (Values{"Cyan", "Black"}));
    EXPECT_EQ(attributes()["printer-supply-description"].size(), 2U);
  }
}

// What shows how old the levels are.
TEST_F(PublishedLists, AreAsNewAsTheLastReport) {
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 50}}));
  addEnabledQueue("laser");
  report();
  const Values before = attributes()["marker-change-time"];
  std::this_thread::sleep_for(std::chrono::milliseconds(1100));
  report();
  EXPECT_GT(std::stol(attributes()["marker-change-time"].at(0)), std::stol(before.at(0)));
}

TEST_F(PublishedLists, AreShorterWhenASupplyIsGone) {
  addEnabledQueue("laser");
  {
    const SimulatedPrinter printer(port(), laserPrinter({{"One"}, {"Two"}, {"Three"}}));
    report();
  }
  const SimulatedPrinter printer(port(), laserPrinter({{"Two", 40}}));
  report();
  for (const char* list : {"marker-names", "marker-types", "marker-colors", "marker-levels",
                           "marker-low-levels", "marker-high-levels"}) {
    EXPECT_EQ(attributes()[list].size(), 1U) << list;
  }
}

// A print server that was started again has the lists from its file, but not all that it makes of
// them.
TEST_F(PublishedLists, AreSentAnewToARestartedPrintServer) {
  const SimulatedPrinter printer(port(), laserPrinter({{"Black", 8}}));
  addEnabledQueue("laser");
  report();
  server().restart();
  EXPECT_EQ(attributes()["marker-levels"], Values{"8"});
  EXPECT_EQ(attributes()["printer-state-reasons"], Values{"toner-low-report"});
  EXPECT_EQ(attributes()["printer-supply-description"], Values{});
  report();
  EXPECT_EQ(attributes()["printer-supply-description"], Values{"Black"});
}

TEST_F(PublishedLists, ComeWithTheCommandsOfTheQueue) {
  constexpr int kTakesCommands = 0x800000;
  addQueue(server(), queue(), port().uri(), postScriptDriver());
  EXPECT_EQ(attributes()["printer-commands"],
            (Values{"AutoConfigure", "Clean", "PrintSelfTestPage"}));
  ASSERT_EQ(server().moxsupply({"enable", queue(), "--type", "laser"}).exitStatus, 0);
  EXPECT_EQ(
      attributes()["printer-commands"],
      (Values{"ReportLevels", "ReportStatus", "AutoConfigure", "Clean", "PrintSelfTestPage"}));
  EXPECT_NE(std::stoi(attributes()["printer-type"].at(0)) & kTakesCommands, 0);
}

class ReplacedCartridge : public QueueTest {
 protected:
  // Puts another printer in the place of the last, and has it report.
  void replaceBy(simulator::Model model) {
    mPrinter.reset();
    mPrinter.emplace(port(), std::move(model));
    report();
  }

 private:
  std::optional<SimulatedPrinter> mPrinter;
};

TEST_F(ReplacedCartridge, OfALaserPrinterTakesItsReasonAway) {
  addEnabledQueue("laser");
  const auto reasonsAt = [&](std::uint32_t level) {
    replaceBy(laserPrinter({{"Cyan Toner", level}, {"Black Toner", 70}}));
    return attributes()["printer-state-reasons"];
  };
  EXPECT_EQ(reasonsAt(11), Values{"none"});
  EXPECT_EQ(reasonsAt(10), Values{"toner-low-report"});
  EXPECT_EQ(attributes()["marker-message"], Values{"Cyan Toner is low (10 %)"});
  EXPECT_EQ(reasonsAt(0), Values{"toner-empty-warning"});
  EXPECT_EQ(attributes()["marker-message"], Values{"Cyan Toner is empty"});
  EXPECT_EQ(reasonsAt(100), Values{"none"});
  EXPECT_EQ(attributes()["marker-message"], Values{""});
}

TEST_F(ReplacedCartridge, OfAnInkjetPrinterTakesItsReasonAway) {
  addEnabledQueue("inkjet");
  const auto reasonsWith = [&](std::string_view code, int level) {
    replaceBy(inkjetPrinter(code, level));
    return attributes()["printer-state-reasons"];
  };
  EXPECT_EQ(reasonsWith("B0", 7), Values{"marker-supply-low-report"});
  EXPECT_EQ(reasonsWith("B0", 0), Values{"marker-supply-empty-warning"});
  EXPECT_EQ(reasonsWith("missing", 0), Values{"marker-supply-missing-warning"});
  EXPECT_EQ(attributes()["marker-levels"].at(0), "-1");
  EXPECT_EQ(reasonsWith("incorrect", 90), Values{"subunit-recoverable-failure-warning"});
  EXPECT_EQ(reasonsWith("B0", 90), Values{"none"});
  EXPECT_EQ(attributes()["marker-levels"].at(0), "90");
  EXPECT_EQ(attributes()["marker-message"], Values{""});
}

}  // namespace
}  // namespace moxsupply::testing
