#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "simulator/LaserReply.h"
#include "tests/support/Hex.h"

namespace moxsupply::testing {
namespace {

using simulator::DotsRecord;
using simulator::Element;
using simulator::familyRecord;
using simulator::LaserModel;
using simulator::LaserSupply;
using simulator::PagesRecord;
using simulator::SingleSupplyRecord;
using simulator::suppliesTable;
using simulator::UnknownRecord;
using ::testing::ElementsAre;

const Bytes kRecordHead = hex(R"(
    00 01                                  # not 0
    00 00 00 00 00 00 00 00 00 00 00 00    # 36 bytes that nobody looks at
    00 00 00 00 00 00 00 00 00 00 00 00
    00 00 00 00 00 00 00 00 00 00 00 00
    01 00                                  # form 1
)");

LaserModel printerOf(std::vector<LaserSupply> supplies) {
  LaserModel printer;
  printer.supplies = std::move(supplies);
  return printer;
}

TEST(SuppliesTable, IsATreeWithTheTableInTheGroup) {
  LaserSupply supply;
  supply.number = 1;
  supply.fixedId = {.value = 0x11, .bytes = 2};
  supply.installedId = {.value = 0x12};
  supply.description = "Black";
  supply.type = {.value = 1, .bytes = 1};
  supply.maxLevel = {.value = 100};
  supply.level = {.value = 73, .bytes = 1};
  EXPECT_EQ(suppliesTable(printerOf({supply})), joined({kRecordHead, hex(R"(
      00 02 00 00              # two elements
      02 00 00 01 00 3B        # the group, long: one child, 59 bytes
        08 00 00 01 00 35      # the table, long: one child, 53 bytes
          01 00 00 00 00 2F    # supply 1: 47 bytes follow
          01 00 00 06 00 00    # six fields
            01 01 00 02 00 11            # fixed id
            02 01 00 04 00 00 00 12      # installed id
            03 01 00 05 42 6C 61 63 6B   # description
            07 01 00 01 01               # type
            0F 01 00 04 00 00 00 64      # max level
            10 01 00 01 49               # level
      03 01 00 00              # an element that hosts skip: they want two at least
  )")}));
}

TEST(SuppliesTable, LeavesOutWhatASupplyDoesNotHave) {
  LaserSupply nameless;
  nameless.number = 2;
  LaserSupply named;
  named.number = 7;
  named.description = "";
  EXPECT_EQ(suppliesTable(printerOf({nameless, named})), joined({kRecordHead, hex(R"(
      00 02 00 00
      02 00 00 01 00 22
        08 00 00 02 00 1C
          02 00 00 00 00 06  01 00 00 00 00 00
          07 00 00 00 00 0A  01 00 00 01 00 00  03 01 00 00
      03 01 00 00
  )")}));
}

TEST(SuppliesTable, PutsOtherFieldsByTheirTagAndCountsThem) {
  LaserSupply supply;
  supply.description = "K";
  supply.type = {.value = 5, .bytes = 1};
  supply.level = {.value = 9, .bytes = 1};
  supply.otherFields = {Element{.tag = 20, .longForm = false, .body = {}},
                        Element{.tag = 8, .longForm = true, .body = {0xAA, 0xBB}},
                        Element{.tag = 4, .longForm = false, .body = {0xCC}}};
  EXPECT_EQ(suppliesTable(printerOf({supply})), joined({kRecordHead, hex(R"(
      00 02 00 00
      02 00 00 01 00 32
        08 00 00 01 00 2C
          01 00 00 00 00 26
          01 00 00 06 00 00
            03 01 00 01 4B
            04 01 00 01 CC              # short: length in the third and fourth byte
            07 01 00 01 05
            08 00 00 00 00 02 AA BB     # long: in the fifth and sixth
            10 01 00 01 09
            14 01 00 00
      03 01 00 00
  )")}));
}

TEST(SuppliesTable, HasTheGivenElementsAroundGroupAndTable) {
  LaserModel printer;
  printer.beforeGroup = {Element{.tag = 1, .longForm = true, .body = {0x01}},
                         Element{.tag = 9, .longForm = false, .body = {0x02, 0x03}}};
  printer.afterGroup = {};
  printer.beforeTable = {Element{.tag = 7, .longForm = false, .body = {0x04}}};
  printer.afterTable = {Element{.tag = 10, .longForm = true, .body = {}}};
  EXPECT_EQ(suppliesTable(printer), joined({kRecordHead, hex(R"(
      00 03 00 00
      01 00 00 00 00 01 01
      09 01 00 02 02 03
      02 00 00 03 00 11
        07 01 00 01 04
        08 00 00 00 00 00    # a table without supplies
        0A 00 00 00 00 00
  )")}));
}

TEST(DeviceReply, HasFourBytesBeforeThePayloadOfItsFirstPacket) {
  const std::vector<std::size_t> sizes = {50};
  const auto packets = simulator::deviceReply({}, sizes);
  EXPECT_THAT(packets, ElementsAre(joined({hex("A5 00 37 70 E0 21 01 00"), kRecordHead,
                                           hex("00 02 00 00 02 00 00 01 00 06")}),
                                   hex("A5 00 0C 50 E0 08 00 00 00 00 00 03 01 00 00")));
}

TEST(FamilyRecord, OfType1IsOneFlatRecord) {
  LaserModel printer;
  printer.serialNumber = "AB12";
  printer.record = SingleSupplyRecord{.location = 0x21,
                                      .supply = 0x22,
                                      .firstPageCount = 0x23242526,
                                      .currentPageCount = 0x2728292A,
                                      .currentPageLevel = 0x2B2C2D2E,
                                      .previousPageLevel = 0x2F303132,
                                      .maxLevel = 0x33,
                                      .level = 0x34,
                                      .tonerType = 0x35,
                                      .partNumber = "P-1",
                                      .tonerCapacity = 0x36373839,
                                      .lastLevelLight = 0x3A3B,
                                      .lastLevelDark = 0x3C3D,
                                      .lightGradation = 0x3E3F,
                                      .darkGradation = 0x4041,
                                      .currentVantor = 0x4243};
  EXPECT_EQ(familyRecord(printer), hex(R"(
      04 41 42 31 32    # serial number
      01                # one supply
      26                # record length: 38 bytes of it
      21                # location
      01                # record type
      22                # supply
      23 24 25 26       # first page count
      27 28 29 2A       # current page count
      2B 2C 2D 2E       # current page level
      2F 30 31 32       # previous page level
      33 34             # number of levels, current transition
      35                # toner type
      03 50 2D 31       # part number
      36 37 38 39       # toner capacity
      3A 3B 3C 3D       # last levels, light and dark
      3E 3F 40 41       # gradations, light and dark
      42 43             # current Vantor value
  )"));
}

TEST(FamilyRecord, OfType2IsATableOf14Bytes) {
  LaserModel printer;
  printer.record = PagesRecord{
      {{.number = 1, .location = 5, .maxLevel = 0x100, .level = 0x80, .pagesCapacity = 0x1000},
       {.number = 2, .location = 6, .maxLevel = 0xFFFFFFFF, .level = 0, .pagesCapacity = 1}}};
  EXPECT_EQ(familyRecord(printer), hex(R"(
      00                # no serial number
      02 0E 00 02       # two supplies of 14 bytes, type 2
      01 05 00 00 01 00 00 00 00 80 00 00 10 00
      02 06 FF FF FF FF 00 00 00 00 00 00 00 01
  )"));
}

TEST(FamilyRecord, OfType3IsATableOf9Bytes) {
  LaserModel printer;
  printer.serialNumber = "S";
  printer.record = DotsRecord{{{.number = 7, .maxLevel = 256, .level = 128}}};
  EXPECT_EQ(familyRecord(printer), hex(R"(
      01 53
      01 09 00 03       # one supply of 9 bytes, type 3
      07 00 00 01 00 00 00 00 80
  )"));
}

TEST(FamilyRecord, OfAnotherTypeHasTheHeadAndTheGivenBytes) {
  LaserModel printer;
  printer.serialNumber = "S";
  printer.record = UnknownRecord{.type = 9, .body = {0x01, 0x02}};
  EXPECT_EQ(familyRecord(printer), hex("01 53  00 02 00 09  01 02"));
}

TEST(FamilyRecord, SaysTheGivenLength) {
  LaserModel printer;
  printer.record = DotsRecord{};
  printer.recordLength = 0x77;
  EXPECT_EQ(familyRecord(printer), hex("00  00 77 00 03"));
}

TEST(FamilyRecord, IsEmptyWithoutARecord) { EXPECT_EQ(familyRecord({}), Bytes{}); }

TEST(SuppliesReply, HasThreeBytesBeforeThePayloadOfItsFirstPacket) {
  LaserModel printer;
  printer.serialNumber = "S";
  printer.record = DotsRecord{{{.number = 7, .maxLevel = 256, .level = 128}}};
  EXPECT_THAT(simulator::suppliesReply(printer), ElementsAre(hex(R"(
      A5 00 13 50 E0 07 02
      01 53 01 09 00 03 07 00 00 01 00 00 00 00 80)")));
  const std::vector<std::size_t> sizes = {6, 1};
  EXPECT_THAT(simulator::suppliesReply(printer, sizes),
              ElementsAre(hex("A5 00 0A 70 E0 07 02 01 53 01 09 00 03"), hex("A5 00 03 70 E0 07"),
                          hex("A5 00 0A 50 E0 00 00 01 00 00 00 00 80")));
}

TEST(LaserReply, RefusesWhatItsCountsCannotCount) {
  LaserModel printer;
  printer.record = DotsRecord{};
  printer.serialNumber = std::string(256, 'S');
  EXPECT_THROW(familyRecord(printer), std::length_error);
  printer.serialNumber.clear();
  printer.record = DotsRecord{std::vector<DotsRecord::Supply>(256)};
  EXPECT_THROW(familyRecord(printer), std::length_error);
  LaserSupply supply;
  supply.description = std::string(0xFFFF, 'D');
  EXPECT_THROW(suppliesTable(printerOf({supply})), std::length_error);
  supply.description = "D";
  supply.level = {.value = 256, .bytes = 1};
  EXPECT_THROW(suppliesTable(printerOf({supply})), std::length_error);
}

}  // namespace
}  // namespace moxsupply::testing
