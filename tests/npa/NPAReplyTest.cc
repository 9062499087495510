#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "npa/MoxNPAUtilityCommand.h"
#include "tests/support/FilterProcess.h"
#include "tests/support/Hex.h"
#include "tests/support/Packet.h"

// How the reader takes a reply apart depends on which bytes each read brings. The tests send in
// pieces, so that no read brings more than a piece, and then end the back channel. A last piece
// that is still there afterwards shows that the reader stopped by itself; one that is gone, that it
// went on reading.

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;

constexpr std::uint8_t kUnwritten = 0xCC;  // in no packet of these tests
constexpr std::uint32_t kReadTimeout = 8;  // seconds; no test waits for it

// What one call made of the bytes that came, as a line of text.
std::string reading(int status, std::size_t length, const Bytes& stored, const Bytes& left) {
  return fmt::format("{}, length {}: [{}] left [{}]", status, length, hexText(stored),
                     hexText(left));
}

// A reply of 6 bytes or more, and what the reader left on the channel.
std::string gathered(const Bytes& stored, const Bytes& left = {}) {
  return reading(0, stored.size(), stored, left);
}

// Less than 6 bytes: no reply, although the bytes stand in the output.
std::string tooShort(const Bytes& stored, const Bytes& left = {}) {
  return reading(-1, 0, stored, left);
}

struct Call {
  Status status = Status::kSuccess;
  std::uint32_t length = 12345;
  Bytes stored;  // the output without what was not written at its end
};

Call getReply(std::size_t capacity, std::uint32_t timeout) {
  Call call;
  call.stored = repeated(kUnwritten, capacity);
  call.status = MoxNPAUtilityCommand().getNPAReply(call.stored, call.length, timeout);
  while (!call.stored.empty() && call.stored.back() == kUnwritten) call.stored.pop_back();
  return call;
}

std::string readInFilter(std::size_t capacity = 4096, std::uint32_t timeout = kReadTimeout) {
  const Call call = getReply(capacity, timeout);
  return reading(signedNumber(call.status), call.length, call.stored, restOfBackChannel());
}

// As above, for bytes too many to look at.
std::string countInFilter() {
  const Call call = getReply(4096, kReadTimeout);
  return fmt::format("{}, length {}: {} stored, {} left", signedNumber(call.status), call.length,
                     call.stored.size(), restOfBackChannel().size());
}

std::string readFrom(const std::vector<Bytes>& pieces, std::size_t capacity = 4096) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, [=] { return readInFilter(capacity); });
  filter.sendInPieces(pieces);
  filter.endBackChannel();
  return filter.wait().result;
}

std::string countFrom(const std::vector<Bytes>& pieces) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, countInFilter);
  filter.sendInPieces(pieces);
  filter.endBackChannel();
  return filter.wait().result;
}

// Each message answers one read: what the read does not ask for of it is lost. So the bytes that
// are stored of a long message count how many the reader asked for.
std::string readFromMessages(const std::vector<Bytes>& messages) {
  FilterProcess filter(BackChannel::kMessages, [] { return readInFilter(); });
  for (const Bytes& message : messages) filter.send(message);
  filter.endBackChannel();
  return filter.wait().result;
}

const Bytes kLastPiece = hex("EE");  // a last piece

const Bytes kOnePacket = hex(R"(
  A5 00 09                 # 9 bytes follow: a packet of 12
  50                       # the last packet of the reply
  E0 81 00 FF 31 32 33 34
)");

const Bytes kFirstOfTwo = hex(R"(
  A5 00 09                 # 9 bytes follow: a packet of 12
  70                       # bit 20: more packets follow
  E0 81 00 FF 31 32 33 34
)");

const Bytes kSecondOfTwo = hex(R"(
  A5 00 06                 # 6 bytes follow: a packet of 9
  50                       # the last packet of the reply
  E1 41 42 43 44
)");

const Bytes kTwoPackets = joined({kFirstOfTwo, kSecondOfTwo});

// The whole reply at once

