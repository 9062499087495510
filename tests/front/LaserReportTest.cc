#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "front/LaserReport.h"
#include "front/MoxFilter.h"
#include "tests/support/DictionaryJson.h"
#include "tests/support/FilterProcess.h"
#include "tests/support/LaserRecords.h"

namespace moxsupply::testing {
namespace {

// A supply as the query gives it; what is not set is not there.
struct Supply {
  std::optional<std::string> description = "Toner";
  std::optional<std::int32_t> type = {};
  std::optional<std::int32_t> max = {};
  std::optional<std::int32_t> current = {};
};

Dictionary dictionaryOf(const Supply& supply) {
  Dictionary result;
  if (supply.description) result.set("Description", *supply.description);
  if (supply.type) result.set("Supply Type", *supply.type);
  if (supply.max) result.set("Max Level", *supply.max);
  if (supply.current) result.set("Current Level", *supply.current);
  return result;
}

// Supplies numbered from 1, and how many they are said to be.
Dictionary suppliesOf(const std::vector<Supply>& supplies, std::optional<std::int32_t> count = {}) {
  Dictionary result;
  result.set("Supplies Count", count.value_or(static_cast<std::int32_t>(supplies.size())));
  std::int32_t number = 0;
  for (const Supply& supply : supplies) result.set({"Supply", ++number}, dictionaryOf(supply));
  return result;
}

// The record that the report has for one supply.
Json recordOf(const Supply& supply) {
  Dictionary report;
  EXPECT_EQ(addLaserReport(suppliesOf({supply}), report), Status::kSuccess);
  return asJson(report).at("Supply 1");
}

TEST(LaserReport, HasARecordOfFiveKeysForEachSupply) {
  Dictionary report;
  EXPECT_EQ(
      addLaserReport(suppliesOf({{"Black Toner", 1, 100, 37}, {"Fuser Unit", 5, 3, 2}}), report),
      Status::kSuccess);
  EXPECT_EQ(shown(report), json(R"({
      "PrintHeadType": "LaserSupplies",
      "SupplyCount": 2,
      "Supply 1": {"SupplyName": "Black Toner", "SupplyType": "toner", "SupplyColor": "Black",
                   "SupplyPercentage": 37, "SupplyStatus": "Correct"},
      "Supply 2": {"SupplyName": "Fuser Unit", "SupplyType": "fuser", "SupplyColor": "Black",
                   "SupplyPercentage": 66, "SupplyStatus": "Correct"}})"));
}

TEST(LaserReport, SaysLittleOfASupplyWithADescriptionOnly) {
  EXPECT_EQ(recordOf({"x"}).dump(2),
            json(R"({"SupplyName": "x", "SupplyType": "other", "SupplyColor": "Black",
                     "SupplyPercentage": -2147483648, "SupplyStatus": "Correct"})"));
}

TEST(LaserReport, IgnoresWhatElseIsKnownOfASupply) {
  Dictionary supplies;
  Dictionary supply = dictionaryOf({"x", 1, 100, 50});
  supply.set("Fixed ID", std::numeric_limits<std::int32_t>::max());
  supply.set("Installed ID", std::numeric_limits<std::int32_t>::min());
  supplies.set("Supplies Count", static_cast<std::int32_t>(supplies.size() + 1));
  supplies.set({"Supply", 1}, std::move(supply));
  Dictionary report;
  EXPECT_EQ(addLaserReport(std::move(supplies), report), Status::kSuccess);
  EXPECT_EQ(asJson(report).at("Supply 1"), recordOf({"x", 1, 100, 50}));
}

TEST(LaserReport, KeepsTheDescriptionAsItIs) {
  for (const char* name : {"", " Toner ", "Réceptacle à toner usagé", "トナー", "TN-42\n"}) {
    EXPECT_EQ(recordOf({name}).at("SupplyName"), name);
  }
}

TEST(LaserReport, NamesTheTypeByItsNumber) {
  const std::vector<std::pair<std::int32_t, const char*>> types = {
      {0, "other"},  {1, "toner"},      {2, "toner"},          {3, "toner"},   {4, "other"},
      {5, "fuser"},  {6, "ink"},        {7, "other"},          {255, "other"}, {257, "other"},
      {-1, "other"}, {65'537, "other"}, {-2147483647, "other"}};
  for (const auto& [number, name] : types) {
    EXPECT_EQ(recordOf({"x", number}).at("SupplyType"), name) << number;
  }
}

TEST(LaserReport, TakesTheColorFromTheDescription) {
  const std::vector<std::pair<const char*, const char*>> colors = {
      {"Cyan Toner", "Cyan"},
      {"Magenta Toner", "Magenta"},
      {"Yellow Toner", "Yellow"},
      {"Black Toner", "Black"},
      {"Fuser", "Black"},
      {"", "Black"},
      {"HighYieldCyanToner", "Cyan"},
      {"Toner, Yellow", "Yellow"},
      {"Cyan and Magenta", "Magenta"},
      {"Magenta and Cyan", "Magenta"},
      {"Cyan and Yellow", "Yellow"},
      {"Yellow and Cyan", "Yellow"},
      {"Magenta and Yellow", "Yellow"},
      {"Yellow and Magenta", "Yellow"},
      {"Yellow, Magenta, Cyan, Black", "Yellow"},
      {"cyan toner", "Black"},
      {"MAGENTA TONER", "Black"},
      {"yellow", "Black"},
      {"Cya n", "Black"},
      {"CCyan", "Cyan"},
      {"Cyan", "Cyan"},
      {"Cya", "Black"},
  };
  for (const auto& [description, color] : colors) {
    EXPECT_EQ(recordOf({description}).at("SupplyColor"), color) << description;
  }
}

// Levels count as unsigned; the quotient is formed first, in double precision, and what comes out
// is cut off, not rounded, and not clamped.
TEST(LaserReport, GivesThePercentageThatIsLeft) {
  constexpr std::int32_t kNone = std::numeric_limits<std::int32_t>::min();
  struct Levels {
    std::optional<std::int32_t> current, max;
    std::int32_t percentage;
  };
  const std::vector<Levels> levels = {
      {37, 100, 37},
      {2, 3, 66},
      {29, 100, 28},  // 0.29 * 100.0 is just below 29
      {57, 100, 56},
      {58, 100, 57},
      {0, 100, 0},
      {100, 100, 100},
      {1, 101, 0},
      {999, 1000, 99},
      {150, 100, 150},
      {0, 0, kNone},
      {37, 0, kNone},
      {{}, {}, kNone},
      {37, {}, kNone},
      {{}, 100, 0},
      {-1, 100, kNone},      // 4294967295 of 100 is more than 32 bits hold
      {100, -1, 0},          // 100 of 4294967295
      {2147483647, -1, 49},  // half of 4294967295
      {-1, -1, 100},
      {-2147483647 - 1, -1, 50},  // 2147483648 of 4294967295
      {-1, 2147483647, 200},
      {21474836, 1, 2147483600},  // the greatest that is less than 2147483648
      {21474837, 1, kNone},
      {2147483647, 100, 2147483647},
      {-2147483647 - 1, 100, kNone},  // 2147483648
      {2147483647, 99, kNone},
  };
  for (const auto& [current, max, percentage] : levels) {
    EXPECT_EQ(recordOf({"x", 1, max, current}).at("SupplyPercentage"), percentage)
        << current.value_or(-9) << " of " << max.value_or(-9);
  }
}

// "SupplyCount" is the whole number; its low 8 bits say how many records there are.
TEST(LaserReport, WritesAsManyRecordsAsTheLow8BitsOfTheCount) {
  const std::vector<std::pair<std::int32_t, std::size_t>> counts = {

      {0, 0},   {1, 1},    {44, 44},      {255, 255},  {256, 0},
      {257, 1}, {300, 44}, {65'535, 255}, {65'536, 0}, {-1, 255}};
  for (const auto& [count, records] : counts) {
    Dictionary report;
    EXPECT_EQ(addLaserReport(suppliesOf(std::vector<Supply>(255), count), report),
              Status::kSuccess);
    EXPECT_EQ(report.number("SupplyCount"), count);
    EXPECT_EQ(report.size(), 2 + records) << count;
    EXPECT_EQ(report.contains({"Supply", static_cast<std::int32_t>(records)}), records > 0);
    EXPECT_FALSE(report.contains({"Supply", static_cast<std::int32_t>(records) + 1}));
  }
}

TEST(LaserReport, FailsWithoutACount) {
  Dictionary supplies;
  supplies.set({"Supply", 1}, dictionaryOf({"Black Toner", 1, 100, 37}));
  Dictionary report;
  EXPECT_EQ(addLaserReport(std::move(supplies), report), Status::kUndecodable);
  EXPECT_EQ(shown(report), json(R"({"PrintHeadType": "LaserSupplies"})"));
}

TEST(LaserReport, FailsAtASupplyWithoutADescription) {
  Dictionary report;
  EXPECT_EQ(
      addLaserReport(suppliesOf({{"First", 1, 2, 1}, {{}, 1, 2, 1}, {"Third", 1, 2, 1}}), report),
      Status::kUndecodable);
  EXPECT_EQ(shown(report), json(R"({
      "PrintHeadType": "LaserSupplies", "SupplyCount": 3,
      "Supply 1": {"SupplyName": "First", "SupplyType": "toner", "SupplyColor": "Black",
                   "SupplyPercentage": 50, "SupplyStatus": "Correct"}})"));
}

TEST(LaserReport, FailsAtASupplyThatIsMissing) {
  Dictionary supplies = suppliesOf({{"First"}, {"Second"}, {"Third"}});
  supplies.remove({"Supply", 2});
  Dictionary report;
  EXPECT_EQ(addLaserReport(std::move(supplies), report), Status::kUndecodable);
  EXPECT_EQ(report.size(), 3U);
  EXPECT_TRUE(report.contains({"Supply", 1}));
}

// A report may hold what an earlier query left. What is written now replaces it; records of a
// longer answer stay.
TEST(LaserReport, LeavesWhatItDoesNotWrite) {
  Dictionary report;
  report.set("Host", std::string("its own"));
  ASSERT_EQ(addLaserReport(suppliesOf({{"A"}, {"B"}, {"C"}}), report), Status::kSuccess);
  ASSERT_EQ(addLaserReport(suppliesOf({{"D"}}), report), Status::kSuccess);
  const Json result = asJson(report);
  EXPECT_EQ(result.size(), 6U);
  EXPECT_EQ(result.at("Host"), "its own");
  EXPECT_EQ(result.at("SupplyCount"), 1);
  EXPECT_EQ(result.at("Supply 1").at("SupplyName"), "D");
  EXPECT_EQ(result.at("Supply 2").at("SupplyName"), "B");
  EXPECT_EQ(result.at("Supply 3").at("SupplyName"), "C");
}

// --- The whole query, over a filter's descriptors

std::string runQuery(MoxFilter& filter) {
  Dictionary report;
  report.set("Host", std::string("its own"));
  const Status status = filter.inkStatusQuery(&report);
  return Json({{"status", signedNumber(status)}, {"report", asJson(report)}}).dump(2);
}

std::string runQuery(const std::string& transport) {
  return runQuery(*MoxFilter::initWithPrinterType("Laser", transport, 8));
}

std::string reportLeft(std::int32_t status, const char* report) {
  Json whole = {{"status", status}, {"report", Json::parse(report)}};
  whole["report"]["Host"] = "its own";
  return whole.dump(2);
}

TEST(LaserQuery, AsksTheSameOnEveryTransport) {
  for (const char* transport : {"usb", "socket", "mdns", "dnssd"}) {
    FilterProcess filter(BackChannel::kNonBlockingPipe, [&] { return runQuery(transport); });
    EXPECT_EQ(filter.receive(30), kDeviceQuery) << transport;
    filter.sendInPieces({deviceReply(suppliesRecord({supply(1, {description("Cyan")})}))});
    EXPECT_EQ(filter.receive(27), kSuppliesQuery) << transport;
    filter.sendInPieces({queryReply(dotCountRecord({{1, 200, 150}}))});
    const auto ending = filter.wait();
    EXPECT_EQ(ending.written, Bytes()) << transport;
    EXPECT_EQ(ending.result, reportLeft(0, R"({
        "PrintHeadType": "LaserSupplies", "SupplyCount": 1,
        "Supply 1": {"SupplyName": "Cyan", "SupplyType": "other", "SupplyColor": "Cyan",
                     "SupplyPercentage": 75, "SupplyStatus": "Correct"}})"))
        << transport;
  }
}

TEST(LaserQuery, LeavesTheReportWhenNothingComes) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, [] { return runQuery("socket"); });
  filter.endBackChannel();
  EXPECT_EQ(filter.wait().result, reportLeft(-6, "{}"));
}

TEST(LaserQuery, LeavesTheReportWhenTheAnswerBreaksOff) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, [] { return runQuery("usb"); });
  filter.sendInPieces({hex("A5 00 06 50 00 21 01 00 00"), hex("A5 FF FD 50 E0")});
  EXPECT_EQ(filter.wait().result, reportLeft(-1, "{}"));
}

