#include <gtest/gtest.h>

#include "supplies/Supplies.h"
#include "tests/support/MadeSupply.h"

namespace moxsupply::testing {
namespace {

Supplies suppliesOf(const char* head, const std::vector<Dictionary>& records) {
  Dictionary report;
  report.set("PrintHeadType", std::string(head));
  for (const Dictionary& record : records) {
    report.set({"Supply", static_cast<std::int32_t>(report.size())}, record);
  }
  return suppliesFromReport(report);
}

Supply laserSupply(const Dictionary& record) {
  return suppliesOf("LaserSupplies", {record}).list.at(0);
}
Supply inkjetSupply(const Dictionary& record) { return suppliesOf("Lantern", {record}).list.at(0); }

Dictionary record(std::int32_t percentage, const char* status = "Correct") {
  Dictionary record;
  record.set("SupplyName", std::string("Name"));
  record.set("SupplyType", std::string("toner"));
  record.set("SupplyColor", std::string("Cyan"));
  record.set("SupplyPercentage", percentage);
  record.set("SupplyStatus", std::string(status));
  return record;
}

constexpr auto unknown = tl::unexpected(NoLevel::kUnknown);

TEST(Supplies, AreReadInTheirOrder) {
  const Supplies supplies = suppliesOf("Lantern", {record(1), record(2), record(3)});
  EXPECT_EQ(supplies.kind, PrinterKind::kInkjet);
  EXPECT_EQ(supplies.head, "Lantern");
  ASSERT_EQ(supplies.list.size(), 3U);
  EXPECT_EQ(supplies.list[0].level, 1);
  EXPECT_EQ(supplies.list[2].level, 3);
  EXPECT_EQ(supplies.list[2].name, "Name");
}

TEST(Supplies, OfALaserPrinterHaveNoHead) {
  const Supplies supplies = suppliesOf("LaserSupplies", {});
  EXPECT_EQ(supplies.kind, PrinterKind::kLaser);
  EXPECT_EQ(supplies.head, "");
}

TEST(Supplies, WithoutANameAreNumbered) {
  Dictionary blank = record(1);
  blank.set("SupplyName", std::string("  "));
  Dictionary nameless = record(2);
  nameless.remove("SupplyName");
  const Supplies laser = suppliesOf("LaserSupplies", {record(0), blank, nameless});
  EXPECT_EQ(laser.list.at(0).name, "Name");
  EXPECT_EQ(laser.list.at(1).name, "Supply 2");
  EXPECT_EQ(laser.list.at(2).name, "Supply 3");
  EXPECT_EQ(suppliesOf("Lantern", {blank}).list.at(0).name, "Cartridge 1");
  for (const char* invisible : {"\n\t", "\x1B", "\u200B\uFEFF", "\u00A0", "\u3000 \u2003", "\u200D",
                                "\u00AD", "\u3164", "\uFE0F", "\U000E0041\U000E0042"}) {
    blank.set("SupplyName", std::string(invisible));
    EXPECT_EQ(suppliesOf("LaserSupplies", {record(0), blank}).list.at(1).name, "Supply 2");
  }
  for (const char* visible : {"?", ".", "\xFF", "\u200D\u0647", "\u00A0x"}) {
    blank.set("SupplyName", std::string(visible));
    EXPECT_EQ(suppliesOf("LaserSupplies", {blank}).list.at(0).name, visible);
  }
}

TEST(LevelOfALaserSupply, IsShownFromZeroToHundred) {
  EXPECT_EQ(laserSupply(record(0)).level, 0);
  EXPECT_EQ(laserSupply(record(37)).level, 37);
  EXPECT_EQ(laserSupply(record(100)).level, 100);
}

TEST(LevelOfALaserSupply, AboveHundredIsHundred) {
  EXPECT_EQ(laserSupply(record(101)).level, 100);
  EXPECT_EQ(laserSupply(record(2147483647)).level, 100);
}

TEST(LevelOfALaserSupply, IsUnknownWithoutAFullLevel) {
  const Supply supply = laserSupply(record(-2147483647 - 1));
  EXPECT_EQ(supply.level, unknown);
}

TEST(LevelOfAnInkjetCartridge, AboveHundredIsUnknown) {
  EXPECT_EQ(inkjetSupply(record(0, "Empty")).level, 0);
  EXPECT_EQ(inkjetSupply(record(100)).level, 100);
  EXPECT_EQ(inkjetSupply(record(101)).level, unknown);
  EXPECT_EQ(inkjetSupply(record(255)).level, unknown);
}

TEST(LevelOfAnInkjetCartridge, IsNoneWhenItIsMissing) {
  const Supply supply = inkjetSupply(record(40, "Missing"));
  EXPECT_EQ(supply.level, tl::unexpected(NoLevel::kMissing));
}

TEST(LevelOfAnInkjetCartridge, IsShownWhenItIsInvalidOrIncorrect) {
  EXPECT_EQ(inkjetSupply(record(40, "Invalid")).level, 40);
  EXPECT_EQ(inkjetSupply(record(40, "Incorrect")).level, 40);
}

TEST(ACartridgeWithAStatusOnly, HasANumberForANameAndNoLevel) {
  Dictionary statusOnly;
  statusOnly.set("SupplyStatus", std::string("Correct"));
  const Supplies supplies = suppliesOf("Quarry", {record(1), record(2), statusOnly});
  const Supply& supply = supplies.list.at(2);
  EXPECT_EQ(supply.name, "Cartridge 3");
  EXPECT_EQ(supply.kind, SupplyKind::kInk);
  EXPECT_EQ(supply.color, Color::kNone);
  EXPECT_EQ(supply.level, unknown);
}

Supply laserSupplyNamed(const char* name, const char* type, const char* color) {
  Dictionary named = record(50);
  named.set("SupplyName", std::string(name));
  named.set("SupplyType", std::string(type));
  named.set("SupplyColor", std::string(color));
  return laserSupply(named);
}

TEST(ColorOfALaserSupply, IsTheTonersOwn) {
  EXPECT_EQ(laserSupplyNamed("Cyan Toner", "toner", "Cyan").color, Color::kCyan);
  EXPECT_EQ(laserSupplyNamed("Toner", "toner", "Black").color, Color::kBlack);
}

TEST(ColorOfALaserSupply, IsNoneForAFuserOrAContainer) {
  EXPECT_EQ(laserSupplyNamed("Fuser", "fuser", "Black").color, Color::kNone);
  EXPECT_EQ(laserSupplyNamed("Waste Toner Bottle", "other", "Black").color, Color::kNone);
  EXPECT_EQ(laserSupplyNamed("Yellow-tagged Fuser", "fuser", "Yellow").color, Color::kNone);
}

TEST(ColorOfALaserSupply, IsTheNamedOneForAnImagingUnit) {
  EXPECT_EQ(laserSupplyNamed("Cyan Imaging Unit", "other", "Cyan").color, Color::kCyan);
  EXPECT_EQ(laserSupplyNamed("Black Imaging Unit", "other", "Black").color, Color::kBlack);
}

TEST(Cartridge, IsATonerOrAnInk) {
  EXPECT_TRUE(isCartridge(supplyOf("toner", 50)));
  EXPECT_TRUE(isCartridge(supplyOf("ink", 50)));
  EXPECT_FALSE(isCartridge(supplyOf("fuser", 50)));
  EXPECT_FALSE(isCartridge(supplyOf("other", 50)));
}

TEST(Words, MeanWhatTheySay) {
  for (const auto& [kind, text] : kSupplyKinds) EXPECT_EQ(meaningIn(kSupplyKinds, text), kind);
  for (const auto& [color, text] : kColors) EXPECT_EQ(meaningIn(kColors, text), color);
  for (const auto& [status, text] : kSupplyStatuses) {
    EXPECT_EQ(meaningIn(kSupplyStatuses, text), status);
    EXPECT_EQ(wordOf(status), text);
  }
  EXPECT_EQ(wordOf(PrinterKind::kLaser), "Laser");
  EXPECT_EQ(wordOf(SupplyKind::kOther), "other");
  EXPECT_EQ(wordOf(Color::kThreeColors), "Color");
  EXPECT_EQ(meaningIn(kSupplyStatuses, "correct"), std::nullopt);
}

}  // namespace
}  // namespace moxsupply::testing