TEST(NPAReply, OfOnePacketEndsWithItsLastByte) {
  EXPECT_EQ(readFrom({kOnePacket, kLastPiece}), gathered(kOnePacket, kLastPiece));
}

TEST(NPAReply, OfTwoPacketsHoldsBothWithTheirHeads) {
  EXPECT_EQ(readFrom({kTwoPackets, kLastPiece}), gathered(kTwoPackets, kLastPiece));
}

TEST(NPAReply, OfThreePacketsHoldsAllThree) {
  const Bytes reply = joined({kFirstOfTwo, kFirstOfTwo, kSecondOfTwo});
  EXPECT_EQ(readFrom({reply, kLastPiece}), gathered(reply, kLastPiece));
}

TEST(NPAReply, LeavesTheNextReplyOnTheChannel) {
  EXPECT_EQ(readFrom({joined({kOnePacket, kTwoPackets})}), gathered(kOnePacket, kTwoPackets));
}

TEST(NPAReply, DoesNotWaitOnceItIsWhole) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, [] {
    const auto start = std::chrono::steady_clock::now();
    const Call call = getReply(4096, kReadTimeout);
    return fmt::format("{} {}", call.length,
                       std::chrono::steady_clock::now() - start < 4s ? "at once" : "late");
  });
  filter.send(kOnePacket);  // and the channel stays open
  EXPECT_EQ(filter.wait().result, "12 at once");
}

// Bit 20 of the flags, and no other, announces more packets.
class PacketFlags : public ::testing::TestWithParam<std::uint8_t> {};

std::string flagsName(const ::testing::TestParamInfo<std::uint8_t>& info) {
  return fmt::format("Flags{:02X}", info.param);
}

class FlagsOfALastPacket : public PacketFlags {};
INSTANTIATE_TEST_SUITE_P(NPAReply, FlagsOfALastPacket,
                         ::testing::Values(0x00, 0x10, 0x40, 0x50, 0x80, 0xDF), flagsName);

TEST_P(FlagsOfALastPacket, EndTheReply) {
  const Bytes reply = packet(GetParam(), hex("E0 81 00 FF 31"));
  EXPECT_EQ(readFrom({reply, kSecondOfTwo}), gathered(reply, kSecondOfTwo));
}

class FlagsOfAnEarlierPacket : public PacketFlags {};
INSTANTIATE_TEST_SUITE_P(NPAReply, FlagsOfAnEarlierPacket,
                         ::testing::Values(0x20, 0x60, 0x70, 0xA0, 0xFF), flagsName);

TEST_P(FlagsOfAnEarlierPacket, AskForTheNextPacket) {
  const Bytes first = packet(GetParam(), hex("E0 81 00 FF 31"));
  EXPECT_EQ(readFrom({first, kSecondOfTwo, kLastPiece}),
            gathered(joined({first, kSecondOfTwo}), kLastPiece));
}

TEST(NPAReply, IsDecidedByTheFlagsOfItsLatestPacket) {
  const Bytes last = packet(0x40, hex("E2 51 52"));
  EXPECT_EQ(readFrom({kFirstOfTwo, last, kSecondOfTwo}),
            gathered(joined({kFirstOfTwo, last}), kSecondOfTwo));
}

// How much each read asks for

TEST(NPAReplyReads, AskForFiveBytesThenForTheRestOfThePacket) {
  EXPECT_EQ(readFromMessages({
                hex("A5 00 09 50 E0 AA AA AA AA AA AA AA AA"),  // 5 are asked for
                hex("81 00 FF 31 32 33 34 BB BB BB BB"),        // then 7
                kLastPiece,
            }),
            gathered(kOnePacket, kLastPiece));
}

TEST(NPAReplyReads, AskForFiveBytesOfTheNextPacket) {
  EXPECT_EQ(readFromMessages({
                hex("A5 00 09 70 E0"),                 //
                hex("81 00 FF 31 32 33 34"),           //
                hex("A5 00 06 50 E1 AA AA AA AA AA"),  // 5 are asked for
                hex("41 42 43 44 BB BB BB BB BB"),     // then 4
                kLastPiece,
            }),
            gathered(kTwoPackets, kLastPiece));
}

