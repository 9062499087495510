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

  const std::string text = reportAsJson(Status::kUndecodable, report);
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
  EXPECT_EQ(reportAsJson(Status::kNothingReceived, {}), "{\"status\":-6,\"report\":{}}\n");
  EXPECT_EQ(reportAsJson(Status::kSuccess, {}), "{\"status\":0,\"report\":{}}\n");
}

TEST(ReportJson, WritesBytesAndBareNumberKeys) {
  Dictionary report;
  report.set(Key(7), Bytes{0, 255});
  EXPECT_EQ(Json::parse(reportAsJson(Status::kSuccess, report))["report"],
            Json::parse(R"({"7": [0, 255]})"));
}

}  // namespace
}  // namespace moxsupply::testing
