#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "simulator/InkjetReply.h"
#include "tests/support/Hex.h"

namespace moxsupply::testing {
namespace {

using simulator::InkjetModel;
using simulator::inkjetReply;
using ::testing::ElementsAre;

const InkjetModel kThreeItems = {.items = {{.id = 0x0019, .value = {0x02}},
                                           {.id = 0x0110, .value = {0xB0}},
                                           {.id = 0x0428, .value = {0x3D}}}};

TEST(InkjetReply, IsOnePacketOfCountAndItems) {
  EXPECT_THAT(inkjetReply(kThreeItems), ElementsAre(hex(R"(
      A5 00 13 50    # 19 bytes follow the length; the last packet
      E0 81 00 FF    # answers the inkjet query
      00 03          # three items
      00 19 01 02    # print head: code 2
      01 10 01 B0    # first cartridge: code B0
      04 28 01 3D    # cyan ink remaining: 61
  )")));
}

TEST(InkjetReply, IsCutIntoPacketsOfTheGivenPayloads) {
  const std::vector<std::size_t> sizes = {5, 8};
  EXPECT_THAT(inkjetReply(kThreeItems, sizes), ElementsAre(hex(R"(
      A5 00 0A 70 E0 81 00 FF    # more packets follow
      00 03 00 19 01)"),
                                                           hex(R"(
      A5 00 0A 70 E0             # a later packet has one byte before its payload
      02 01 10 01 B0 04 28 01)"),
                                                           hex(R"(
      A5 00 03 50 E0             # the last packet
      3D)")));
}

TEST(InkjetReply, NeedsNoFurtherPacketWhenTheSizesCoverItAll) {
  const std::vector<std::size_t> exact = {14};
  EXPECT_EQ(inkjetReply(kThreeItems, exact), inkjetReply(kThreeItems));
  const std::vector<std::size_t> beyond = {100, 100};
  EXPECT_EQ(inkjetReply(kThreeItems, beyond), inkjetReply(kThreeItems));
}

TEST(InkjetReply, HasAnEmptyPacketWhereTheSizeIsZero) {
  const std::vector<std::size_t> sizes = {0, 14};
  const auto packets = inkjetReply(kThreeItems, sizes);
  ASSERT_EQ(packets.size(), 2U);
  EXPECT_EQ(packets[0], hex("A5 00 05 70 E0 81 00 FF"));
}

TEST(InkjetReply, SaysTheGivenCountInsteadOfTheTrueOne) {
  const InkjetModel printer = {.items = {{.id = 0x0110}}, .itemCount = 0x0102};
  EXPECT_THAT(inkjetReply(printer), ElementsAre(hex(R"(
      A5 00 0A 50 E0 81 00 FF
      01 02          # the count
      01 10 00       # an item without a value
  )")));
}

TEST(InkjetReply, HasNoItemsWhenThePrinterHasNone) {
  EXPECT_THAT(inkjetReply({}), ElementsAre(hex("A5 00 07 50 E0 81 00 FF 00 00")));
}

TEST(InkjetReply, RefusesAValueThatItsLengthCannotCount) {
  EXPECT_NO_THROW(inkjetReply({.items = {{.id = 1, .value = Bytes(255)}}}));
  EXPECT_THROW(inkjetReply({.items = {{.id = 1, .value = Bytes(256)}}}), std::length_error);
}

TEST(InkjetReply, GoesOnInAFurtherPacketWhereTheLengthOfOneEnds) {
  InkjetModel printer;
  printer.items.assign(300, {.id = 0x0500, .value = Bytes(255)});
  const auto packets = inkjetReply(printer);
  ASSERT_EQ(packets.size(), 2U);
  EXPECT_EQ(packets[0].size(), 3U + 0xFFFF);
  EXPECT_THAT(Bytes(packets[0].begin(), packets[0].begin() + 8),
              ::testing::ElementsAreArray(hex("A5 FF FF 70 E0 81 00 FF")));
  constexpr std::size_t kPayload = 2 + 300 * 258;
  EXPECT_EQ(packets[1].size(), 5U + kPayload - (0xFFFF - 5));
}

}  // namespace
}  // namespace moxsupply::testing