TEST(NPAReplyReads, AskFor512BytesAtMost) {
  EXPECT_EQ(readFromMessages({
                hex("A5 04 AD 50 E0"),  // 4AD: a packet of 1200
                repeated(0x11, 600),    // 1195 are missing, 512 are asked for
                repeated(0x22, 600),    // 683 are missing, 512 are asked for
                repeated(0x33, 600),    // 171 are missing
                kLastPiece,
            }),
            gathered(joined({hex("A5 04 AD 50 E0"), repeated(0x11, 512), repeated(0x22, 512),
                             repeated(0x33, 171)}),
                     kLastPiece));
}

TEST(NPAReplyReads, AskFor512BytesWhenExactlySoManyAreMissing) {
  EXPECT_EQ(readFromMessages({
                hex("A5 02 02 50 E0"),  // 202: a packet of 517
                repeated(0x11, 600),    //
                kLastPiece,
            }),
            gathered(joined({hex("A5 02 02 50 E0"), repeated(0x11, 512)}), kLastPiece));
}

TEST(NPAReplyReads, AskFor512BytesWhenOneMoreIsMissing) {
  EXPECT_EQ(readFromMessages({
                hex("A5 02 03 50 E0"),  // 203: a packet of 518
                repeated(0x11, 600),    // 512 are asked for
                repeated(0x22, 600),    // 6 are asked for, 1 is missing
                kLastPiece,
            }),
            gathered(joined({hex("A5 02 03 50 E0"), repeated(0x11, 512), hex("22")}), kLastPiece));
}

// The size of a read that goes on with a packet comes from the read before it, not from all that
// came of the packet: 20 - 3 = 17 bytes are asked for where 12 are missing.
TEST(NPAReplyReads, AskForThePacketLessWhatTheReadBeforeBrought) {
  const Bytes head = hex("A5 00 11 50 E0");  // 11: a packet of 20
  const Bytes three = hex("01 02 03");
  const Bytes twelve = hex("04 05 06 07 08 09 0A 0B 0C 0D 0E 0F");
  EXPECT_EQ(readFrom({head, three, joined({twelve, hex("D1 D2 D3 D4 D5 D6")})}),
            gathered(joined({head, three, twelve}), hex("D6")));
}

TEST(NPAReplyReads, CountWhatTheyStoredWhenTheyAskAgain) {
  EXPECT_EQ(
      readFromMessages({
          hex("A5 00 11 50 E0"),  // 11: a packet of 20
          hex("01 02 03"),        // 15 are asked for, 3 come
          hex("04 05 06 07"),     // 17 are asked for, 4 come
          repeated(0x11, 100),    // 16 are asked for, 8 are missing
          kLastPiece,
      }),
      gathered(hex("A5 00 11 50 E0 01 02 03 04 05 06 07 11 11 11 11 11 11 11 11"), kLastPiece));
}

// The first byte of a packet

TEST(NPAReply, DropsAReadThatDoesNotBeginWithTheStartByte) {
  EXPECT_EQ(readFrom({hex("11 22 33 44 55"), kOnePacket, kLastPiece}),
            gathered(kOnePacket, kLastPiece));
}

TEST(NPAReply, DropsReadsUntilOneBeginsWithTheStartByte) {
  const Bytes noise = hex("11 22 33 44 55  00 00 00 00 00  A4 A5 A5 A5 A5");
  EXPECT_EQ(readFrom({joined({noise, kOnePacket}), kLastPiece}), gathered(kOnePacket, kLastPiece));
}

// The packet's first two bytes go with the three before them, in one read.
TEST(NPAReply, MissesAPacketThatBeginsWithinARead) {
  EXPECT_EQ(readFrom({joined({hex("11 22 33"), kOnePacket}), kLastPiece}), tooShort({}));
}

