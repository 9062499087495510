#include <fmt/format.h>
#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <thread>

#include "npa/MoxNPAUtilityCommand.h"
#include "tests/support/DictionaryJson.h"
#include "tests/support/FilterProcess.h"
#include "tests/support/Hex.h"
#include "tests/support/InkjetReply.h"
#include "tests/support/Packet.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;

const char* const kNothing = "null";

// The dictionary that a reply makes, as JSON. The bytes lie in a block of exactly their size, so
// that the address sanitizer sees a read beyond them.
std::string parsed(const Bytes& reply, std::size_t withLength) {
  const Bytes block(reply.begin(), reply.end());
  return shown(
      MoxNPAUtilityCommand().parseCPDQueryResponse(block, static_cast<std::uint32_t>(withLength)));
}

std::string parsed(const Bytes& reply) { return parsed(reply, reply.size()); }

Bytes withByte(Bytes bytes, std::size_t at, std::uint8_t byte) {
  bytes.at(at) = byte;
  return bytes;
}

const Bytes kReply = hex(R"(
  A5 00 0F 50     # a packet of 18, the last of its reply
  E0 81 00 FF     # the request's body
  00 02           # two items
  01 10 01 30     # kFirstCartID: 30
  00 19 01 02     # kPrintHead: 02
)");
const std::string kReplyItems = json(R"({"kFirstCartID": ["30"], "kPrintHead": ["02"]})");

// The reply's head

TEST(CPDReply, GivesItsItems) { EXPECT_EQ(parsed(kReply), kReplyItems); }

TEST(CPDReply, IsNotChanged) {
  const Bytes reply = kReply;
  EXPECT_EQ(parsed(reply), kReplyItems);
  EXPECT_EQ(parsed(reply), kReplyItems);
}

class CPDReplyHead : public ::testing::TestWithParam<std::size_t> {};
INSTANTIATE_TEST_SUITE_P(Byte, CPDReplyHead, ::testing::Values(0, 4, 5, 6, 7));

TEST_P(CPDReplyHead, IsTheRequests) {
  for (const int other : {0x00, 0x01, 0x5A, 0x80, 0xE1, 0xFE, 0xFF}) {
    const auto byte = static_cast<std::uint8_t>(other);
    if (kReply.at(GetParam()) == byte) continue;
    EXPECT_EQ(parsed(withByte(kReply, GetParam(), byte)), kNothing) << other;
  }
}

struct LastFlags {
  std::uint8_t flags;
  std::string result;
};

class CPDReplyFlags : public ::testing::TestWithParam<LastFlags> {};

