#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "links/Identities.h"
#include "tests/support/LaserRecords.h"
#include "tests/support/MadeSupply.h"

namespace moxsupply::testing {
namespace {

Supplies laserPrinter(std::size_t count) {
  Supplies supplies;
  supplies.kind = PrinterKind::kLaser;
  for (std::size_t i = 0; i < count; ++i) {
    supplies.list.push_back(madeSupply({.name = "Toner", .level = 50}));
  }
  return supplies;
}

// What comes upon the request for the record, in these pieces.
transcript::Session answers(const std::vector<Bytes>& pieces) {
  transcript::Session session{"Laser", "socket", 2, {}};
  for (const Bytes& piece : pieces) {
    session.operations.push_back({transcript::Event::kReceived, {}, piece});
  }
  return session;
}

Supplies identified(std::size_t count, const Bytes& record) {
  Supplies supplies = laserPrinter(count);
  addIdentities(supplies, answers({queryReply(record)}));
  return supplies;
}

const std::string kSerialS123 = "04 53 31 32 33";

// A record of type 1 about one supply: its number, its two page counts, its part, its capacity.
Bytes recordOfOne(const std::string& suppliesCount, const std::string& number,
                  const std::string& pageCounts, const std::string& partNumber) {
  return hex(kSerialS123 + suppliesCount + "30 03 01"  // record length, location, type
             + number + pageCounts +
             "00 00 00 50 00 00 00 51"  // page levels
             "08 06 02"                 // eight levels, at the sixth, toner type
             + partNumber +
             "00 00 17 70"  // capacity: 6000
             "00 01 00 02 00 03 00 04 00 05");
}
const std::string k1To1234 = "00 00 00 01 00 00 04 D2";
const std::string kTn42 = "05 54 4E 2D 34 32";

TEST(Identities, OfARecordOfOneSupplyAreThatSupplys) {
  const Supplies supplies = identified(2, recordOfOne("01", "02", k1To1234, kTn42));
  const Supply& second = supplies.list[1];
  EXPECT_EQ(second.part, "TN-42");
  EXPECT_EQ(second.serial, "S123");
  EXPECT_EQ(second.pages.printed, 1233U);
  EXPECT_EQ(second.pages.capacity, 6000U);
  EXPECT_EQ(second.level, 50) << "the level stays";

  const Supply& first = supplies.list[0];
  EXPECT_EQ(first.part + first.serial, "");
  EXPECT_FALSE(first.pages.printed || first.pages.capacity);
}

TEST(Identities, HaveNoSerialNumberThatIsOfSeveralSupplies) {
  const Supplies supplies = identified(2, recordOfOne("02", "02", k1To1234, kTn42));
  EXPECT_EQ(supplies.list[1].part, "TN-42");
  EXPECT_EQ(supplies.list[1].serial, "");
}

TEST(Identities, HaveNoPagesThatWentBackwards) {
  const Supplies supplies =
      identified(1, recordOfOne("01", "01", "00 00 04 D2 00 00 00 01", kTn42));
  EXPECT_FALSE(supplies.list[0].pages.printed);
}

TEST(Identities, CountPagesAsUnsignedNumbers) {
  const Supplies supplies =
      identified(1, recordOfOne("01", "01", "7F FF FF FF 80 00 00 09", kTn42));
  EXPECT_EQ(supplies.list[0].pages.printed, 10U);
}

TEST(Identities, OfASupplyThatIsNotReportedAreNobodys) {
  for (const char* number : {"00", "03", "FF"}) {
    const Supplies supplies = identified(2, recordOfOne("01", number, k1To1234, kTn42));
    for (const Supply& supply : supplies.list) EXPECT_EQ(supply.part, "") << number;
  }
}

TEST(Identities, MakeTextsHarmless) {
  const Supplies supplies =
      identified(1, recordOfOne("01", "01", k1To1234, "06 54 0A 1B 5B 20 20"));
  EXPECT_EQ(supplies.list[0].part, "T [");
  EXPECT_EQ(identified(1, recordOfOne("01", "01", k1To1234, "02 20 20")).list[0].part, "");
}

TEST(Identities, OfATableAreCapacities) {
  const Bytes table = hex(kSerialS123 +
                          "02 4C 00 02"
                          "01 00 00 00 00 64 00 00 00 01 00 00 13 88"
                          "02 01 00 00 00 64 00 00 00 01 00 00 00 00");
  const Supplies supplies = identified(2, table);
  EXPECT_EQ(supplies.list[0].pages.capacity, 5000U);
  EXPECT_FALSE(supplies.list[0].pages.printed);
  EXPECT_FALSE(supplies.list[1].pages.capacity) << "0 is not told";
  EXPECT_EQ(supplies.list[0].serial + supplies.list[1].serial, "");
}

TEST(Identities, OfATableOfOneHaveItsSerialNumber) {
  const Bytes table = hex(kSerialS123 + "01 4C 00 02 01 00 00 00 00 64 00 00 00 01 00 00 13 88");
  EXPECT_EQ(identified(1, table).list[0].serial, "S123");
}

TEST(Identities, ComeFromTheAnswerBehindOtherReplies) {
  const Bytes record = recordOfOne("01", "01", k1To1234, kTn42);
  Supplies supplies = laserPrinter(1);
  addIdentities(supplies, answers({deviceReply(suppliesRecord(std::vector<Bytes>{})),
                                   queryReplyInTwo(record, 20)}));
  EXPECT_EQ(supplies.list[0].part, "TN-42");
}

TEST(Identities, AreNoneWithoutARecord) {
  for (const auto& pieces : std::vector<std::vector<Bytes>>{
           {}, {hex("A5")}, {hex("A5 00 06 50 E0 07 02 00 00")}, {Bytes(5000, 0xA5)}}) {
    Supplies supplies = laserPrinter(1);
    addIdentities(supplies, answers(pieces));
    EXPECT_EQ(supplies.list[0].part + supplies.list[0].serial, "");
  }
}

}  // namespace
}  // namespace moxsupply::testing
