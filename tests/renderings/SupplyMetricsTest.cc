#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <sstream>

#include "renderings/SupplyMetrics.h"
#include "tests/support/MadeSupply.h"

namespace moxsupply::testing {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;

using std::chrono::milliseconds;

constexpr LastProbe kSuccess = {Outcome::kSuccess, milliseconds(250)};

Supply supply(std::optional<int> level) {
  return madeSupply({.name = "Cyan Toner", .color = "Cyan", .level = level});
}

AgedSupplies reading(std::vector<Supply> list) {
  AgedSupplies read;
  read.supplies.list = std::move(list);
  return read;
}

std::string textOf(const Supply& supply, const MetricLabels& labels = {}) {
  return metricsText(supplyMetrics(reading({supply}), kSuccess, labels));
}

std::vector<std::string> seriesIn(const std::string& text) {
  std::vector<std::string> series;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with('#')) series.push_back(line);
  }
  return series;
}

TEST(SupplyMetrics, AreAllThatIsKnownOfAPrinter) {
  Supply waste = supply(std::nullopt);
  waste.name = "Waste";
  waste.kind = SupplyKind::kOther;
  waste.color = Color::kNone;
  AgedSupplies read = reading({supply(62), waste});
  read.age = milliseconds(1500);
  EXPECT_EQ(metricsText(supplyMetrics(read, kSuccess)),
            R"(# HELP npa_supply_info What a supply is, in its labels.
# TYPE npa_supply_info gauge
npa_supply_info{supply="1",name="Cyan Toner",type="toner",color="Cyan"} 1
npa_supply_info{supply="2",name="Waste",type="other",color=""} 1
# HELP npa_supply_level_ratio How full a supply is, from 0 to 1. There is none where it is not known.
# TYPE npa_supply_level_ratio gauge
npa_supply_level_ratio{supply="1"} 0.62
# HELP npa_supply_level_unknown A supply whose level is not known, and why.
# TYPE npa_supply_level_unknown gauge
npa_supply_level_unknown{supply="2",reason="not_reported"} 1
# HELP npa_reading_age_seconds How long ago the printer gave the supplies shown.
# TYPE npa_reading_age_seconds gauge
npa_reading_age_seconds 1.5
# HELP npa_probe_success Whether the last attempt to read the printer succeeded.
# TYPE npa_probe_success gauge
npa_probe_success 1
# HELP npa_probe_duration_seconds How long that attempt took.
# TYPE npa_probe_duration_seconds gauge
npa_probe_duration_seconds 0.25
)");
}

TEST(SupplyMetrics, TellAStatusWhileItHoldsAndIsNotCorrect) {
  const std::vector<std::pair<std::string, std::string>> kStatuses = {{"Empty", "empty"},
                                                                      {"Missing", "missing"},
                                                                      {"Invalid", "invalid"},
                                                                      {"Incorrect", "incorrect"}};
  for (const auto& [status, label] : kStatuses) {
    const std::string text = textOf(supplyOf("ink", 50, status));
    EXPECT_THAT(text, HasSubstr("npa_supply_status{supply=\"1\",status=\"" + label + "\"} 1\n"));
    EXPECT_EQ(seriesIn(text).size(), 6U) << text;  // and not one for each other status
  }
  EXPECT_THAT(textOf(supply(50)), Not(HasSubstr("npa_supply_status")));
}

// A laser printer in colour has as many supplies.
TEST(SupplyMetrics, OfTenSuppliesHaveTwentyFiveSeriesAtMost) {
  std::vector<Supply> ten(10, supply(50));
  const auto seriesOf = [&ten] {
    return seriesIn(metricsText(supplyMetrics(reading(ten), kSuccess))).size();
  };
  EXPECT_EQ(seriesOf(), 23U);
  ten[0] = supply(std::nullopt);
  EXPECT_EQ(seriesOf(), 23U);
  ten[1].status = SupplyStatus::kEmpty;
  ten[2].status = SupplyStatus::kInvalid;
  EXPECT_EQ(seriesOf(), 25U);
}

TEST(SupplyMetrics, TellWhatIsRemembered) {
  AgedSupplies read = reading({supply(62), supply(9)});
  read.supplies.list[0].part = "24B6015";
  read.supplies.list[0].pages.printed = 7312;
  read.remembered.supplies[1].emptyAt = {1'800'000'000, 1'799'000'000};
  read.remembered.supplies[2] = {"24B6016", std::nullopt, true, true};
  read.remembered.events = {{"replaced", 2}, {"low", 0}};
  const std::string text = metricsText(supplyMetrics(read, kSuccess));
  for (
      const char* line :
      {R"(npa_supply_info{supply="1",name="Cyan Toner",type="toner",color="Cyan",part="24B6015"} 1)",
       R"(npa_supply_info{supply="2",name="Cyan Toner",type="toner",color="Cyan",part="24B6016"} 1)",
       R"(npa_supply_pages_printed{supply="1"} 7312)",
       R"(npa_supply_empty_timestamp_seconds{supply="1",estimate="likely"} 1800000000)",
       R"(npa_supply_empty_timestamp_seconds{supply="1",estimate="earliest"} 1799000000)",
       R"(npa_supply_low{supply="2"} 1)", R"(npa_supply_needed{supply="2"} 1)",
       R"(# TYPE npa_supply_events_total counter)",
       R"(npa_supply_events_total{event="replaced"} 2)",
       R"(npa_supply_events_total{event="low"} 0)"}) {
    EXPECT_THAT(text, HasSubstr(std::string(line) + '\n'));
  }
  EXPECT_EQ(seriesIn(text).size(), 2U + 2 + 3 + 1 + 2 + 1 + 1 + 2);
}