TEST_P(CPDReplyFlags, DecideWhetherTheDataOfTheOnlyPacketCount) {
  EXPECT_EQ(parsed(withByte(kReply, 3, GetParam().flags)), GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(
    OnlyPacket, CPDReplyFlags,
    ::testing::Values(LastFlags{0x50, kReplyItems},
                      // other last packets contribute nothing
                      LastFlags{0x40, kNothing}, LastFlags{0x10, kNothing},
                      LastFlags{0x00, kNothing}, LastFlags{0x51, kNothing},
                      LastFlags{0xD0, kNothing}, LastFlags{0x80, kNothing},
                      LastFlags{0xDF, kNothing},
                      // a packet that announces others counts whatever else its flags say
                      LastFlags{0x70, kReplyItems}, LastFlags{0x20, kReplyItems},
                      LastFlags{0xFF, kReplyItems}),
    [](const auto& row) { return fmt::format("{:02X}", row.param.flags); });

// The reply's length

TEST(CPDReplyLength, BelowEightGivesNothing) {
  for (std::size_t length = 0; length < 8; ++length) {
    EXPECT_EQ(parsed(kReply, length), kNothing) << length;
    EXPECT_EQ(parsed(firstBytes(kReply, length)), kNothing) << length;
  }
}

TEST(CPDReplyLength, OfTheHeadAloneGivesNothing) {
  EXPECT_EQ(parsed(hex("A5 00 05 50 E0 81 00 FF")), kNothing);
  EXPECT_EQ(parsed(hex("A5 00 05 70 E0 81 00 FF")), kNothing);
}

TEST(CPDReplyLength, BeyondTheBytesCountsAsTheirNumber) {
  EXPECT_EQ(parsed(kReply, kReply.size() + 1), kReplyItems);
  EXPECT_EQ(parsed(kReply, 65536), kReplyItems);
  EXPECT_EQ(parsed(kReply, 4294967295U), kReplyItems);
  EXPECT_EQ(parsed(firstBytes(kReply, 7), 18), kNothing);
}

TEST(CPDReplyLength, EndsTheReplyBeforeTheEndOfTheBytes) {
  EXPECT_EQ(parsed(kReply, 14), json(R"({"kFirstCartID": ["30"]})"));
}

// The same at every length between two.
struct CutReply {
  const char* name;
  std::size_t first;
  std::size_t last;
  std::string result;
};

class CPDReplyCutShort : public ::testing::TestWithParam<CutReply> {};

TEST_P(CPDReplyCutShort, GivesTheItemsBeforeTheCut) {
  const Bytes reply = hex(R"(
    A5 00 0E 70     # a packet of 17
    E0 81 00 FF
    00 02           # two items
    01 10 01 30     # kFirstCartID: 30
    01 20 02        # kSecondCartID, of two bytes
    A5 00 06 50 00  # a packet of 9
    50 51           # the two bytes
    00 19           # an item's head, cut
  )");
  ASSERT_EQ(reply.size(), 26U);
  for (std::size_t length = GetParam().first; length <= GetParam().last; ++length) {
    EXPECT_EQ(parsed(firstBytes(reply, length)), GetParam().result) << length;
    EXPECT_EQ(parsed(reply, length), GetParam().result) << length;
  }
}

INSTANTIATE_TEST_SUITE_P(
    At, CPDReplyCutShort,
    ::testing::Values(CutReply{"TheHead", 0, 7, kNothing},   //
                      CutReply{"TheCount", 8, 9, kNothing},  // fewer than two bytes are no count
                      CutReply{"TheFirstItem", 10, 13,
                               "{}"},  // its head, or its value, is not whole
                      CutReply{"TheSecondItem", 14, 16, json(R"({"kFirstCartID": ["30"]})")},  //
                      // the head is whole, the value is to come
                      CutReply{"TheSecondPacket", 17, 21, json(R"({"kFirstCartID": ["30"]})")},
                      CutReply{"TheSecondItemsValue", 22, 23, json(R"({"kFirstCartID": ["30"]})")},
                      CutReply{"TheThirdItem", 24, 26,
                               json(R"({"kFirstCartID": ["30"], "kSecondCartID": ["50", "51"]})")}),
    [](const auto& row) { return std::string(row.param.name); });

// A reply of one packet of exactly `size` bytes whose first item is the cartridge 30 and whose last
// one, the print head 02, ends with it.
Bytes replyOfSize(std::size_t size) {
  std::vector<Bytes> items = {hex("01 10 01 30")};
  std::size_t missing = size - 18;
  for (; missing > 258; missing -= 255) items.push_back(inkjetItem(0xABCD, repeated(0, 252)));
  items.push_back(inkjetItem(0xABCD, repeated(0, missing - 3)));
  items.push_back(hex("00 19 01 02"));
  return inkjetReply(items);
}

TEST(CPDReplyLength, MayBe65535) {
  const Bytes reply = replyOfSize(65535);
  ASSERT_EQ(reply.size(), 65535U);
  EXPECT_EQ(parsed(reply), kReplyItems);
}

TEST(CPDReplyLength, Above65535GivesNothing) {
  const Bytes reply = replyOfSize(65536);
  ASSERT_EQ(reply.size(), 65536U);
  EXPECT_EQ(parsed(reply), kNothing);
  EXPECT_EQ(parsed(reply, 4294967295U), kNothing);
  // 65535 of them can be looked at; the last item is cut.
  EXPECT_EQ(parsed(reply, 65535), json(R"({"kFirstCartID": ["30"]})"));
}

// The packets

TEST(CPDPackets, GiveTheirDataFromByte8AndThenFromByte5) {
  EXPECT_EQ(parsed(hex(R"(
              A5 00 0B 70  E0 81 00 FF  00 02  01 10 01 30
              A5 00 06 50  00           00 19 01 02
            )")),
            kReplyItems);
}

TEST(CPDPackets, MayBeThree) {
  EXPECT_EQ(parsed(hex(R"(
              A5 00 0B 70  E0 81 00 FF  00 03  01 10 01 30
              A5 00 06 70  00           00 19 01 02
              A5 00 06 50  00           01 20 01 50
            )")),
            json(R"({"kFirstCartID": ["30"], "kPrintHead": ["02"], "kSecondCartID": ["50"]})"));
}

TEST(CPDPackets, MayCutAnItemAndTheCount) {
  EXPECT_EQ(parsed(hex(R"(
              A5 00 06 70  E0 81 00 FF  00
              A5 00 06 70  00           01 01 10 02
              A5 00 04 50  00           30 31
            )")),
            json(R"({"kFirstCartID": ["30", "31"]})"));
}

TEST(CPDPackets, MayBeWithoutData) {
  EXPECT_EQ(parsed(hex(R"(
              A5 00 05 70  E0 81 00 FF
              A5 00 02 70  00
              A5 00 08 50  00           00 01  01 10 01 30
            )")),
            json(R"({"kFirstCartID": ["30"]})"));
}

TEST(CPDPackets, EndWithTheLastOneThatAnotherWasAnnouncedFor) {
  EXPECT_EQ(parsed(hex(R"(
              A5 00 0B 70  E0 81 00 FF  00 01  01 10 01 30
            )")),
            json(R"({"kFirstCartID": ["30"]})"));
}

TEST(CPDPackets, EndWithALastOneWhoseFlagsAreNot50) {
  EXPECT_EQ(parsed(hex(R"(
              A5 00 0B 70  E0 81 00 FF  00 02  01 10 01 30
              A5 00 06 40  00           00 19 01 02
              A5 00 06 50  00           01 20 01 50
            )")),
            json(R"({"kFirstCartID": ["30"]})"));
}

TEST(CPDPackets, EndWithTheFirstThatIsTheLast) {
  EXPECT_EQ(parsed(hex(R"(
              A5 00 0B 50  E0 81 00 FF  00 02  01 10 01 30
              A5 00 06 50  00           00 19 01 02
            )")),
            json(R"({"kFirstCartID": ["30"]})"));
}

TEST(CPDPackets, EndWhereNoStartByteIs) {
  EXPECT_EQ(parsed(hex(R"(
              A5 00 0B 70  E0 81 00 FF  00 02  01 10 01 30
              5A 00 06 50  00           00 19 01 02
            )")),
            json(R"({"kFirstCartID": ["30"]})"));
  EXPECT_EQ(parsed(hex(R"(
              A5 00 0B 70  E0 81 00 FF  00 02  01 10 01 30
              00                                              # one byte off
              A5 00 06 50  00           00 19 01 02
            )")),
            json(R"({"kFirstCartID": ["30"]})"));
}

TEST(CPDPackets, EndAtAFirstOneTooShortForItsHead) {
  EXPECT_EQ(parsed(hex(R"(
              A5 00 04 70  E0 81 00 FF  00 01  01 10 01 30
            )")),
            kNothing);
  EXPECT_EQ(parsed(hex(R"(
              A5 00 00 50  E0 81 00 FF  00 01  01 10 01 30
            )")),
            kNothing);
}

TEST(CPDPackets, EndAtALaterOneTooShortForItsHead) {
  EXPECT_EQ(parsed(hex(R"(
              A5 00 0B 70  E0 81 00 FF  00 02  01 10 01 30
              A5 00 01 70                                     # no room for the fifth byte
              A5 00 06 50  00           00 19 01 02
            )")),
            json(R"({"kFirstCartID": ["30"]})"));
  EXPECT_EQ(parsed(hex(R"(
              A5 00 0B 70  E0 81 00 FF  00 02  01 10 01 30
              A5 00 00                                        # no room for flags
              A5 00 06 50  00           00 19 01 02
            )")),
            json(R"({"kFirstCartID": ["30"]})"));
}

TEST(CPDPackets, EndAtALaterOneWhoseHeadIsCut) {
  const Bytes first = hex("A5 00 0B 70  E0 81 00 FF  00 02  01 10 01 30");
  for (const char* cut : {"A5", "A5 00", "A5 00 06", "A5 00 06 50"}) {
    EXPECT_EQ(parsed(joined({first, hex(cut)})), json(R"({"kFirstCartID": ["30"]})")) << cut;
  }
}

TEST(CPDPackets, GiveWhatIsThereOfDataThatTheReplysEndCuts) {
  EXPECT_EQ(parsed(hex(R"(
              A5 01 00 70  E0 81 00 FF  00 02  01 10 01 30
            )")),
            json(R"({"kFirstCartID": ["30"]})"));
  EXPECT_EQ(parsed(hex(R"(
              A5 00 06 70  E0 81 00 FF  00
              A5 01 00 50  00           02  01 10 01 30  00 19
            )")),
            json(R"({"kFirstCartID": ["30"]})"));
}

// Where the next packet would be, 65,536, is again 0 in 16 bits. The second time around would find
// the value of the item that is cut.
TEST(CPDPackets, DoNotBeginAgainFromTheFront) {
  EXPECT_EQ(parsed(hex("A5 FF FD 70  E0 81 00 FF  00 01  01 10 01")), "{}");
}

// The second packet begins at 26, and 26 + FFF4 + 3 is 17 in 16 bits, where the value of an item
// looks like a packet.
TEST(CPDPackets, DoNotGoOnInsideAnEarlierOne) {
  EXPECT_EQ(parsed(hex(R"(
              A5 00 17 70  E0 81 00 FF  00 02  01 10 01 30
                                               AB CD 09  A5 00 06 50 00 01 20 01 50
              A5 FF F4 70  00           00 19 01 02
            )")),
            kReplyItems);
}

TEST(CPDPackets, GiveNothingWithFewerThanTwoBytesOfData) {
  EXPECT_EQ(parsed(hex("A5 00 06 50  E0 81 00 FF  01")), kNothing);
  EXPECT_EQ(parsed(hex(R"(
              A5 00 05 70  E0 81 00 FF
              A5 00 03 50  00           01
            )")),
            kNothing);
}

// The items

TEST(CPDItems, OfAReplyWithTheirNumberAloneAreNone) {
  EXPECT_EQ(parsed(hex("A5 00 07 50  E0 81 00 FF  00 01")), "{}");
}

TEST(CPDItems, AreNotLimitedByTheirNumber) {
  EXPECT_EQ(parsed(withByte(kReply, 9, 1)), kReplyItems);
  EXPECT_EQ(parsed(withByte(kReply, 9, 200)), kReplyItems);
  EXPECT_EQ(parsed(withByte(withByte(kReply, 8, 1), 9, 0)), kReplyItems);  // 256
}

TEST(CPDItems, NumberZeroGivesNothing) { EXPECT_EQ(parsed(withByte(kReply, 9, 0)), kNothing); }

TEST(CPDItems, OfNoBytesAreKept) {
  EXPECT_EQ(parsed(inkjetReply({hex("01 10 00"), hex("00 19 01 02")})),
            json(R"({"kFirstCartID": [], "kPrintHead": ["02"]})"));
  EXPECT_EQ(parsed(inkjetReply({hex("01 10 00")})), json(R"({"kFirstCartID": []})"));
}

TEST(CPDItems, KeepAllTheirBytesAsTheyAre) {
  EXPECT_EQ(parsed(inkjetReply({hex("04 15 04  00 A5 80 FF")})),
            json(R"({"kSlot2DotCapacityC": ["00", "A5", "80", "FF"]})"));
}

TEST(CPDItems, MayBe255BytesLong) {
  const Bytes value = repeated(0x11, 255);
  Dictionary items;
  items.set("kDotCountBlack", value);
  items.set("kPrintHead", Bytes{0x02});
  EXPECT_EQ(parsed(inkjetReply({inkjetItem(0x0400, value), hex("00 19 01 02")})), shown(items));
}

TEST(CPDItems, ThatNobodyKnowsAreSkipped) {
  EXPECT_EQ(parsed(inkjetReply({
                hex("00 00 02  01 10"),  //
                hex("00 19 01  02"),     //
                hex("04 0A 00"),         // one above kDotCountAlternativeY
                hex("FF FF 01  33"),     //
                hex("19 00 01  44"),     // kPrintHead's bytes the other way round
                hex("01 10 01  30"),
            })),
            kReplyItems);
}

TEST(CPDItems, OfEveryRowOfTheTableAreKept) {
  EXPECT_EQ(parsed(inkjetReply({
                hex("00 19 01 01"), hex("01 10 01 02"), hex("01 20 01 03"), hex("01 30 01 04"),
                hex("01 40 01 05"), hex("04 00 01 06"), hex("04 01 01 07"), hex("04 02 01 08"),
                hex("04 03 01 09"), hex("04 04 01 0A"), hex("04 05 01 0B"), hex("04 06 01 0C"),
                hex("04 07 01 0D"), hex("04 08 01 0E"), hex("04 09 01 0F"), hex("04 14 01 10"),
                hex("04 15 01 11"), hex("04 16 01 12"), hex("04 17 01 13"), hex("04 18 01 14"),
                hex("04 19 01 15"), hex("04 27 01 16"), hex("04 28 01 17"), hex("04 29 01 18"),
                hex("04 2A 01 19"), hex("04 2B 01 1A"), hex("04 2C 01 1B"), hex("04 2D 01 1C"),
            })),
            json(R"({
    "kAltColorDotCapacity": ["12"], "kCyanInkRemaining": ["17"], "kCyanPhotoInkRemaining": ["1A"],
    "kDotCountAlternativeC": ["0D"], "kDotCountAlternativeM": ["0E"],
    "kDotCountAlternativeY": ["0F"], "kDotCountBlack": ["06"], "kDotCountCyan": ["07"],
    "kDotCountMagenta": ["08"], "kDotCountPhotoC": ["0B"], "kDotCountPhotoK": ["0A"],
    "kDotCountPhotoM": ["0C"], "kDotCountYellow": ["09"], "kFirstCartID": ["02"],
    "kFourthCartID": ["05"], "kMagentaInkRemaining": ["18"], "kMagentaPhotoInkRemaining": ["1B"],
    "kMonoInkRemaining": ["16"], "kPhotoDotCapacity": ["13"], "kPrintHead": ["01"],
    "kSecondCartID": ["03"], "kSlot1DotCapacityB": ["10"], "kSlot2DotCapacityC": ["11"],
    "kSlot3DotCapacityM": ["14"], "kSlot4DotCapacityY": ["15"], "kThirdCartID": ["04"],
    "kYellowInkRemaining": ["19"], "kYellowPhotoInkRemaining": ["1C"]})"));
}

struct TwoIds {
  const char* key;
  std::uint16_t first;
  std::uint16_t second;
};

class CPDItemsWithTwoIds : public ::testing::TestWithParam<TwoIds> {};
INSTANTIATE_TEST_SUITE_P(All, CPDItemsWithTwoIds,
                         ::testing::Values(TwoIds{"kFirstCartID", 0x0110, 0x0100},
                                           TwoIds{"kSecondCartID", 0x0120, 0x0200},
                                           TwoIds{"kSlot1DotCapacityB", 0x0414, 0x0203},
                                           TwoIds{"kSlot2DotCapacityC", 0x0415, 0x0103}),
                         [](const auto& row) { return std::string(row.param.key); });

std::string itemAlone(const char* key, int byte) {
  return json(fmt::format(R"({{"{}": ["{:02X}"]}})", key, byte));
}

TEST_P(CPDItemsWithTwoIds, KeepTheLaterOfBoth) {
  const auto [key, first, second] = GetParam();
  EXPECT_EQ(parsed(inkjetReply({inkjetItem(first, {0x30}), inkjetItem(second, {0x3F})})),
            itemAlone(key, 0x3F));
  EXPECT_EQ(parsed(inkjetReply({inkjetItem(second, {0x3F}), inkjetItem(first, {0x30})})),
            itemAlone(key, 0x30));
}

TEST_P(CPDItemsWithTwoIds, KeepEitherAlone) {
  const auto [key, first, second] = GetParam();
  EXPECT_EQ(parsed(inkjetReply({inkjetItem(first, {0x30})})), itemAlone(key, 0x30));
  EXPECT_EQ(parsed(inkjetReply({inkjetItem(second, {0x3F})})), itemAlone(key, 0x3F));
}

TEST(CPDItems, KeepTheLastOfTheSameId) {
  EXPECT_EQ(parsed(inkjetReply({hex("01 10 02 30 31"), hex("01 10 01 50"), hex("01 10 00")})),
            json(R"({"kFirstCartID": []})"));
}

TEST(CPDItems, EndAtOneWhoseHeadIsCut) {
  for (const char* cut : {"00", "00 19"}) {
    EXPECT_EQ(parsed(inkjetReply({hex("01 10 01 30"), hex(cut)})),
              json(R"({"kFirstCartID": ["30"]})"))
        << cut;
  }
}

TEST(CPDItems, EndAtOneWhoseValueIsCut) {
  for (const char* cut : {"00 19 01", "00 19 02 02", "00 19 FF 02 03 04"}) {
    EXPECT_EQ(parsed(inkjetReply({hex("01 10 01 30"), hex(cut)})),
              json(R"({"kFirstCartID": ["30"]})"))
        << cut;
  }
}

TEST(CPDItems, EndAtAnUnknownOneWhoseValueIsCut) {
  EXPECT_EQ(parsed(inkjetReply({hex("01 10 01 30"), hex("AB CD 05"), hex("00 19 01 02")})),
            json(R"({"kFirstCartID": ["30"]})"));
}

TEST(CPDItems, ThatAreCutLeaveTheEarlierOneOfTheSameKey) {
  EXPECT_EQ(parsed(inkjetReply({hex("01 10 01 30"), hex("01 10 02 50")})),
            json(R"({"kFirstCartID": ["30"]})"));
}

// The query

// What a query of a filter gave: its status, the dictionary afterwards, and the bytes that it left
// on the back channel. The dictionary held "before" at first.
std::string queryInFilter(std::uint32_t timeout = 8) {
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  Dictionary items;
  items.set("before", "the query");
  const Status status = MoxNPAUtilityCommand().cpdQueryAll(items, timeout);
  return fmt::format("{} {} left [{}]", signedNumber(status), shown(items),
                     hexText(restOfBackChannel()));
}

std::string answered(const std::string& items, const Bytes& left = {}) {
  return fmt::format("0 {} left [{}]", items, hexText(left));
}

std::string failed(int status, const Bytes& left = {}) {
  return fmt::format("{} {} left [{}]", status, json(R"({"before": "the query"})"), hexText(left));
}

const Bytes kRequest = hex("A5 00 05 50 E0 81 00 FF");

// Each piece is a reply, which the reader takes to its end, and then the channel ends. The request
// goes out once, whatever comes.
std::string queryWith(const std::vector<Bytes>& pieces) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, [] { return queryInFilter(); });
  EXPECT_EQ(filter.receive(kRequest.size()), kRequest);
  filter.sendInPieces(pieces);
  filter.endBackChannel();
  const auto ending = filter.wait();
  EXPECT_EQ(hexText(ending.written), "") << "after the request";
  return ending.result;
}

// A reply to another request.
const Bytes kOther = hex("A5 00 06 50 E0 82 00 FF 00");

TEST(CPDQuery, ReplacesTheContentsOfTheDictionary) {
  EXPECT_EQ(queryWith({kReply}), answered(kReplyItems));
}

TEST(CPDQuery, LeavesTheNextReplyOnTheChannel) {
  EXPECT_EQ(queryWith({joined({kReply, kOther})}), answered(kReplyItems, kOther));
}

TEST(CPDQuery, TakesAReplyOfTwoPackets) {
  EXPECT_EQ(queryWith({
                hex("A5 00 0B 70  E0 81 00 FF  00 02  01 10 01 30"),
                hex("A5 00 06 50  00           00 19 01 02"),
            }),
            answered(kReplyItems));
}

TEST(CPDQuery, GivesAnEmptyDictionaryWhenNoItemIsKnown) {
  EXPECT_EQ(queryWith({inkjetReply({hex("AB CD 01 30")})}), answered("{}"));
}

TEST(CPDQuery, PassesOverUpToThreeOtherReplies) {
  EXPECT_EQ(queryWith({kOther, kReply}), answered(kReplyItems));
  EXPECT_EQ(queryWith({kOther, kOther, kReply}), answered(kReplyItems));
  EXPECT_EQ(queryWith({kOther, kOther, kOther, kReply}), answered(kReplyItems));
}

TEST(CPDQuery, GivesUpAfterFourOtherReplies) {
  EXPECT_EQ(queryWith({kOther, kOther, kOther, kOther, kReply}), failed(-6, kReply));
}

TEST(CPDQuery, TestsTheBytesOfTheHeadButTheLast) {
  // Bytes 4, 5 and 6 differ, one in each reply; byte 0 is the start of any.
  EXPECT_EQ(queryWith({withByte(kReply, 4, 0xE1), withByte(kReply, 5, 0x80),
                       withByte(kReply, 6, 0x01), kReply}),
            answered(kReplyItems));
}

TEST(CPDQuery, CannotDecodeAReplyWhoseEighthByteDiffers) {
  // It is the answer all the same, and no other is looked at.
  EXPECT_EQ(queryWith({withByte(kReply, 7, 0xFE), kReply}), failed(-4, kReply));
}

TEST(CPDQuery, CannotDecodeAReplyWithoutItems) {
  EXPECT_EQ(queryWith({withByte(kReply, 3, 0x40)}), failed(-4));
  EXPECT_EQ(queryWith({withByte(kReply, 9, 0)}), failed(-4));
  EXPECT_EQ(queryWith({hex("A5 00 05 50 E0 81 00 FF")}), failed(-4));
}

TEST(CPDQuery, ReceivesNothingFromASilentPrinter) { EXPECT_EQ(queryWith({}), failed(-6)); }

TEST(CPDQuery, ReceivesNothingOnAClosedChannel) {
  FilterProcess filter(BackChannel::kClosed, [] { return queryInFilter(); });
  const auto ending = filter.wait();
  EXPECT_EQ(ending.result, failed(-6));
  EXPECT_EQ(ending.written, kRequest);
}

TEST(CPDQuery, ReadsNothingWhenTheRequestDoesNotGoOut) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, [] {
    awaitBackChannel();  // has bytes when the link is gone
    return queryInFilter();
  });
  filter.closeLink();
  filter.send(kReply);
  filter.endBackChannel();
  EXPECT_EQ(filter.wait().result, failed(-2, kReply));
}

// The buffer is not cleared between the replies. One that brings less than a head is judged by the
// head that the reply before left there.

const Bytes kOtherInByte4 = withByte(kReply, 4, 0xE1);

TEST(CPDQuery, TakesFiveBytesForTheAnswerByTheHeadOfTheReplyBefore) {
  // Bytes 5 and 6 are still 81 00.
  EXPECT_EQ(queryWith({kOtherInByte4, hex("A5 00 02 50 E0")}), failed(-1));
}

TEST(CPDQuery, TakesSixBytesForTheAnswerByTheHeadOfTheReplyBefore) {
  EXPECT_EQ(queryWith({kOtherInByte4, hex("A5 00 03 50 E0 81")}), failed(-4));
}

TEST(CPDQuery, PassesOverFiveBytesAfterAReplyWithAnotherHead) {
  EXPECT_EQ(queryWith({withByte(kReply, 6, 0x01), hex("A5 00 02 50 E0")}), failed(-6));
}

TEST(CPDQuery, JudgesSilenceByTheReplyBefore) {
  // Three silences after a reply to another request: still another's.
  EXPECT_EQ(queryWith({kOther}), failed(-6));
}

TEST(CPDQuery, DecodesNoMoreThanTheReplyBrought) {
  const Bytes longer = joined({
      hex("A5 00 14 50  E1 81 00 FF  00 01  01 20 01 50"),
      hex("A5 00 06 50  00           00 19 01 02"),  // where a second packet would lie
  });
  // The answer announces a packet that never comes; the one that the reply before left behind it
  // does not count.
  EXPECT_EQ(queryWith({longer, hex("A5 00 0B 70  E0 81 00 FF  00 01  01 10 01 30")}),
            answered(json(R"({"kFirstCartID": ["30"]})")));
}

TEST(CPDQuery, FindsZerosInTheBufferAtFirst) {
  // Byte 6, which did not come, is 00: six bytes are the answer, and too few to decode.
  EXPECT_EQ(queryWith({hex("A5 00 03 50 E0 81"), kReply}), failed(-4, kReply));
}

TEST(CPDQuery, KeepsTheItemsThatLieInTheFirst4096Bytes) {
  std::vector<Bytes> items = {hex("01 10 01 30")};
  for (int i = 0; i < 16; ++i) items.push_back(inkjetItem(0xABCD, repeated(0, 252)));
  // 8 of the head, 2 of the number, 4 + 16 * 255 of the items: 4094 bytes so far.
  items.push_back(hex("00 19 01 02"));  // two of its bytes are stored
  EXPECT_EQ(queryWith({inkjetReply(items), kOther}),
            answered(json(R"({"kFirstCartID": ["30"]})"), kOther));
}

TEST(CPDQuery, KeepsAnItemUpToThe4096thByteAndNoFurther) {
  const auto itemsWith = [](std::size_t size) {  // of the last item but one
    std::vector<Bytes> items = {hex("01 10 01 30")};
    for (int i = 0; i < 15; ++i) items.push_back(inkjetItem(0xABCD, repeated(0, 252)));
    items.push_back(inkjetItem(0xABCD, repeated(0, size)));
    items.push_back(hex("00 19 01 02"));
    return inkjetReply(items);
  };
  EXPECT_EQ(itemsWith(250).size(), 4096U);
  EXPECT_EQ(queryWith({itemsWith(250)}), answered(kReplyItems));
  EXPECT_EQ(queryWith({itemsWith(251)}), answered(json(R"({"kFirstCartID": ["30"]})")));
}

TEST(CPDQuery, TakesOnlyWhatIsThereWithATimeoutOfZero) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, [] {
    Dictionary items;
    const auto start = std::chrono::steady_clock::now();
    const Status status = MoxNPAUtilityCommand().cpdQueryAll(items, 0);
    const bool atOnce = std::chrono::steady_clock::now() - start < 800ms;
    return fmt::format("{} {}", signedNumber(status), atOnce ? "at once" : "late");
  });
  EXPECT_EQ(filter.wait().result, "-6 at once");
}

TEST(CPDQuery, WaitsForASlowPrinter) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, [] { return queryInFilter(); });
  EXPECT_EQ(filter.receive(kRequest.size()), kRequest);
  std::this_thread::sleep_for(100ms);
  filter.sendInPieces({kReply});
  filter.endBackChannel();
  EXPECT_EQ(filter.wait().result, answered(kReplyItems));
}

}  // namespace
}  // namespace moxsupply::testing
