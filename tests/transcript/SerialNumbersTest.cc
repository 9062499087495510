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
  // Each A5 that comes alone is the start of a packet to those who read, too: the later packet is
  // then none of this reply's.
  bytes.resize(13);
  EXPECT_EQ(hexText(blanked(bytes)), hexText({kBlanked.begin(), kBlanked.begin() + 13}));
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