// Three bytes were dropped, so three are asked for: the flags, in the next read, go unseen, and
// nothing tells that a second packet follows.
TEST(NPAReply, AsksForAsManyBytesAsItDropped) {
  EXPECT_EQ(readFrom({hex("11 22 33"), kFirstOfTwo, kSecondOfTwo}),
            gathered(kFirstOfTwo, kSecondOfTwo));
}

TEST(NPAReply, TakesAPacketByItsFirstByteAloneWhenOneByteWasDropped) {
  EXPECT_EQ(readFrom({hex("11"), kOnePacket}),
            tooShort(hex("A5 00 09"),  // A5 alone has length 0: a packet of 3
                     hex("50 E0 81 00 FF 31 32 33 34")));
}

// Two bytes were dropped between the packets, so two are asked for: "A5 00" has length 0, a packet
// of 3 bytes without flags.
TEST(NPAReply, AsksForAsManyBytesAsItDroppedBetweenPackets) {
  EXPECT_EQ(readFrom({kFirstOfTwo, hex("11 22"), kSecondOfTwo}),
            gathered(joined({kFirstOfTwo, hex("A5 00 06")}), hex("50 E1 41 42 43 44")));
}

TEST(NPAReply, TakesAReadThatGoesOnWithTheStartByteForANewPacket) {
  const Bytes head = hex("A5 00 09 50 E0");        // a packet of 12
  const Bytes rest = hex("A5 00 04 50 61 62 63");  // its last 7 bytes look like a packet of 7
  // The look-alike came whole in one read: another is waited for, though no flags announce it.
  EXPECT_EQ(readFrom({head, rest, kLastPiece}), gathered(joined({head, rest})));
  EXPECT_EQ(readFrom({head, rest, kSecondOfTwo, kLastPiece}),
            gathered(joined({head, rest, kSecondOfTwo}), kLastPiece));
}

TEST(NPAReply, GoesOnWithTheLookAlikeWhenItIsCut) {
  const Bytes head = hex("A5 00 05 50 E0");  // a packet of 8
  const Bytes rest = hex("A5 00 07");        // its last 3 bytes look like the head of one of 10
  EXPECT_EQ(readFrom({joined({head, rest}), hex("50 61 62 63 64 65 66"), kLastPiece}),
            gathered(joined({head, rest, hex("50 61 62 63 64 65 66")}), kLastPiece));
}

// A packet that comes whole in one read

class SmallestPacket : public PacketFlags {};
INSTANTIATE_TEST_SUITE_P(NPAReply, SmallestPacket, ::testing::Values(0x00, 0x50, 0x70), flagsName);

TEST_P(SmallestPacket, WaitsForAnotherWhateverItsFlags) {
  const Bytes five = packet(GetParam(), hex("E0"));
  EXPECT_EQ(readFrom({five, kLastPiece}), tooShort(five));
  EXPECT_EQ(readFrom({five, kOnePacket, kLastPiece}),
            gathered(joined({five, kOnePacket}), kLastPiece));
}

TEST(NPAReply, OfTwoPacketsOfFiveBytesIsLongEnough) {
  const Bytes two = hex("A5 00 02 50 E0  A5 00 02 50 E1");
  EXPECT_EQ(readFrom({two}), gathered(two));
}

TEST(NPAReply, WaitsForAnotherAfterAPacketOfFourOrThreeBytes) {
  const Bytes four = hex("A5 00 01 50");
  EXPECT_EQ(readFrom({four, kOnePacket, kLastPiece}),
            gathered(joined({four, kOnePacket}), kLastPiece));
  const Bytes three = hex("A5 00 00");
  EXPECT_EQ(readFrom({three, kOnePacket, kLastPiece}),
            gathered(joined({three, kOnePacket}), kLastPiece));
}

TEST(NPAReply, WaitsOnAfterASecondPacketThatCameWhole) {
  const Bytes five = hex("A5 00 02 50 E1");
  EXPECT_EQ(readFrom({kFirstOfTwo, five, kLastPiece}), gathered(joined({kFirstOfTwo, five})));
}

// More bytes than the packet has