TEST(LaserQuery, LeavesTheReportWhenTheLinkIsGone) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, [] {
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    ::close(STDOUT_FILENO);
    return runQuery("usb");
  });
  EXPECT_EQ(filter.wait().result, reportLeft(-2, "{}"));
}

TEST(LaserQuery, NamesTheFamilyOfATableThatIsRefused) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, [] { return runQuery("usb"); });
  filter.sendInPieces({deviceReply(repeated(0x00, 60))});
  filter.endBackChannel();
  EXPECT_EQ(filter.wait().result, reportLeft(-4, R"({"PrintHeadType": "LaserSupplies"})"));
}

// A record that the model-family record alone made has no description.
TEST(LaserQuery, FailsAtASupplyThatOnlyTheSecondAnswerKnows) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, [] { return runQuery("usb"); });
  filter.sendInPieces({deviceReply(suppliesRecord(2, {supply(1, {description("Cyan")})})),
                       queryReply(dotCountRecord({{1, 200, 150}, {2, 200, 100}}))});
  EXPECT_EQ(filter.wait().result, reportLeft(-4, R"({
      "PrintHeadType": "LaserSupplies", "SupplyCount": 2,
      "Supply 1": {"SupplyName": "Cyan", "SupplyType": "other", "SupplyColor": "Cyan",
                   "SupplyPercentage": 75, "SupplyStatus": "Correct"}})"));
}

