#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "npa/BigEndianReader.h"
#include "tests/support/Hex.h"

namespace moxsupply::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Optional;

constexpr std::size_t kFarAway = std::numeric_limits<std::size_t>::max();

TEST(BigEndianReader, ReadsTheMostSignificantByteFirst) {
  const Bytes bytes = hex("12 34 56 78 9A");
  const BigEndianReader reader(bytes);
  EXPECT_EQ(reader.u8(0), 0x12);
  EXPECT_EQ(reader.u16(0), 0x1234);
  EXPECT_EQ(reader.u32(0), 0x12345678U);
  EXPECT_EQ(reader.u8(4), 0x9A);
  EXPECT_EQ(reader.u16(3), 0x789A);
  EXPECT_EQ(reader.u32(1), 0x3456789AU);
  EXPECT_EQ(reader.number(1, 1), 0x34U);
  EXPECT_EQ(reader.number(1, 3), 0x345678U);
}

TEST(BigEndianReader, ReadsTheTopBitAsPartOfTheNumber) {
  const Bytes bytes = hex("FF FF FF FE");
  const BigEndianReader reader(bytes);
  EXPECT_EQ(reader.u8(0), 255);
  EXPECT_EQ(reader.u16(0), 65535);
  EXPECT_EQ(reader.u32(0), 4294967294U);
}

TEST(BigEndianReader, GivesNothingForANumberThatIsCutOrBeyondTheEnd) {
  const Bytes bytes = hex("01 02 03 04");
  const BigEndianReader reader(bytes);
  EXPECT_EQ(reader.u8(4), std::nullopt);
  EXPECT_EQ(reader.u16(3), std::nullopt);
  EXPECT_EQ(reader.u16(4), std::nullopt);
  EXPECT_EQ(reader.u32(1), std::nullopt);
  EXPECT_EQ(reader.u32(5), std::nullopt);
  EXPECT_EQ(reader.number(2, 3), std::nullopt);
}

TEST(BigEndianReader, DoesNotWrapAtTheLargestOffset) {
  const Bytes bytes = hex("01 02 03 04");
  const BigEndianReader reader(bytes);
  EXPECT_EQ(reader.u8(kFarAway), std::nullopt);
  EXPECT_EQ(reader.u16(kFarAway), std::nullopt);
  EXPECT_EQ(reader.u32(kFarAway - 2), std::nullopt);
  EXPECT_EQ(reader.bytes(kFarAway, 2), std::nullopt);
  EXPECT_EQ(reader.bytes(2, kFarAway), std::nullopt);
  EXPECT_THAT(reader.bytesAsFarAsTheyGo(kFarAway, kFarAway), IsEmpty());
}

TEST(BigEndianReader, GivesARunThatLiesWholeBeforeTheEnd) {
  const Bytes bytes = hex("01 02 03 04");
  const BigEndianReader reader(bytes);
  EXPECT_THAT(reader.bytes(1, 2), Optional(ElementsAre(0x02, 0x03)));
  EXPECT_THAT(reader.bytes(1, 3), Optional(ElementsAre(0x02, 0x03, 0x04)));
  EXPECT_EQ(reader.bytes(1, 4), std::nullopt);
}

TEST(BigEndianReader, GivesAnEmptyRunUpToTheEndAndNoneBeyond) {
  const Bytes bytes = hex("01 02");
  const BigEndianReader reader(bytes);
  EXPECT_THAT(reader.bytes(2, 0), Optional(IsEmpty()));
  EXPECT_EQ(reader.bytes(3, 0), std::nullopt);
}

TEST(BigEndianReader, GivesWhatIsThereOfARunThatMayBeCut) {
  const Bytes bytes = hex("01 02 03");
  const BigEndianReader reader(bytes);
  EXPECT_THAT(reader.bytesAsFarAsTheyGo(1, 1), ElementsAre(0x02));
  EXPECT_THAT(reader.bytesAsFarAsTheyGo(1, 2), ElementsAre(0x02, 0x03));
  EXPECT_THAT(reader.bytesAsFarAsTheyGo(1, 3), ElementsAre(0x02, 0x03));
  EXPECT_THAT(reader.bytesAsFarAsTheyGo(1, kFarAway), ElementsAre(0x02, 0x03));
  EXPECT_THAT(reader.bytesAsFarAsTheyGo(3, 1), IsEmpty());
  EXPECT_THAT(reader.bytesAsFarAsTheyGo(4, 1), IsEmpty());
}

TEST(BigEndianReader, GivesNothingOfNoBytes) {
  const BigEndianReader reader({});
  EXPECT_EQ(reader.size(), 0U);
  EXPECT_EQ(reader.u8(0), std::nullopt);
  EXPECT_THAT(reader.bytes(0, 0), Optional(IsEmpty()));
  EXPECT_THAT(reader.bytesAsFarAsTheyGo(0, 1), IsEmpty());
}

}  // namespace
}  // namespace moxsupply::testing
