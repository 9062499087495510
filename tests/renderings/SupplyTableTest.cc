#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>

#include "renderings/SupplyTable.h"
#include "tests/support/MadeSupply.h"
#include "text/TerminalText.h"

namespace moxsupply::testing {
namespace {

class SupplyTable : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr); }
  void TearDown() override { std::setlocale(LC_CTYPE, "C"); }
};

Supply supply(const std::string& name, const std::string& color, std::optional<int> level,
              const std::string& status = "Correct", const std::string& kind = "toner") {
  return madeSupply({.name = name, .kind = kind, .color = color, .status = status, .level = level});
}

Supply missing() { return supply("Photo", "Photo", std::nullopt, "Missing"); }

TEST_F(SupplyTable, ShowsNameColourBarPercentAndStatus) {
  Supplies supplies;
  supplies.list = {supply("Cyan Cartridge", "Cyan", 40),
                   supply("Black Cartridge", "Black", 0, "Empty"),
                   supply("Magenta Cartridge", "Magenta", 100),
                   supply("Yellow Cartridge", "Yellow", std::nullopt),
                   missing(),
                   supply("Color", "Color", 7, "Incorrect"),
                   supply("Waste Toner Bottle", "", 50, "Invalid")};
  EXPECT_EQ(supplyTable(supplies, false, 100),
            "SUPPLY              COLOUR        LEVEL                       STATUS\n"
            "Cyan Cartridge      cyan          ████████░░░░░░░░░░░░  40 %  ok\n"
            "Black Cartridge     black         ░░░░░░░░░░░░░░░░░░░░   0 %  empty\n"
            "Magenta Cartridge   magenta       ████████████████████ 100 %  ok\n"
            "Yellow Cartridge    yellow        level not known             ok\n"
            "Photo               photo         no cartridge                missing\n"
            "Color               three-colour  ██░░░░░░░░░░░░░░░░░░   7 %  wrong cartridge\n"
            "Waste Toner Bottle  -             ██████████░░░░░░░░░░  50 %  not valid here\n");
}

TEST_F(SupplyTable, DrawsEveryLevelAboveZero) {
  Supplies supplies;
  supplies.list = {supply("Toner", "Black", 1)};
  EXPECT_NE(supplyTable(supplies, false, 100).find(" █░░"), std::string::npos);
  supplies.list = {supply("Toner", "Black", 99)};
  EXPECT_NE(supplyTable(supplies, false, 100).find("████████████████████  99 %"),
            std::string::npos);
}

TEST_F(SupplyTable, ColoursOnlyWhenAsked) {
  Supplies supplies;
  supplies.list = {supply("Cyan Toner", "Cyan", 5), supply("Toner", "Black", 0, "Empty")};
  EXPECT_EQ(supplyTable(supplies, false, 100).find('\x1B'), std::string::npos);
  const std::string colored = supplyTable(supplies, true, 100);
  EXPECT_NE(colored.find("\x1B[36m█"), std::string::npos) << "a cyan bar";
  EXPECT_NE(colored.find("\x1B[31mempty\x1B[0m"), std::string::npos) << "a red alarm";
}

// What the printer calls correct may still want somebody.
TEST_F(SupplyTable, ShowsWhatNeedsAttention) {
  Supplies supplies;
  supplies.list = {supply("A", "Black", 11), supply("B", "Black", 10), supply("C", "Black", 2),
                   supply("D", "Black", 0), supply("E", "", 0, "Correct", "fuser")};
  EXPECT_EQ(supplyTable(supplies, false, 100),
            "SUPPLY  COLOUR  LEVEL                       STATUS\n"
            "A       black   ███░░░░░░░░░░░░░░░░░  11 %  ok\n"
            "B       black   ██░░░░░░░░░░░░░░░░░░  10 %  low\n"
            "C       black   █░░░░░░░░░░░░░░░░░░░   2 %  low\n"
            "D       black   ░░░░░░░░░░░░░░░░░░░░   0 %  empty\n"
            "E       -       ░░░░░░░░░░░░░░░░░░░░   0 %  ok\n");
  EXPECT_NE(supplyTable(supplies, true, 100).find("\x1B[33mlow\x1B[0m"), std::string::npos);
}