TEST(NPAReply, KeepsWhatIsTooMuchInAReadThatStartsAPacket) {
  EXPECT_EQ(readFrom({hex("A5 00 01 50 D1"), kLastPiece}),
            tooShort(hex("A5 00 01 50 D1"), kLastPiece));
  EXPECT_EQ(
      readFrom({kFirstOfTwo, hex("A5 00 01 70 D1 D2"), kLastPiece}),
      gathered(joined({kFirstOfTwo, hex("A5 00 01 70 D1")}), joined({hex("D2"), kLastPiece})));
}

TEST(NPAReply, KeepsWhatIsTooMuchAfterAPacketInsideAPacket) {
  const Bytes head = hex("A5 00 0C 50 E0");              // a packet of 15
  const Bytes rest = hex("A5 00 02 70 61 D1 D2 D3 D4");  // among its bytes one of 5
  EXPECT_EQ(readFrom({head, rest, kLastPiece}), gathered(joined({head, rest}), kLastPiece));
}

TEST(NPAReply, DropsWhatIsTooMuchInAReadThatGoesOnWithAPacket) {
  const Bytes head = hex("A5 00 05 70 E0");  // a packet of 8
  // 8 - 1 = 7 bytes are asked for where 2 are missing.
  EXPECT_EQ(readFrom({head, hex("01"), hex("02 03 D1 D2 D3 D4 D5"), kSecondOfTwo, kLastPiece}),
            gathered(joined({head, hex("01 02 03"), kSecondOfTwo}), kLastPiece));
}

// Packet sizes beyond 16 bits

class LengthThatWraps : public ::testing::TestWithParam<const char*> {};
INSTANTIATE_TEST_SUITE_P(NPAReply, LengthThatWraps, ::testing::Values("FFFD", "FFFE", "FFFF"),
                         [](const auto& row) { return std::string(row.param); });

// A packet of 0, 1 or 2 bytes: any start of a packet has more.
TEST_P(LengthThatWraps, EndsTheReplyAtOnce) {
  const Bytes head = joined({hex("A5"), hex(GetParam())});
  const Bytes start = joined({head, hex("70 E0")});
  EXPECT_EQ(readFrom({joined({start, hex("D1 D2")})}), tooShort(start, hex("D1 D2")));
  EXPECT_EQ(readFrom({kFirstOfTwo, joined({start, hex("D1 D2")})}),
            gathered(joined({kFirstOfTwo, start}), hex("D1 D2")));
  EXPECT_EQ(readFrom({head, kLastPiece}), tooShort(head, kLastPiece));
}

TEST(NPAReply, GoesOnWithThePacketOfTheGreatestLengthThatDoesNotWrap) {
  const Bytes start = hex("A5 FF FC 50 E0 01 02");
  EXPECT_EQ(readFrom({start, hex("03 04")}), gathered(joined({start, hex("03 04")})));
}

// Every cut of a reply into two reads

// The same happens at every cut between two places.
struct Cuts {
  const char* name;
  int first;
  int last;
  std::string expected;
};

class ReplyCutInTwo : public ::testing::TestWithParam<Cuts> {
 protected:
  static void expectForEachCutOf(const Bytes& reply) {
    for (int cut = GetParam().first; cut <= GetParam().last; ++cut) {
      const auto at = static_cast<std::size_t>(cut);
      EXPECT_EQ(readFrom({firstBytes(reply, at), bytesFrom(reply, at), kLastPiece}),
                GetParam().expected)
          << "cut after " << cut << " bytes";
    }
  }
};

std::string cutsName(const ::testing::TestParamInfo<Cuts>& info) { return info.param.name; }

class OnePacketCutInTwo : public ReplyCutInTwo {};
TEST_P(OnePacketCutInTwo, IsReadAsTheTableSays) { expectForEachCutOf(kOnePacket); }