TEST(LaserQuery, AsksAsOftenAsTheHostLikes) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, [] {
    const auto query = MoxFilter::initWithPrinterType("Laser", "usb", 8);
    const std::string first = runQuery(*query);
    return first + runQuery(*query);
  });
  for (const std::uint32_t level : {30U, 20U}) {
    EXPECT_EQ(filter.receive(30), kDeviceQuery);
    filter.sendInPieces({deviceReply(
        suppliesRecord({supply(1, {description("Cyan"), maxLevel(40), currentLevel(level)})}))});
    EXPECT_EQ(filter.receive(27), kSuppliesQuery);
    filter.sendInPieces({queryReply(dotCountRecord({}))});
  }
  const auto reportOf = [](int percentage) {
    Json record = recordOf({"Cyan", {}, 100, percentage});
    return reportLeft(
        0, Json({{"PrintHeadType", "LaserSupplies"}, {"SupplyCount", 1}, {"Supply 1", record}})
               .dump()
               .c_str());
  };
  EXPECT_EQ(filter.wait().result, reportOf(75) + reportOf(50));
}

TEST(LaserQuery, SendsNothingFromAnObjectWithoutACommand) {
  FilterProcess filter(BackChannel::kClosed, [] {
    const auto query = MoxFilter::initWithPrinterType("Laser", "usb", 8);
    const MoxFilter moved = std::move(*query);
    return runQuery(*query);  // NOLINT(bugprone-use-after-move): that is the question
  });
  const auto ending = filter.wait();
  EXPECT_EQ(ending.result, reportLeft(-5, "{}"));
  EXPECT_EQ(ending.written, Bytes());
}

}  // namespace
}  // namespace moxsupply::testing