TEST_F(SupplyTable, KeepsItsColumnsInEveryScript) {
  Supplies supplies;
  supplies.list = {supply("黑色墨盒", "Black", 50), supply("Tintenpatrone Größe", "Cyan", 50)};
  EXPECT_EQ(supplyTable(supplies, false, 100),
            "SUPPLY               COLOUR  LEVEL                       STATUS\n"
            "黑色墨盒             black   ██████████░░░░░░░░░░  50 %  ok\n"
            "Tintenpatrone Größe  cyan    ██████████░░░░░░░░░░  50 %  ok\n");
}

TEST_F(SupplyTable, IsAsciiWhereTheLocaleIs) {
  ASSERT_NE(std::setlocale(LC_CTYPE, "C"), nullptr);
  Supplies supplies;
  supplies.list = {supply("Größe", "Cyan", 25)};
  EXPECT_EQ(supplyTable(supplies, false, 100),
            "SUPPLY  COLOUR  LEVEL                       STATUS\n"
            "Gr??e   cyan    #####...............  25 %  ok\n");
}

TEST_F(SupplyTable, MakesTextFromThePrinterHarmless) {
  Supplies supplies;
  supplies.list = {supply("Toner\x1B[2J\n\u202E\u202C", "Black", 50)};
  const std::string table = supplyTable(supplies, true, 100);
  EXPECT_NE(table.find("Toner\\u001b[2J\\u000a\\u202e"), std::string::npos);
  EXPECT_EQ(table.find("\x1B[2J"), std::string::npos);
  EXPECT_EQ(std::ranges::count(table, '\n'), 2);
}

TEST_F(SupplyTable, FitsItsColumns) {
  Supplies supplies;
  supplies.list = {supply("Cyan Cartridge", "Cyan", 100), missing(),
                   supply("Yellow Cartridge", "Yellow", std::nullopt)};
  EXPECT_EQ(supplyTable(supplies, false, 60),
            "SUPPLY            COLOUR  LEVEL                      STATUS\n"
            "Cyan Cartridge    cyan    ███████████████████ 100 %  ok\n"
            "Photo             photo   no cartridge               missing\n"
            "Yellow Cartridge  yellow  level not known            ok\n");
  EXPECT_EQ(supplyTable(supplies, false, 40),
            "SUPPLY  COLOUR  LEVEL            STATUS\n"
            "Cyan …  cyan    █████████ 100 %  ok\n"
            "Photo   photo   no cartridge     missing\n"
            "Yello…  yellow  level not known  ok\n");
}

TEST_F(SupplyTable, IsNeverWiderThanItMayBe) {
  for (const int columns : {40, 60, 72, 80, 132}) {
    for (const char* status : {"Correct", "Empty", "Missing", "Invalid", "Incorrect"}) {
      for (const char* name : {"Ink", "Schwarze Tonerkassette mit hoher Reichweite und Trommel"}) {
        Supplies supplies;
        supplies.list = {supply(name, "Black", 100, status), supply(name, "Cyan", 5)};
        const std::string table = supplyTable(supplies, false, columns);
        for (std::size_t at = 0; at < table.size(); at = table.find('\n', at) + 1) {
          const auto line = std::string_view(table).substr(at, table.find('\n', at) - at);
          EXPECT_LE(columnsOf(line), std::max(columns, 48)) << columns << '\n' << table;
        }
      }
    }
  }
}

TEST_F(SupplyTable, CutsANameThatIsTooLong) {
  Supplies supplies;
  supplies.list = {supply(std::string(255, 'x'), "Black", 50)};
  const std::string table = supplyTable(supplies, false, 100);
  EXPECT_NE(table.find(std::string(43, 'x') + "…  black"), std::string::npos);
}

}  // namespace
}  // namespace moxsupply::testing