INSTANTIATE_TEST_SUITE_P(
    NPAReply, OnePacketCutInTwo,
    ::testing::Values(
        // The length is taken as 0, which makes a packet of 3 bytes: it ends with "09".
        Cuts{"LengthCut", 1, 2,
             tooShort(hex("A5 00 09"), joined({hex("50 E0 81 00 FF 31 32 33 34"), kLastPiece}))},
        // The flags are taken as 0, and the packet was the last anyway.
        Cuts{"FlagsInTheSecondRead", 3, 3, gathered(kOnePacket, kLastPiece)},
        // The head is whole, and the rest comes in one read.
        Cuts{"BodyInTheSecondRead", 4, 5, gathered(kOnePacket, kLastPiece)},
        // 5 bytes, then 1 to 6, then the rest; more is asked for than that, but no more is there.
        Cuts{"BodyCut", 6, 11, gathered(kOnePacket, kLastPiece)}),
    cutsName);

class TwoPacketsCutInTwo : public ReplyCutInTwo {};
TEST_P(TwoPacketsCutInTwo, IsReadAsTheTableSays) { expectForEachCutOf(kTwoPackets); }

INSTANTIATE_TEST_SUITE_P(
    NPAReply, TwoPacketsCutInTwo,
    ::testing::Values(
        // The length is taken as 0, which makes a packet of 3 bytes: it ends with "09".
        Cuts{"FirstLengthCut", 1, 2,
             tooShort(hex("A5 00 09"),
                      joined({hex("70 E0 81 00 FF 31 32 33 34"), kSecondOfTwo, kLastPiece}))},
        // The flags are taken as 0: the first packet is the last.
        Cuts{"FirstFlagsInTheSecondRead", 3, 3,
             gathered(kFirstOfTwo, joined({kSecondOfTwo, kLastPiece}))},
        // The head is whole, and the rest of the packet comes in one read.
        Cuts{"FirstBodyInTheSecondRead", 4, 5, gathered(kTwoPackets, kLastPiece)},
        // After n bytes of the body 12 - n are asked for where 7 - n are missing: five bytes of the
        // second packet go with them and are dropped, its other four begin no packet, and what
        // follows is waited for in vain.
        Cuts{"FirstBodyCut", 6, 11, gathered(kFirstOfTwo)},
        // Each packet comes as if it were alone.
        Cuts{"BetweenThePackets", 12, 12, gathered(kTwoPackets, kLastPiece)},
        // The second packet's length is taken as 0, so that it ends with "06".
        Cuts{"SecondLengthCut", 13, 14,
             gathered(joined({kFirstOfTwo, hex("A5 00 06")}),
                      joined({hex("50 E1 41 42 43 44"), kLastPiece}))},
        // Its flags are taken as 0, and it was the last anyway.
        Cuts{"SecondFlagsInTheSecondRead", 15, 15, gathered(kTwoPackets, kLastPiece)},
        // Its head is whole, and the rest comes in one read.
        Cuts{"SecondBodyInTheSecondRead", 16, 17, gathered(kTwoPackets, kLastPiece)},
        // More is asked for than is missing, but no more is there.
        Cuts{"SecondBodyCut", 18, 20, gathered(kTwoPackets, kLastPiece)}),
    cutsName);

// The end of the output

TEST(NPAReplyInASmallOutput, IsStoredAsFarAsItGoes) {
  EXPECT_EQ(readFrom({kOnePacket, kLastPiece}, 8), gathered(firstBytes(kOnePacket, 8), kLastPiece));
}

TEST(NPAReplyInASmallOutput, IsWholeWhenItJustFits) {
  EXPECT_EQ(readFrom({kOnePacket, kLastPiece}, 12), gathered(kOnePacket, kLastPiece));
}

TEST(NPAReplyInASmallOutput, StaysInStepWithTheLink) {
  // The first packet fits in part, the second not at all; both are read to their ends.
  EXPECT_EQ(readFrom({kTwoPackets, kLastPiece}, 7),
            gathered(firstBytes(kTwoPackets, 7), kLastPiece));
  // The second packet fits in part.
  EXPECT_EQ(readFrom({kTwoPackets, kLastPiece}, 14),
            gathered(firstBytes(kTwoPackets, 14), kLastPiece));
  EXPECT_EQ(readFrom({kTwoPackets, kLastPiece}, 19),
            gathered(firstBytes(kTwoPackets, 19), kLastPiece));
}

