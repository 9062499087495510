#include <gtest/gtest.h>

#include "tests/support/Hex.h"
#include "transcript/SerialNumbers.h"

namespace moxsupply::testing {
namespace {

// A reply to the supplies query in two packets, the serial number "AB01234" cut between them.
const Bytes kReply = hex(R"(
    A5 00 0A 70  E0 07 02   07 41 42 30 31 32
    A5 00 06 50  A5         33 34 01 02)");
const Bytes kBlanked = hex(R"(
    A5 00 0A 70  E0 07 02   07 30 30 30 30 30
    A5 00 06 50  A5         30 30 01 02)");

Bytes blanked(const std::vector<Bytes>& pieces) {
  transcript::SerialNumbers serialNumbers;
  Bytes all;
  for (Bytes piece : pieces) {
    serialNumbers.blankIn(piece);
    all.insert(all.end(), piece.begin(), piece.end());
  }
  return all;
}

TEST(SerialNumbers, BecomeZeros) { EXPECT_EQ(hexText(blanked({kReply})), hexText(kBlanked)); }

TEST(SerialNumbers, BecomeZerosHoweverTheyAreCut) {
  for (std::size_t cut = 0; cut <= kReply.size(); ++cut) {
    const auto at = kReply.begin() + static_cast<std::ptrdiff_t>(cut);
    EXPECT_EQ(hexText(blanked({{kReply.begin(), at}, {at, kReply.end()}})), hexText(kBlanked))
        << cut;
  }
  std::vector<Bytes> bytes;
  for (const std::uint8_t byte : kReply) bytes.push_back({byte});
  EXPECT_EQ(hexText(blanked(bytes)), hexText(kBlanked));
}

// Where an answer begins does not depend on what came before, and least of all on what that said
// of itself.
TEST(SerialNumbers, BecomeZerosBehindAnyReply) {
  for (const Bytes& before :
       {hex("A5 00 06 70 E0 21 01 00 FF"),                       // says that more packets follow
        hex("A5 00 06 70 E0 21 01 00 FF A5 00 04 70 A5 01 02"),  // and breaks off at a packet's end
        hex("A5 00 20 50 E0 21 01 00 FF"),                       // in the middle of a packet
        hex("A5 FF FF 50 E0"), hex("A5 00 00"), hex("A5 A5 A5"), hex("A5 00"), hex("E0 07 02 A5"),
        hex("A5 00 04 50 E0 07 02")}) {
    const Bytes expected = joined({before, kBlanked});
    EXPECT_EQ(hexText(blanked({before, kReply})), hexText(expected));
    EXPECT_EQ(hexText(blanked({joined({before, kReply})})), hexText(expected));
    for (std::size_t cut = 1; cut < before.size() + kReply.size(); ++cut) {
      const Bytes all = joined({before, kReply});
      EXPECT_EQ(hexText(blanked({firstBytes(all, cut), bytesFrom(all, cut)})), hexText(expected))
          << "cut at " << cut;
    }
  }
}

TEST(SerialNumbers, BecomeZerosWhateverTheFlagsSay) {
  for (unsigned flags = 0; flags < 256; ++flags) {
    Bytes reply = kReply;
    Bytes expected = kBlanked;
    for (const std::size_t at : {3U, 16U}) {
      put(reply, at, u8(flags));
      put(expected, at, u8(flags));
      EXPECT_EQ(hexText(blanked({reply, kReply})), hexText(joined({expected, kBlanked}))) << flags;
    }
  }
}

// A serial number that is not whole at the end of its packet may stand there or in the next one.
TEST(SerialNumbers, BecomeZerosWhereThePacketIsLongerThanItSays) {
  EXPECT_EQ(hexText(blanked({hex("A5 00 07 50 E0 07 02 04 41 42 43 44 01")})),
            hexText(hex("A5 00 07 50 E0 07 02 04 30 30 30 30 30")));
  EXPECT_EQ(hexText(blanked({hex("A5 00 00 50 E0 07 02 04 41 42 43 44 01")})),
            hexText(hex("A5 00 00 50 E0 07 02 30 30 30 30 30 30")));
  EXPECT_EQ(hexText(blanked({hex("A5 00 07 50 E0 07 02 04 41 42 43 A5 00 02 50 00 43 44 45")})),
            hexText(hex("A5 00 07 50 E0 07 02 04 30 30 30 A5 00 02 50 00 30 30 30")));
}

TEST(SerialNumbers, BecomeZerosInEveryReply) {
  EXPECT_EQ(hexText(blanked({joined({kReply, kReply})})), hexText(joined({kBlanked, kBlanked})));
  EXPECT_EQ(hexText(blanked({hex("00 FF"), kReply, hex("12"), kReply})),
            hexText(joined({hex("00 FF"), kBlanked, hex("12"), kBlanked})));
}

TEST(SerialNumbers, BecomeZerosWhenThePrinterBeginsAgain) {
  for (const std::size_t size : {1U, 5U, 9U, 11U}) {
    const Bytes begun(kReply.begin(), kReply.begin() + static_cast<std::ptrdiff_t>(size));
    const Bytes begunBlanked(kBlanked.begin(),
                             kBlanked.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_EQ(hexText(blanked({begun, kReply})), hexText(joined({begunBlanked, kBlanked}))) << size;
  }
}

TEST(SerialNumbers, OfOtherRepliesAreNone) {
  for (const Bytes& reply : {hex("A5 00 09 50 E0 21 01 00 04 41 42 43 44"),
                             hex("A5 00 09 50 E0 81 00 FF 04 41 42 43 44"),
                             hex("A5 00 09 50 E0 07 03 04 41 42 43 44 45"), hex("A5 00 00"),
                             hex("E0 07 02 04 41 42 43 44")}) {
    EXPECT_EQ(hexText(blanked({reply})), hexText(reply));
  }
}

}  // namespace
}  // namespace moxsupply::testing
