#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "supplies/Supplies.h"

namespace moxsupply::testing {
namespace {

using Json = nlohmann::json;

Supplies suppliesOf(const char* head, const std::vector<Json>& records) {
  Json report = {{"PrintHeadType", head}, {"SupplyCount", records.size()}};
  for (std::size_t i = 0; i < records.size(); ++i) {
    report["Supply " + std::to_string(i + 1)] = records[i];
  }
  return suppliesFromReport(Json{{"status", 0}, {"report", report}}.dump());
}

Supply laserSupply(const Json& record) { return suppliesOf("LaserSupplies", {record}).list.at(0); }
Supply inkjetSupply(const Json& record) { return suppliesOf("Lantern", {record}).list.at(0); }

Json record(std::int64_t percentage, const char* status = "Correct") {
  return {{"SupplyName", "Name"},
          {"SupplyType", "toner"},
          {"SupplyColor", "Cyan"},
          {"SupplyPercentage", percentage},
          {"SupplyStatus", status}};
}

TEST(Supplies, AreReadInTheirOrder) {
  const Supplies supplies = suppliesOf("Lantern", {record(1), record(2), record(3)});
  EXPECT_FALSE(supplies.isLaser);
  EXPECT_EQ(supplies.head, "Lantern");
  ASSERT_EQ(supplies.list.size(), 3U);
  EXPECT_EQ(supplies.list[0].percentage, 1);
  EXPECT_EQ(supplies.list[2].percentage, 3);
  EXPECT_EQ(supplies.list[2].name, "Name");
}

TEST(Supplies, OfALaserPrinterHaveNoHead) {
  const Supplies supplies = suppliesOf("LaserSupplies", {});
  EXPECT_TRUE(supplies.isLaser);
  EXPECT_EQ(supplies.head, "");
}

TEST(Supplies, WithoutANameAreNumbered) {
  Json blank = record(1);
  blank["SupplyName"] = "  ";
  Json nameless = record(2);
  nameless.erase("SupplyName");
  const Supplies laser = suppliesOf("LaserSupplies", {record(0), blank, nameless});
  EXPECT_EQ(laser.list.at(0).name, "Name");
  EXPECT_EQ(laser.list.at(1).name, "Supply 2");
  EXPECT_EQ(laser.list.at(2).name, "Supply 3");
  EXPECT_EQ(suppliesOf("Lantern", {blank}).list.at(0).name, "Cartridge 1");
}

TEST(LevelOfALaserSupply, IsShownFromZeroToHundred) {
  EXPECT_EQ(laserSupply(record(0)).percentage, 0);
  EXPECT_EQ(laserSupply(record(37)).percentage, 37);
  EXPECT_EQ(laserSupply(record(100)).percentage, 100);
}

TEST(LevelOfALaserSupply, AboveHundredIsHundred) {
  EXPECT_EQ(laserSupply(record(101)).percentage, 100);
  EXPECT_EQ(laserSupply(record(2147483647)).percentage, 100);
}

TEST(LevelOfALaserSupply, IsUnknownWithoutAFullLevel) {
  const Supply supply = laserSupply(record(-2147483648LL));
  EXPECT_EQ(supply.percentage, std::nullopt);
  EXPECT_EQ(supply.noLevel, NoLevel::kUnknown);
}

TEST(LevelOfAnInkjetCartridge, AboveHundredIsUnknown) {
  EXPECT_EQ(inkjetSupply(record(0, "Empty")).percentage, 0);
  EXPECT_EQ(inkjetSupply(record(100)).percentage, 100);
  EXPECT_EQ(inkjetSupply(record(101)).percentage, std::nullopt);
  EXPECT_EQ(inkjetSupply(record(255)).percentage, std::nullopt);
  EXPECT_EQ(inkjetSupply(record(255)).noLevel, NoLevel::kUnknown);
}

TEST(LevelOfAnInkjetCartridge, IsNoneWhenItIsMissing) {
  const Supply supply = inkjetSupply(record(40, "Missing"));
  EXPECT_EQ(supply.percentage, std::nullopt);
  EXPECT_EQ(supply.noLevel, NoLevel::kMissing);
}

TEST(LevelOfAnInkjetCartridge, IsShownWhenItIsInvalidOrIncorrect) {
  EXPECT_EQ(inkjetSupply(record(40, "Invalid")).percentage, 40);
  EXPECT_EQ(inkjetSupply(record(40, "Incorrect")).percentage, 40);
}

TEST(ACartridgeWithAStatusOnly, HasANumberForANameAndNoLevel) {
  const Supplies supplies =
      suppliesOf("Quarry", {record(1), record(2), {{"SupplyStatus", "Correct"}}});
  const Supply& supply = supplies.list.at(2);
  EXPECT_EQ(supply.name, "Cartridge 3");
  EXPECT_EQ(supply.type, "ink");
  EXPECT_EQ(supply.color, "");
  EXPECT_EQ(supply.percentage, std::nullopt);
  EXPECT_EQ(supply.noLevel, NoLevel::kUnknown);
}

Supply laserSupplyNamed(const char* name, const char* type, const char* color) {
  return laserSupply({{"SupplyName", name},
                      {"SupplyType", type},
                      {"SupplyColor", color},
                      {"SupplyPercentage", 50},
                      {"SupplyStatus", "Correct"}});
}

TEST(ColorOfALaserSupply, IsTheTonersOwn) {
  EXPECT_EQ(laserSupplyNamed("Cyan Toner", "toner", "Cyan").color, "Cyan");
  EXPECT_EQ(laserSupplyNamed("Toner", "toner", "Black").color, "Black");
}

TEST(ColorOfALaserSupply, IsNoneForAFuserOrAContainer) {
  EXPECT_EQ(laserSupplyNamed("Fuser", "fuser", "Black").color, "");
  EXPECT_EQ(laserSupplyNamed("Waste Toner Bottle", "other", "Black").color, "");
  EXPECT_EQ(laserSupplyNamed("Yellow-tagged Fuser", "fuser", "Yellow").color, "");
}

TEST(ColorOfALaserSupply, IsTheNamedOneForAnImagingUnit) {
  EXPECT_EQ(laserSupplyNamed("Cyan Imaging Unit", "other", "Cyan").color, "Cyan");
  EXPECT_EQ(laserSupplyNamed("Black Imaging Unit", "other", "Black").color, "Black");
}

Supply supplyOf(const char* type, std::optional<int> percentage, const char* status = "Correct") {
  Supply supply;
  supply.type = type;
  supply.percentage = percentage;
  supply.status = status;
  return supply;
}

TEST(Cartridge, IsATonerOrAnInk) {
  EXPECT_TRUE(isCartridge(supplyOf("toner", 50)));
  EXPECT_TRUE(isCartridge(supplyOf("ink", 50)));
  EXPECT_FALSE(isCartridge(supplyOf("fuser", 50)));
  EXPECT_FALSE(isCartridge(supplyOf("other", 50)));
}

TEST(EmptySupply, HasNothingLeftOrSaysSo) {
  EXPECT_TRUE(isEmpty(supplyOf("toner", 0)));
  EXPECT_TRUE(isEmpty(supplyOf("ink", 0, "Empty")));
  EXPECT_TRUE(isEmpty(supplyOf("ink", std::nullopt, "Empty")));
  EXPECT_FALSE(isEmpty(supplyOf("toner", 1)));
  EXPECT_FALSE(isEmpty(supplyOf("toner", std::nullopt)));
  EXPECT_FALSE(isEmpty(supplyOf("ink", std::nullopt, "Missing")));
}

TEST(LowSupply, HasOneToTenPercentLeft) {
  EXPECT_FALSE(isLow(supplyOf("toner", 0)));
  EXPECT_TRUE(isLow(supplyOf("toner", 1)));
  EXPECT_TRUE(isLow(supplyOf("toner", 10)));
  EXPECT_FALSE(isLow(supplyOf("toner", 11)));
  EXPECT_FALSE(isLow(supplyOf("toner", 100)));
}

TEST(LowSupply, IsNoneThatIsEmptyOrUnknown) {
  EXPECT_FALSE(isLow(supplyOf("ink", 5, "Empty")));
  EXPECT_FALSE(isLow(supplyOf("toner", std::nullopt)));
}

}  // namespace
}  // namespace moxsupply::testing