// Four of them toners, all of which are low and needed: the most that there can be but for a
// status.
TEST(SupplyMetrics, OfTenSuppliesHaveFortyFiveSeriesWithWhatIsRemembered) {
  AgedSupplies read = reading(std::vector<Supply>(10, supply(5)));
  for (std::uint32_t number = 1; number <= 4; ++number) {
    read.remembered.supplies[number] = {"24B6015", {{2e9, 1e9}}, true, true};
  }
  read.remembered.events = {{"present", 1}, {"replaced", 1}, {"missing", 1},
                            {"wrong", 1},   {"low", 4},      {"empty", 1}};
  EXPECT_EQ(seriesIn(metricsText(supplyMetrics(read, kSuccess))).size(), 45U);
}

TEST(SupplyMetrics, OfAPrinterThatWasNeverReadTellOfTheAttemptOnly) {
  const std::string text =
      metricsText(supplyMetrics(std::nullopt, {Outcome::kNothingReceived, milliseconds(8000)}));
  EXPECT_THAT(text, Not(HasSubstr("npa_supply")));
  EXPECT_THAT(text, Not(HasSubstr("npa_reading")));
  EXPECT_THAT(seriesIn(text), Contains("npa_probe_success 0"));
  EXPECT_THAT(seriesIn(text), Contains("npa_probe_duration_seconds 8"));
  EXPECT_THAT(seriesIn(text), Contains("npa_probe_status{status=\"nothing_received\"} 1"));
  EXPECT_THAT(text, Not(HasSubstr("\"success\"")));
}

TEST(SupplyMetrics, OfAPrinterThatFailsNowShowItsLastReading) {
  const std::string text =
      metricsText(supplyMetrics(reading({supply(40)}), {Outcome::kDeadline, milliseconds(1)}));
  EXPECT_THAT(seriesIn(text), Contains("npa_supply_level_ratio{supply=\"1\"} 0.4"));
  EXPECT_THAT(seriesIn(text), Contains("npa_probe_success 0"));
}

// A reader must be able to tell an empty cartridge from one of which nothing is known.
TEST(LevelOfASupply, ThatIsEmptyIsZero) {
  EXPECT_THAT(seriesIn(textOf(supply(0))), Contains("npa_supply_level_ratio{supply=\"1\"} 0"));
}

TEST(LevelOfASupply, ThatIsNotKnownIsAbsent) {
  const std::string text = textOf(supply(std::nullopt));
  EXPECT_THAT(text, Not(HasSubstr("npa_supply_level_ratio")));
  EXPECT_THAT(seriesIn(text),
              Contains("npa_supply_level_unknown{supply=\"1\",reason=\"not_reported\"} 1"));
}

TEST(LevelOfASupply, ThatIsMissingIsAbsent) {
  const std::string text = textOf(supplyOf("ink", std::nullopt, "Missing"));
  EXPECT_THAT(text, Not(HasSubstr("npa_supply_level_ratio")));
  EXPECT_THAT(seriesIn(text),
              Contains("npa_supply_level_unknown{supply=\"1\",reason=\"missing\"} 1"));
  EXPECT_THAT(seriesIn(text), Contains("npa_supply_status{supply=\"1\",status=\"missing\"} 1"));
}

// Each percentage as the shortest decimal fraction, and never as 0.28999999999999998.
TEST(LevelOfASupply, IsAShortFraction) {
  for (int percentage = 0; percentage <= 100; ++percentage) {
    EXPECT_THAT(
        seriesIn(textOf(supply(percentage))),
        Contains(fmt::format("npa_supply_level_ratio{{supply=\"1\"}} {}", percentage / 100.0)));
  }
}

TEST(MetricsText, LeavesNumbersBeyondAllNumbersAsTheyAre) {
  prometheus::MetricFamily family;
  family.name = "odd";
  family.type = prometheus::MetricType::Gauge;
  family.metric.resize(2);
  family.metric[0].gauge.value = std::numeric_limits<double>::infinity();
  family.metric[1].gauge.value = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(metricsText({family}), "# TYPE odd gauge\nodd +Inf\nodd Nan\n");
}

TEST(TextFromAPrinter, IsEscapedAsALabel) {
  Supply quoted = supply(50);
  quoted.name = R"(The "best" \ toner)";
  EXPECT_THAT(textOf(quoted), HasSubstr(R"(name="The \"best\" \\ toner",)"));
}

TEST(TextFromAPrinter, IsMadeHarmless) {
  Supply hostile = supply(50);
  hostile.name = "Toner\x1B[2J\nnpa_probe_success 1\xFF\xE2\x80\x8B!";
  EXPECT_THAT(textOf(hostile),
              HasSubstr("name=\"Toner [2J npa_probe_success 1\xEF\xBF\xBD !\",type"));
}

TEST(TextFromAPrinter, IsCutToALengthThatIsFitForALabel) {
  Supply wordy = supply(50);
  wordy.name = std::string(100'000, 'x');
  EXPECT_THAT(textOf(wordy), HasSubstr("name=\"" + std::string(256, 'x') + "\""));
}

TEST(LabelsOfAPrinter, StandFirstOnEachSeries) {
  const std::string text = textOf(supply(50), {{"instance", "socket://192.0.2.7"}});
  for (const std::string& series : seriesIn(text)) {
    EXPECT_THAT(series, HasSubstr("{instance=\"socket://192.0.2.7\""));
  }
  EXPECT_FALSE(seriesIn(text).empty());
}

}  // namespace
}  // namespace moxsupply::testing