TEST(NPAReplyInASmallOutput, KeepsWhatFitsOfTheSurplus) {
  EXPECT_EQ(readFrom({kFirstOfTwo, hex("A5 00 01 50 D1"), kLastPiece}, 16),
            gathered(joined({kFirstOfTwo, hex("A5 00 01 50")}), kLastPiece));
}

TEST(NPAReplyInASmallOutput, IsTooShortBelowSixBytes) {
  EXPECT_EQ(readFrom({kOnePacket, kLastPiece}, 6), gathered(firstBytes(kOnePacket, 6), kLastPiece));
  EXPECT_EQ(readFrom({kOnePacket, kLastPiece}, 5), tooShort(firstBytes(kOnePacket, 5), kLastPiece));
  EXPECT_EQ(readFrom({kOnePacket, kLastPiece}, 3), tooShort(firstBytes(kOnePacket, 3), kLastPiece));
  EXPECT_EQ(readFrom({kOnePacket, kLastPiece}, 0), tooShort({}, kLastPiece));
}

TEST(NPAReplyOfMoreThan4096Bytes, IsReadWholeAndStoredAsFarAsItGoes) {
  const Bytes first = packet(0x70, repeated(0x11, 2996));   // 3000 bytes
  const Bytes second = packet(0x50, repeated(0x22, 1996));  // 2000 bytes
  EXPECT_EQ(readFrom({first, second, kLastPiece}),
            gathered(firstBytes(joined({first, second}), 4096), kLastPiece));
}

TEST(NPAReplyOfMoreThan4096Bytes, MayBeOfOnePacketOf65535Bytes) {
  const Bytes reply = packet(0x50, repeated(0x11, 65531));
  EXPECT_EQ(countFrom({reply, kLastPiece}), "0, length 4096: 4096 stored, 1 left");
}

// A printer that sends for ever

// 13,108 reads of 5 bytes are the first to reach 65,536.
TEST(EndlessPrinter, IsLeftAfter65536BytesOfNoise) {
  EXPECT_EQ(countFrom({repeated(0x00, 65540 + 100)}), "-1, length 0: 0 stored, 100 left");
}

TEST(EndlessPrinter, IsLeftAfterExactly65536BytesWhenReadByteByByte) {
  EXPECT_EQ(countFrom({hex("00"), repeated(0x00, 65535 + 100)}),
            "-1, length 0: 0 stored, 100 left");
}

TEST(EndlessPrinter, IsLeftAfter65536BytesOfPacketsStoredOrNot) {
  Bytes packets;
  const Bytes eight = packet(0x20, hex("01 02 03 04"));
  for (int i = 0; i < 8192 + 10; ++i) packets.insert(packets.end(), eight.begin(), eight.end());
  EXPECT_EQ(countFrom({packets}), "0, length 4096: 4096 stored, 80 left");
}

// The last read is not made smaller, and a packet is not read to its end.
TEST(EndlessPrinter, IsLeftInTheMiddleOfAPacket) {
  const Bytes first = packet(0x70, repeated(0x11, 65523));  // 65,527 bytes
  const Bytes eight = hex("A5 00 05 70 E0 01 02 03");
  EXPECT_EQ(countFrom({first, joined({eight, eight})}),  // 65,532 after 5 of them, 65,535 after 8,
            "0, length 4096: 4096 stored, 3 left");      // 65,540 after 13
}

TEST(PatienceWithAPrinter, LastsWhile65535BytesHaveCome) {
  const Bytes noise = repeated(0x00, 65530);
  // 65,535 with the packet's first five bytes: it is read to its end.
  EXPECT_EQ(readFrom({noise, kOnePacket, kLastPiece}), gathered(kOnePacket, kLastPiece));
}

