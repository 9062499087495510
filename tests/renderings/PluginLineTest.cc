#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <utility>

#include "renderings/PluginLine.h"
#include "tests/support/MadeSupply.h"

namespace moxsupply::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

Supply toner(const char* name, std::optional<int> level, const char* status = "Correct") {
  return madeSupply({.name = name, .status = status, .level = level});
}

Supply container(const char* name, std::optional<int> level) {
  return madeSupply({.name = name, .kind = "other", .level = level});
}

PluginResult resultOf(std::vector<Supply> list, const PluginThresholds& thresholds = {}) {
  Supplies supplies;
  supplies.list = std::move(list);
  return pluginResult(supplies, thresholds);
}

PluginState stateOf(const Supply& supply) { return resultOf({supply}).state; }

TEST(PluginLine, TellsStateLevelsAndPerformanceData) {
  const PluginResult result = resultOf({toner("Black", 80), toner("Cyan", 62)});
  EXPECT_EQ(result.state, PluginState::kOk);
  EXPECT_EQ(result.line,
            "NPA OK - Black 80 %, Cyan 62 % | 'Black'=80%;20:;5:;0;100 'Cyan'=62%;20:;5:;0;100\n");
}

TEST(PluginLine, TellsTheWorstFirst) {
  const PluginResult result = resultOf(
      {toner("Black", 80), toner("Cyan", 19), toner("Magenta", std::nullopt), toner("Yellow", 4)});
  EXPECT_EQ(result.state, PluginState::kCritical);
  EXPECT_EQ(result.line,
            "NPA CRITICAL - Yellow 4 % (below 5 %), Cyan 19 % (below 20 %), Magenta level not "
            "known, Black 80 % | 'Black'=80%;20:;5:;0;100 'Cyan'=19%;20:;5:;0;100 "
            "'Magenta'=U;20:;5:;0;100 'Yellow'=4%;20:;5:;0;100\n");
}

// As the ranges of the performance data have it: 20 lies in "20:".
TEST(ThresholdsOfAPlugin, ArePassedByWhatIsBelow) {
  EXPECT_EQ(stateOf(toner("Black", 20)), PluginState::kOk);
  EXPECT_EQ(stateOf(toner("Black", 19)), PluginState::kWarning);
  EXPECT_EQ(stateOf(toner("Black", 5)), PluginState::kWarning);
  EXPECT_EQ(stateOf(toner("Black", 4)), PluginState::kCritical);
}

TEST(ThresholdsOfAPlugin, OfZeroLeaveOnlyWhatIsEmpty) {
  const PluginThresholds none = {.warning = 0, .critical = 0};
  EXPECT_EQ(resultOf({toner("Black", 1)}, none).state, PluginState::kOk);
  EXPECT_EQ(resultOf({toner("Black", 0)}, none).state, PluginState::kCritical);
}

TEST(APlugin, FindsCartridgesCriticalThatDoNotPrint) {
  EXPECT_EQ(stateOf(toner("Black", 50, "Empty")), PluginState::kCritical);
  EXPECT_EQ(stateOf(toner("Black", 50, "Invalid")), PluginState::kCritical);
  EXPECT_EQ(stateOf(toner("Black", 50, "Incorrect")), PluginState::kCritical);
  EXPECT_EQ(stateOf(toner("Black", std::nullopt, "Missing")), PluginState::kCritical);
  EXPECT_THAT(resultOf({toner("Black", std::nullopt, "Missing")}).line,
              HasSubstr("NPA CRITICAL - Black missing | 'Black'=U;"));
  EXPECT_THAT(resultOf({toner("Black", 50, "Incorrect")}).line,
              HasSubstr("Black 50 % (wrong cartridge)"));
  EXPECT_THAT(resultOf({toner("Black", 50, "Invalid")}).line,
              HasSubstr("Black 50 % (not valid here)"));
}

TEST(APlugin, DoesNotTakeAnUnknownLevelForNone) {
  const PluginResult one = resultOf({toner("Black", 80), toner("Cyan", std::nullopt)});
  EXPECT_EQ(one.state, PluginState::kOk);
  EXPECT_THAT(one.line, HasSubstr("Cyan level not known"));
  EXPECT_THAT(one.line, HasSubstr("'Cyan'=U;"));
  EXPECT_THAT(one.line, Not(HasSubstr("Cyan 0")));
}

