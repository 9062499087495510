#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "renderings/ReportJson.h"

namespace moxsupply::testing {
namespace {

using Json = nlohmann::json;

TEST(ReportJson, HoldsTheStatusAsASignedNumberAndTheReportAsItStands) {
  Dictionary supply;
  supply.set("SupplyName", std::string("Encre \"noire\"\n"));
  supply.set("SupplyPercentage", std::int32_t{-2147483647 - 1});
  Dictionary report;
  report.set("PrintHeadType", std::string("LaserSupplies"));
  report.set({"Supply", 1}, supply);
  report.set("SupplyCount", 1);

  const std::string text = reportAsJson({Status::kUndecodable, report});
  EXPECT_EQ(Json::parse(text), Json::parse(R"({
    "status": -4,
    "report": {
      "PrintHeadType": "LaserSupplies",
      "Supply 1": {"SupplyName": "Encre \"noire\"\n", "SupplyPercentage": -2147483648},
      "SupplyCount": 1
    }
  })"));
  EXPECT_EQ(text.find('\n'), text.size() - 1) << "one line";
}

TEST(ReportJson, HasAnEmptyReportWhereNothingWasWritten) {
  EXPECT_EQ(reportAsJson({Status::kNothingReceived, {}}), "{\"status\":-6,\"report\":{}}\n");
  EXPECT_EQ(reportAsJson({Status::kSuccess, {}}), "{\"status\":0,\"report\":{}}\n");
}

TEST(ReportJson, WritesBytesAndBareNumberKeys) {
  Dictionary report;
  report.set(Key(7), Bytes{0, 255});
  EXPECT_EQ(Json::parse(reportAsJson({Status::kSuccess, report}))["report"],
            Json::parse(R"({"7": [0, 255]})"));
}

// What a terminal, a log or an editor might act on, or not show, is not in it.
TEST(ReportJson, IsAscii) {
  const auto named = [](const std::string& name) {
    Dictionary supply;
    supply.set("SupplyName", name);
    Dictionary report;
    report.set({"Supply", 1}, supply);
    return reportAsJson({Status::kSuccess, report});
  };
  const auto expected = [](const std::string& escaped) {
    return R"({"status":0,"report":{"Supply 1":{"SupplyName":")" + escaped + "\"}}}\n";
  };
  EXPECT_EQ(named("a\u009b2J\u0085"), expected("a\\u009b2J\\u0085"));  // C1 controls
  EXPECT_EQ(named("a\x7F"), expected("a\\u007f"));                     // DEL
  EXPECT_EQ(named("\u202Ea\u202C\u2066b\u2069"),
            expected("\\u202ea\\u202c\\u2066b\\u2069"));           // bidirectional
  EXPECT_EQ(named("a\u200B\uFEFF"), expected("a\\u200b\\ufeff"));  // of no width
  EXPECT_EQ(named("\u00e4\u2028"), expected("\\u00e4\\u2028"));
  EXPECT_EQ(named("\U0001F5A8"), expected("\\ud83d\\udda8"));
  EXPECT_EQ(named("\x1B[0m\n\"\\~"), expected("\\u001b[0m\\n\\\"\\\\~"));
  EXPECT_EQ(named("a\xFFz\xC3"), expected("a\\ufffdz\\ufffd"));  // no UTF-8
}

TEST(ReportFromJson, HasWhatWasWritten) {
  Dictionary supply;
  supply.set("SupplyName", std::string("Encre \"noire\"\n"));
  supply.set("SupplyType", std::string("ink"));
  supply.set("SupplyColor", std::string("Black"));
  supply.set("SupplyPercentage", std::int32_t{-2147483647 - 1});
  supply.set("SupplyStatus", std::string("Missing"));
  Dictionary dictionary;
  dictionary.set("PrintHeadType", std::string("Lantern"));
  dictionary.set("SupplyCount", 2);
  dictionary.set({"Supply", 1}, supply);
  dictionary.set({"Supply", 2}, Dictionary());
  const auto report = reportFromJson(reportAsJson({Status::kUndecodable, dictionary}));
  ASSERT_TRUE(report);
  EXPECT_EQ(report->status, Status::kUndecodable);
  EXPECT_EQ(report->dictionary, dictionary);
}

TEST(ReportFromJson, HasTheTextsThatWereWritten) {
  for (const std::string name : {"\u009b2J\u0085", "a\x7F", "\u202Eb\u202C\u200B", "\u00e4\u65e5",
                                 "\U0001F5A8 \U0010FFFF", "\x1B[0m\n\"\\u00e4"}) {
    Dictionary dictionary;
    dictionary.set("PrintHeadType", name);
    const auto report = reportFromJson(reportAsJson({Status::kSuccess, dictionary}));
    ASSERT_TRUE(report);
    EXPECT_EQ(report->dictionary, dictionary) << name;
  }
}

// Another program may have written it.
TEST(ReportFromJson, PassesByWhatIsNoneOfIt) {
  const auto report = reportFromJson(R"({"status": 0, "more": [1], "report": {
    "PrintHeadType": 7, "SupplyCount": 4294967296, "Other": "x", "Supply 1": {
      "SupplyName": ["x"], "SupplyPercentage": 1.5, "SupplyStatus": "Correct", "More": 1},
    "Supply 3": {"SupplyName": "beyond the gap"}}})");
  ASSERT_TRUE(report);
  Dictionary supply;
  supply.set("SupplyStatus", std::string("Correct"));
  Dictionary dictionary;
  dictionary.set("PrintHeadType", 7);
  dictionary.set({"Supply", 1}, supply);
  EXPECT_EQ(report->dictionary, dictionary);
}

TEST(ReportFromJson, RefusesWhatIsNoReport) {
  for (const char* json : {"", "{", "[]", "7", R"({"status": "0", "report": {}})",
                           R"({"status": 0})", R"({"status": 0, "report": []})", "\xff"}) {
    EXPECT_FALSE(reportFromJson(json)) << json;
  }
}

}  // namespace
}  // namespace moxsupply::testing