TEST(PatienceWithAPrinter, EndsWithTheReadThatBrings65536) {
  const Bytes noise = repeated(0x00, 65535);
  // 65,540 with the packet's first five bytes: it is not read on.
  EXPECT_EQ(readFrom({noise, kOnePacket}),
            tooShort(firstBytes(kOnePacket, 5), bytesFrom(kOnePacket, 5)));
}

TEST(PatienceWithAPrinter, IsNewForEachReply) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, [] {
    const Call first = getReply(4096, kReadTimeout);
    return fmt::format("{}; ", signedNumber(first.status)) + readInFilter();
  });
  filter.sendInPieces({repeated(0x00, 65540), kOnePacket, kLastPiece});
  filter.endBackChannel();
  EXPECT_EQ(filter.wait().result, "-1; " + gathered(kOnePacket, kLastPiece));
}

// The end of the bytes

TEST(NPAReplyThatBreaksOff, StandsAsFarAsItCame) {
  EXPECT_EQ(readFrom({firstBytes(kOnePacket, 11)}), gathered(firstBytes(kOnePacket, 11)));
  EXPECT_EQ(readFrom({firstBytes(kOnePacket, 6)}), gathered(firstBytes(kOnePacket, 6)));
  EXPECT_EQ(readFrom({firstBytes(kTwoPackets, 14)}), gathered(firstBytes(kTwoPackets, 14)));
}

TEST(NPAReplyThatBreaksOff, IsTooShortBelowSixBytes) {
  EXPECT_EQ(readFrom({firstBytes(kOnePacket, 5)}), tooShort(firstBytes(kOnePacket, 5)));
  EXPECT_EQ(readFrom({hex("A5")}), tooShort(hex("A5")));
}

TEST(NPAReplyThatBreaksOff, IsTooShortWhenNothingCame) { EXPECT_EQ(readFrom({}), tooShort({})); }

TEST(NPAReplyOnAClosedChannel, IsTooShort) {
  FilterProcess filter(BackChannel::kClosed, [] { return readInFilter(); });
  EXPECT_EQ(filter.wait().result, tooShort({}));
}

TEST(NPAReplyInSilence, EndsAfterTheTimeout) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, [] {
    const auto start = std::chrono::steady_clock::now();
    const Call call = getReply(4096, 1);
    const auto time = std::chrono::steady_clock::now() - start;
    return reading(signedNumber(call.status), call.length, call.stored, {}) +
           (time > 900ms && time < 4s ? " after a second" : " at another time");
  });
  filter.send(hex("A5 00 09 50 E0 81 00"));
  EXPECT_EQ(filter.wait().result, gathered(hex("A5 00 09 50 E0 81 00")) + " after a second");
}

TEST(NPAReplyInSilence, TakesWhatIsThereWithATimeoutOfZero) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, [] {
    awaitBackChannel();
    const Call call = getReply(4096, 0);
    return reading(signedNumber(call.status), call.length, call.stored, {});
  });
  filter.send(hex("A5 00 09 50 E0 81 00"));
  EXPECT_EQ(filter.wait().result, gathered(hex("A5 00 09 50 E0 81 00")));
}

TEST(NPAReplyFromASlowPrinter, IsWaitedForMoreThanASecondWithALongerTimeout) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, [] { return readInFilter(4096, 3); });
  std::this_thread::sleep_for(1100ms);
  filter.sendInPieces({kOnePacket});
  filter.endBackChannel();
  EXPECT_EQ(filter.wait().result, gathered(kOnePacket));
}

// The timeout is for each read: two pauses of 0.6 seconds do not add up to one above a second.
TEST(NPAReplyFromASlowPrinter, HasTheWholeTimeoutForEachRead) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, [] { return readInFilter(4096, 1); });
  std::this_thread::sleep_for(600ms);
  filter.send(firstBytes(kOnePacket, 5));
  std::this_thread::sleep_for(600ms);
  filter.send(bytesFrom(kOnePacket, 5));
  filter.endBackChannel();
  EXPECT_EQ(filter.wait().result, gathered(kOnePacket));
}

}  // namespace
}  // namespace moxsupply::testing