TEST(APlugin, KnowsNothingWhenNoCartridgeHasALevel) {
  const PluginResult result =
      resultOf({toner("Black", std::nullopt), container("Waste Toner Container", 40)});
  EXPECT_EQ(result.state, PluginState::kUnknown);
  EXPECT_EQ(result.line,
            "NPA UNKNOWN - the level of no cartridge is known: Black level not known, Waste Toner "
            "Container 40 % | 'Black'=U;20:;5:;0;100 'Waste Toner Container'=40%;;;0;100\n");
}

TEST(APlugin, KnowsNothingOfAPrinterWithoutSupplies) {
  const PluginResult result = resultOf({});
  EXPECT_EQ(result.state, PluginState::kUnknown);
  EXPECT_EQ(result.line, "NPA UNKNOWN - the printer names no supplies\n");
}

// A missing cartridge is known to be missing, though no level is.
TEST(APlugin, RanksTroubleAboveWhatItDoesNotKnow) {
  EXPECT_EQ(resultOf({toner("Black", std::nullopt), toner("Cyan", std::nullopt, "Missing")}).state,
            PluginState::kCritical);
}

TEST(APlugin, JudgesNoContainersUnlessAsked) {
  const std::vector<Supply> list = {toner("Black", 80), container("Waste", 0)};
  EXPECT_EQ(resultOf(list).state, PluginState::kOk);
  EXPECT_THAT(resultOf(list).line, HasSubstr("'Waste'=0%;;;0;100"));
  EXPECT_EQ(resultOf(list, {.judgesFusersToo = true}).state, PluginState::kCritical);
  EXPECT_EQ(resultOf({container("Fuser", 12)}, {.judgesFusersToo = true}).state,
            PluginState::kWarning);
}

TEST(NamesInAPluginLine, EndNeitherTheTextNorTheLine) {
  const PluginResult result = resultOf({toner("Black | 'x'=0%\nNPA OK\x1B[m $HOME `id` <b>", 80)});
  EXPECT_EQ(result.line,
            "NPA OK - Black _ _x__0% NPA OK [m _HOME _id_ _b_ 80 % | "
            "'Black _ _x__0% NPA OK [m _HOME _id_ _b_'=80%;20:;5:;0;100\n");
}

// Monitoring systems put the line into the arguments of a shell, and into pages.
TEST(NamesInAPluginLine, HaveNothingInThemThatMeansSomethingToShells) {
  const PluginResult result = resultOf({toner("a|b<c>d`e$f\\g\"h'i&j;k~l", 80)});
  EXPECT_EQ(result.line,
            "NPA OK - a_b_c_d_e_f_g_h_i_j_k_l 80 % | "
            "'a_b_c_d_e_f_g_h_i_j_k_l'=80%;20:;5:;0;100\n");
}

TEST(NamesInAPluginLine, AreDistinct) {
  const PluginResult result =
      resultOf({toner("Black", 80), toner("Black 2", 70), toner("Black", 60), toner("Black", 50),
                toner("B=", 40), toner("B_", 30)});
  EXPECT_THAT(result.line, HasSubstr("| 'Black'=80%;20:;5:;0;100 'Black 2'=70%;20:;5:;0;100 "
                                     "'Black 3'=60%;20:;5:;0;100 'Black 4'=50%;20:;5:;0;100 "
                                     "'B_'=40%;20:;5:;0;100 'B_ 2'=30%;20:;5:;0;100\n"));
}

TEST(NamesInAPluginLine, AreCutToAReadableLength) {
  EXPECT_THAT(resultOf({toner(std::string(1000, 'x').c_str(), 80)}).line,
              HasSubstr(" " + std::string(64, 'x') + " 80 %"));
}

TEST(APluginThatKnowsNothing, SaysWhyOnOneLine) {
  EXPECT_EQ(pluginUnknown("no | answer\nfrom it").line, "NPA UNKNOWN - no _ answer from it\n");
  EXPECT_EQ(pluginUnknown("").state, PluginState::kUnknown);
}

}  // namespace
}  // namespace moxsupply::testing
