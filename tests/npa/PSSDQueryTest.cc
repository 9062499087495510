#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "channel/MoxFilterComm.h"
#include "npa/ModelRecords.h"
#include "npa/MoxNPAUtilityCommand.h"
#include "tests/support/DictionaryJson.h"
#include "tests/support/FilterProcess.h"
#include "tests/support/LaserRecords.h"

namespace moxsupply::testing {
namespace {

std::string device(const Bytes& reply, std::uint32_t length) {
  return shown(MoxNPAUtilityCommand().parsePSSDDeviceResponse(reply, length));
}
std::string device(const Bytes& reply) {
  return device(reply, static_cast<std::uint32_t>(reply.size()));
}
std::string query(const Bytes& reply, std::uint32_t length) {
  return shown(MoxNPAUtilityCommand().parsePSSDQueryResponse(reply, length));
}
std::string query(const Bytes& reply) {
  return query(reply, static_cast<std::uint32_t>(reply.size()));
}

// A device reply, all written out: a printer with one black toner.
const Bytes& blackToner() {
  static const Bytes reply =
      hex("A5 00 5D 50"  // start, length 93, flags: the only packet
          "E0 21 01 00"  // the answer to the request for the supplies table
          "12 34"        // marker
          "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"  // 36 bytes
          "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
          "01 00"              // form of the record
          "00 02 00 00"        // two elements
          "01 01 00 01 00"     // element 1
          "02 00 00 01 00 00"  // the group, one child
          "08 00 00 01 00 00"  // the supplies table, one supply
          "01 00 00 00"        // supply 1
          "00 15 00 00"        // 21 bytes from the seventh on
          "00 03 00 00"        // three fields
          "07 01 00 01 01"     // supply type
          "0F 01 00 01 64"     // max level
          "10 01 00 01 25");   // current level
  return reply;
}
constexpr const char* kBlackToner = R"({
    "Supplies Count": 1,
    "Supply 1": {"Supply Type": 1, "Max Level": 100, "Current Level": 37}})";

// A query reply, all written out: the same toner's dots.
const Bytes& blackDots() {
  static const Bytes reply =
      hex("A5 00 14 50"  // start, length 20, flags: the only packet
          "E0 07 02"     // the answer to the request for the model-family record
          "02 53 4E"     // serial number "SN"
          "01 09 00 03"  // one supply, record length, a byte that is not read, type 3
          "01 00 00 01 00 00 00 00 80");  // supply 1: 128 of 256
  return reply;
}
constexpr const char* kBlackDots = R"({
    "Serial Number": "SN", "Supplies Count": 1, "Record Length": 9, "Toner Prediction": 3,
    "#1": {"Kelvo Max Level": 256, "Max Dot Count": 256,
           "Kelvo Cur Level": 128, "Current Dot Count": 128}})";

// --- What a reply must look like

TEST(PSSDDeviceResponse, IsDecoded) { EXPECT_EQ(device(blackToner()), json(kBlackToner)); }
TEST(PSSDQueryResponse, IsDecoded) { EXPECT_EQ(query(blackDots()), json(kBlackDots)); }

TEST(PSSDResponses, AreRefusedForEachByteOfAnotherHead) {
  for (const std::size_t offset : {0U, 4U, 5U, 6U, 7U}) {
    for (const std::uint8_t flipped : {std::uint8_t{0x01}, std::uint8_t{0x80}}) {
      Bytes reply = blackToner();
      reply[offset] ^= flipped;
      EXPECT_EQ(device(reply), "null") << offset;
      if (offset == 7) continue;  // the first byte of the payload in a query reply
      reply = blackDots();
      reply[offset] ^= flipped;
      EXPECT_EQ(query(reply), "null") << offset;
    }
  }
}

TEST(PSSDResponses, RefuseTheReplyToTheOtherRequest) {
  EXPECT_EQ(device(blackDots()), "null");
  EXPECT_EQ(query(blackToner()), "null");
}

TEST(PSSDResponses, LookAtNoOtherFlagThanThatMorePacketsFollow) {
  for (const char* flags : {"00", "40", "50", "DF"}) {
    Bytes reply = blackToner();
    put(reply, 3, hex(flags));
    EXPECT_EQ(device(reply), json(kBlackToner)) << flags;
    reply = blackDots();
    put(reply, 3, hex(flags));
    EXPECT_EQ(query(reply), json(kBlackDots)) << flags;
  }
}

TEST(PSSDResponses, AreRefusedBelow8Bytes) {
  EXPECT_EQ(device(blackToner(), 7), "null");
  EXPECT_EQ(device(blackToner(), 0), "null");
  EXPECT_EQ(device(blackToner(), 8), "{}");
  EXPECT_EQ(query(blackDots(), 7), "null");
  EXPECT_EQ(query(blackDots(), 0), "null");
  // The length says how much of the buffer is the reply, and the buffer's end how much of that is
  // there.
  EXPECT_EQ(device(firstBytes(blackToner(), 7), 100), "null");
  EXPECT_EQ(query(firstBytes(blackDots(), 7), 100), "null");
  EXPECT_EQ(device({}, 0), "null");
  EXPECT_EQ(query({}, 0xFFFFFFFF), "null");
}

TEST(PSSDResponses, ReadNoFurtherThanTheLengthAndTheBuffer) {
  EXPECT_EQ(device(blackToner(), 0xFFFFFFFF), json(kBlackToner));
  EXPECT_EQ(query(blackDots(), 0xFFFFFFFF), json(kBlackDots));
  for (std::uint32_t length = 0; length < blackToner().size(); ++length) {
    EXPECT_EQ(device(blackToner(), length), device(firstBytes(blackToner(), length))) << length;
  }
  for (std::uint32_t length = 0; length < blackDots().size(); ++length) {
    EXPECT_EQ(query(blackDots(), length), query(firstBytes(blackDots(), length))) << length;
  }
  EXPECT_EQ(device(blackToner(), static_cast<std::uint32_t>(blackToner().size() - 1)),
            json(R"({"Supplies Count": 1, "Supply 1": {"Supply Type": 1, "Max Level": 100}})"));
}

TEST(PSSDDeviceResponse, IsEmptyWhenTheRecordIsRefused) {
  EXPECT_EQ(device(deviceReply(repeated(0x00, 60))), "{}");
  EXPECT_EQ(device(deviceReply({})), "{}");
}

// --- Gathering the payload

// Wherever a reply is cut into packets, the record is the same.
TEST(PSSDResponses, AreJoinedFromTwoPackets) {
  const Bytes table(blackToner().begin() + 8, blackToner().end());
  for (std::size_t first = 0; first <= table.size(); ++first) {
    EXPECT_EQ(device(deviceReplyInTwo(table, first)), json(kBlackToner)) << first;
  }
  const Bytes dots(blackDots().begin() + 7, blackDots().end());
  for (std::size_t first = 0; first <= dots.size(); ++first) {
    EXPECT_EQ(query(queryReplyInTwo(dots, first)), json(kBlackDots)) << first;
  }
}

// L' = 12 brings 10 bytes.
TEST(PSSDDeviceResponse, TakesTenBytesOfASecondPacketOfLength12) {
  Bytes reply = blackToner();
  reply.resize(86);                // without the two levels, 10 bytes
  put(reply, 1, hex("00 53 20"));  // length 83, flags: more packets follow
  EXPECT_EQ(device(joined({reply, hex("A5 00 0C 50 00"), hex("0F 01 00 01 64 10 01 00 01 25")})),
            json(kBlackToner));
  // A byte more is none of the packet's.
  EXPECT_EQ(device(joined({reply, hex("A5 00 0B 50 00"), hex("0F 01 00 01 64 10 01 00 01 25")})),
            json(R"({"Supplies Count": 1, "Supply 1": {"Supply Type": 1, "Max Level": 100}})"));
}

TEST(PSSDResponses, AreJoinedFromManyPackets) {
  const Bytes record(blackToner().begin() + 8, blackToner().end());
  Bytes reply = packet(kMoreFollow, hex("E0 21 01 00"));
  for (const std::uint8_t byte : record) {
    reply = joined({reply, packet(kMoreFollow, {0xEE, byte}), packet(kMoreFollow, hex("EE"))});
  }
  EXPECT_EQ(device(joined({reply, packet(kLast, hex("EE"))})), json(kBlackToner));
}

TEST(PSSDResponses, LookAtNeitherTheStartNorTheFifthByteOfAFurtherPacket) {
  const Bytes record(blackToner().begin() + 8, blackToner().end());
  Bytes reply = deviceReplyInTwo(record, 40);
  put(reply, 48, hex("00"));
  put(reply, 52, hex("FF"));
  EXPECT_EQ(device(reply), json(kBlackToner));
}

TEST(PSSDResponses, EndAtThePacketThatNoneFollows) {
  const Bytes more = packet(kLast, joined({hex("00"), hex("10 01 00 01 25")}));
  const Bytes record(blackToner().begin() + 8, blackToner().end() - 5);
  EXPECT_EQ(device(joined({deviceReply(record), more})),
            json(R"({"Supplies Count": 1, "Supply 1": {"Supply Type": 1, "Max Level": 100}})"));
  EXPECT_EQ(device(joined({deviceReplyInTwo(record, 40), more})),
            json(R"({"Supplies Count": 1, "Supply 1": {"Supply Type": 1, "Max Level": 100}})"));
}

// The further packet that was announced is not there, or not even its head: what came stands.
TEST(PSSDResponses, EndWhereAFurtherPacketIsMissing) {
  Bytes reply = blackToner();
  put(reply, 3, hex("70"));
  EXPECT_EQ(device(reply), json(kBlackToner));
  for (std::size_t size = 1; size <= 5; ++size) {
    EXPECT_EQ(device(joined({reply, firstBytes(hex("A5 00 0C 70 00"), size)})), json(kBlackToner));
  }
}

// A last packet whose data breaks off brings what is there of it, and nothing follows.
TEST(PSSDResponses, TakeTheDataOfAPacketAsFarAsItGoes) {
  const Bytes table(blackToner().begin() + 8, blackToner().end());
  Bytes reply = deviceReplyInTwo(table, 70);
  put(reply, 79, hex("01 00 70"));  // says to be 256 bytes long and not to be the last
  EXPECT_EQ(device(reply), json(kBlackToner));
  reply = blackToner();
  put(reply, 1, hex("01 5D 70"));
  EXPECT_EQ(device(reply), json(kBlackToner));
  reply = blackDots();
  put(reply, 1, hex("FF FF 70"));
  EXPECT_EQ(query(reply), json(kBlackDots));
}

// A first packet that is shorter than its own head brings nothing, and neither do those behind it;
// one that is a head and nothing else is passed. The further packet begins where the length says,
// and its start byte, which nobody looks at, is the head's last.
TEST(PSSDDeviceResponse, EndsAtAFirstPacketTooShortForItsHead) {
  const Bytes table(blackToner().begin() + 8, blackToner().end());
  const Bytes more = hex("00 5A 50 00");  // length 90, flags, the byte that is not looked at
  ASSERT_EQ(table.size(), 88U);
  EXPECT_EQ(device(joined({hex("A5 00 05 70 E0 21 01 00 A5"), more, table})), json(kBlackToner));
  EXPECT_EQ(device(joined({hex("A5 00 04 70 E0 21 01 00"), more, table})), "{}");
  EXPECT_EQ(device(joined({hex("A5 00 03 70 E0 21 01"), more, table})), "{}");
}

TEST(PSSDQueryResponse, EndsAtAFirstPacketTooShortForItsHead) {
  const Bytes dots(blackDots().begin() + 7, blackDots().end());
  const Bytes more = hex("00 12 50 00");  // length 18, flags, the byte that is not looked at
  ASSERT_EQ(dots.size(), 16U);
  EXPECT_EQ(query(joined({hex("A5 00 04 70 E0 07 02 A5"), more, dots})), json(kBlackDots));
  EXPECT_EQ(query(joined({hex("A5 00 03 70 E0 07 02"), more, dots})), "null");
}

TEST(PSSDResponses, EndAtAFurtherPacketTooShortForItsHead) {
  const Bytes table(blackToner().begin() + 8, blackToner().end());
  const Bytes first = packet(kMoreFollow, joined({hex("E0 21 01 00"), firstBytes(table, 80)}));
  const Bytes last = packet(kLast, joined({hex("00"), Bytes(table.begin() + 80, table.end())}));
  const std::string broken = json(R"({"Supplies Count": 1, "Supply 1": {"Supply Type": 1}})");
  EXPECT_EQ(device(joined({first, last})), json(kBlackToner));
  EXPECT_EQ(device(joined({first, hex("A5 00 02 70 00"), last})), json(kBlackToner));
  EXPECT_EQ(device(joined({first, hex("A5 00 01 70"), last})), broken);
  EXPECT_EQ(device(joined({first, hex("A5 00 00"), last})), broken);  // its flags are A5
}

// One byte more than the packet has is copied and not counted: it is no part of the record.
TEST(PSSDDeviceResponse, DoesNotCountTheByteBehindThePayload) {
  Bytes reply = blackToner();
  put(reply, 1, hex("00 5C"));  // the last level's value is now behind the packet
  EXPECT_EQ(device(reply),
            json(R"({"Supplies Count": 1, "Supply 1": {"Supply Type": 1, "Max Level": 100}})"));
  EXPECT_EQ(device(joined({reply, repeated(0x25, 10)})),
            json(R"({"Supplies Count": 1, "Supply 1": {"Supply Type": 1, "Max Level": 100}})"));
}

TEST(PSSDQueryResponse, DoesNotLookBehindThePayload) {
  Bytes reply = blackDots();
  put(reply, 1, hex("00 13"));
  EXPECT_EQ(query(reply), json(R"({"Serial Number": "SN", "Supplies Count": 1, "Record Length": 9,
                                   "Toner Prediction": 3})"));
}

// The payload buffer holds 4096 bytes, and the record is read as far as they go. A description of
// 17 letters has the 223rd supply end there.
TEST(PSSDDeviceResponse, Gathers4096Bytes) {
  const auto recordWithName = [](const std::string& name) {
    std::vector<Bytes> supplies = {supply(1, {description(name), maxLevel(1)})};
    for (std::uint8_t i = 2; i <= 250; ++i) supplies.push_back(supply(i, {maxLevel(i)}));
    return suppliesRecord(supplies);
  };
  const auto lastSupplies = [](const Bytes& reply) {
    const Json supplies = Json::parse(device(reply));
    return Json({supplies.value("Supply 223", Json()), supplies.value("Supply 224", Json())})
        .dump();
  };
  const Bytes fitting = recordWithName(std::string(17, 'x'));
  const Bytes tooLong = recordWithName(std::string(18, 'x'));
  EXPECT_EQ(lastSupplies(deviceReply(fitting)), R"([{"Max Level":223},null])");
  EXPECT_EQ(lastSupplies(deviceReply(tooLong)), R"([{},null])");
  for (const std::size_t first : {100U, 4000U, 4095U, 4096U, 4097U}) {
    EXPECT_EQ(lastSupplies(deviceReplyInTwo(fitting, first)), R"([{"Max Level":223},null])");
    EXPECT_EQ(lastSupplies(deviceReplyInTwo(tooLong, first)), R"([{},null])");
  }
}

// --- Where further packets of a query reply stand

// A first packet of `length` that brings length - 4 bytes of a record of type 3: entries of 9 bytes
// for supplies 2, 3 and on, as far as there is room, and with a count of `count`.
Bytes longFirstPacket(std::uint32_t length, std::uint8_t count) {
  Bytes payload = joined({hex("00"), u8(count), hex("00 00 03")});
  for (std::uint32_t i = 2; payload.size() < length - 4; ++i) {
    payload = joined({payload, u8(i), u32(1000), u32(i)});
  }
  return joined({hex("A5"), u16(length), hex("70 E0 07 02"), firstBytes(payload, length - 4)});
}

std::string shownSupply(const Bytes& reply, std::int32_t number) {
  const auto result = MoxNPAUtilityCommand().parsePSSDQueryResponse(
      reply, static_cast<std::uint32_t>(reply.size()));
  const auto* supply = result ? result->get<Dictionary>(Key(number)) : nullptr;
  return supply == nullptr ? "none" : shown(*supply);
}

std::string dots(int max, int current) {
  const std::string maxText = std::to_string(max);
  const std::string currentText = std::to_string(current);
  return json(R"({"Kelvo Max Level": )" + maxText + R"(, "Max Dot Count": )" + maxText +
              R"(, "Kelvo Cur Level": )" + currentText + R"(, "Current Dot Count": )" +
              currentText + "}");
}

// A length of 297 puts the second packet at 300, which is 44 modulo 256. 293 bytes of payload are a
// head and 32 entries; the 33rd is the second packet's.
TEST(PSSDQueryResponse, ReadsAPacketAt300At44) {
  Bytes reply =
      joined({longFirstPacket(297, 33), packet(kLast, hex("00"  // at 300
                                                          "01 00 00 00 C8 00 00 00 C8"))});
  ASSERT_EQ(reply.size(), 314U);
  put(reply, 44,
      hex("EE 00 0B 50 EE"  // start, length 11, flags, a byte that is not looked at
          "01 00 00 00 C8 00 00 00 32"));
  EXPECT_EQ(shownSupply(reply, 1), dots(200, 50));
}

// The last position that is not reduced. The packet's own bytes lie beyond 256.
TEST(PSSDQueryResponse, ReadsAPacketAt255There) {
  Bytes reply = longFirstPacket(252, 28);  // 248 bytes: a head and 27 entries
  ASSERT_EQ(reply.size(), 255U);
  EXPECT_EQ(shownSupply(joined({reply, hex("A5 00 0B 50 00"
                                           "01 00 00 00 C8 00 00 00 32")}),
                        1),
            dots(200, 50));
}

// 256 is 0: the first packet itself, as it looks to one that takes it for a further packet, whose
// payload begins at 5.
TEST(PSSDQueryResponse, ReadsAPacketAt256At0) {
  Bytes reply = longFirstPacket(253, 28);  // 249 bytes: a head, 27 entries, and the 28th's number
  ASSERT_EQ(reply.size(), 256U);
  ASSERT_EQ(reply[255], 29);
  reply = joined({reply, hex("A5 00 0A 50 00"
                             "00 00 00 C8 00 00 00 32")});
  // The 28th entry goes on with 07 02 (of the reply's head), 00 1C 00 00 03 (of the record's), and
  // 02 (the number of entry 1).
  EXPECT_EQ(shownSupply(reply, 29), dots(0x0702001C, 0x00000302));
}

// A reply that has been gathered to its own length is not looked into for more, though its packets
// say that more follow: the packets read at reduced positions are in it already.
TEST(PSSDQueryResponse, GathersNoMoreOnceItHasAsMuchAsTheReply) {
  Bytes reply = joined({hex("A5 01 29 70 E0 07 02 00 21 00 00 03"), repeated(0x00, 288)});
  ASSERT_EQ(reply.size(), 300U);
  put(reply, 44, hex("EE 00 09 70 EE 01 00 00 00 0A 00 00"));  // 7 bytes: 300 in all, more follow
  put(reply, 56, hex("EE 00 04 50 EE 00 07"));                 // the last 2
  EXPECT_EQ(shownSupply(reply, 1), "none");
  EXPECT_EQ(shownSupply(joined({reply, hex("00")}), 1), dots(10, 7));  // 301 is more than 300
}

// Packets of 256 bytes are found at the same place for ever. They bring payload, of which there is
// no end of room.
TEST(PSSDQueryResponse, EndsWhenItsPacketsGoInCircles) {
  Bytes reply = joined({hex("A5 00 2D 70 E0 07 02 00 21 00 00 03"), repeated(0x00, 5000)});
  put(reply, 48, hex("A5 00 FD 70 00"));  // 256 bytes long, more follow
  EXPECT_EQ(Json::parse(query(reply)).at("Supplies Count"), 33);
}

// --- Where further packets of a device reply stand: at positions of 16 bits

// Empty packets lead to 65,539, which is 3. A packet that begins there has its payload at 8, where
// the record begins: with bytes that nobody looks at, and that make fields when they come again.
TEST(PSSDDeviceResponse, ReadsAPacketAt65539At3) {
  Bytes record = suppliesRecord({supply(1, {description("Cyan")})});
  put(record, 0, joined({field(15, hex("64")), field(16, hex("25"))}));
  Bytes reply = packet(kMoreFollow, joined({hex("E0 21 01 00"), record}));
  const Bytes empty = packet(kMoreFollow, hex("00"));
  while (reply.size() < 65'539) reply.insert(reply.end(), empty.begin(), empty.end());
  ASSERT_EQ(reply.size(), 65'539U);
  const Bytes there =
      packet(kLast, joined({hex("00"), field(15, hex("63")), field(16, hex("24"))}));
  EXPECT_EQ(device(joined({reply, there})),
            json(R"({"Supplies Count": 1, "Supply 1": {"Description": "Cyan", "Max Level": 100,
                                                       "Current Level": 37}})"));
}

// --- Which decoder a query reply goes to

// The type stands 4 bytes behind the serial number; the decoders differ in what they call it all.
TEST(PSSDQueryResponse, GoesToTheDecoderOfItsType) {
  const std::map<RecordType, std::string> fields = {{RecordType::kSingleSupply, "/Toner Type"},
                                                    {RecordType::kPageCounts, "/#5/Pages Capacity"},
                                                    {RecordType::kDotCounts, "/#5/Max Dot Count"}};
  for (const Bytes& serialNumber : {Bytes(), bytesOf("S"), repeated('S', 255)}) {
    const Bytes length = u8(static_cast<std::uint32_t>(serialNumber.size()));
    for (std::uint32_t type = 0; type < 256; ++type) {
      const Bytes record = joined({length, serialNumber, hex("01 00 00"), u8(type),  //
                                   hex("05"), repeated(0x01, 45)});
      const Json decoded = Json::parse(query(queryReply(record)));
      const auto field = fields.find(static_cast<RecordType>(type));
      EXPECT_EQ(decoded.is_null(), field == fields.end()) << type;
      if (field != fields.end()) {
        EXPECT_TRUE(decoded.contains(Json::json_pointer(field->second))) << type;
      }
    }
  }
}

TEST(PSSDQueryResponse, IsRefusedWithoutATypeInThePayload) {
  EXPECT_EQ(query(queryReply(hex("00 01 00 00"))), "null");
  EXPECT_EQ(query(queryReply(hex("00 01 00 00 03"))),
            json(R"({"Serial Number": "", "Supplies Count": 1, "Record Length": 0,
                     "Toner Prediction": 3})"));
  EXPECT_EQ(query(joined({queryReply(hex("00 01 00 00")), hex("03")})), "null");  // behind it
  EXPECT_EQ(query(queryReply(hex("FF 01 00 00 03"))), "null");
  EXPECT_EQ(query(queryReply({})), "null");
}

// --- The two exchanges, over a filter's descriptors

// What the filter process below reports: the status, and the dictionary that went in as
// {"Before": "the query"}.
std::string queryLeft(std::int32_t status, const char* supplies) {
  return Json({{"status", status}, {"supplies", Json::parse(supplies)}}).dump(2);
}
constexpr const char* kBefore = R"({"Before": "the query"})";

std::string runQuery(std::uint32_t timeout) {
  Dictionary supplies;
  supplies.set("Before", std::string("the query"));
  const Status status = MoxNPAUtilityCommand().pssdQueryAll(supplies, timeout);
  return Json({{"status", signedNumber(status)}, {"supplies", asJson(supplies)}}).dump(2);
}

// A filter that runs the query, seen from the printer.
class Query {
 public:
  explicit Query(std::uint32_t timeout = 8)
      : mFilter(BackChannel::kNonBlockingPipe, [=] {
          std::setvbuf(stdout, nullptr, _IONBF, 0);  // a link that is gone fails the write
          return runQuery(timeout);
        }) {}

  void expectRequest(const Bytes& request) { EXPECT_EQ(mFilter.receive(request.size()), request); }

  // Each reply is sent when those before it have been read.
  void reply(const std::vector<Bytes>& replies) { mFilter.sendInPieces(replies); }

  void hangUp() { mFilter.endBackChannel(); }
  void closeLink() { mFilter.closeLink(); }

  // What the query left. It must have written nothing but what was expected.
  std::string wait() {
    const auto ending = mFilter.wait();
    EXPECT_EQ(ending.written, Bytes());
    EXPECT_EQ(ending.exitStatus, 0);
    return ending.result;
  }

 private:
  FilterProcess mFilter;
};

// A whole query of a printer that answers both requests at once.
std::string ask(const Bytes& deviceReply, const Bytes& queryReply) {
  Query query;
  query.expectRequest(kDeviceQuery);
  query.reply({deviceReply});
  query.expectRequest(kSuppliesQuery);
  query.reply({queryReply});
  query.hangUp();
  return query.wait();
}

TEST(AssemblePSSDQuery, CopiesTheQueryRequest) {
  std::array<std::uint8_t, 27> request{};
  EXPECT_EQ(MoxNPAUtilityCommand().assemblePSSDquery(request), Status::kSuccess);
  EXPECT_EQ(Bytes(request.begin(), request.end()), kSuppliesQuery);
}

TEST(PSSDQueryAll, ReplacesTheCallersDictionary) {
  EXPECT_EQ(ask(blackToner(), blackDots()), queryLeft(0, kBlackToner));
}

// Replies that are not the answer: each is wrong in one byte of the head.
const std::vector<Bytes>& othersThanDeviceReplies() {
  static const std::vector<Bytes> replies = {
      hex("A5 00 06 50 E1 21 01 00 00"),
      hex("A5 00 06 50 E0 22 01 00 00"),
      hex("A5 00 06 50 E0 21 03 00 00"),
  };
  return replies;
}
const std::vector<Bytes>& othersThanQueryReplies() {
  static const std::vector<Bytes> replies = {
      hex("A5 00 06 50 E1 07 02 00 00"),
      hex("A5 00 06 50 E0 06 02 00 00"),
      hex("A5 00 06 50 E0 07 00 00 00"),
  };
  return replies;
}

TEST(PSSDQueryAll, TakesTheFourthReplyToEachRequest) {
  Query query;
  query.expectRequest(kDeviceQuery);
  query.reply(othersThanDeviceReplies());
  query.reply({deviceReply(suppliesRecord({supply(1, {description("x")})}))});
  query.expectRequest(kSuppliesQuery);
  query.reply(othersThanQueryReplies());
  query.reply({blackDots()});
  EXPECT_EQ(query.wait(), queryLeft(0, R"({"Supplies Count": 1, "Supply 1": {"Description": "x",
      "Max Level": 256, "Current Level": 128}})"));
}

TEST(PSSDQueryAll, GivesUpAfterFourRepliesToTheFirstRequest) {
  Query query;
  query.expectRequest(kDeviceQuery);
  query.reply(othersThanDeviceReplies());
  query.reply({blackDots(), blackToner()});  // the answer to the other request, and the right one
  EXPECT_EQ(query.wait(), queryLeft(-6, kBefore));
}

TEST(PSSDQueryAll, KeepsTheTableAfterFourRepliesToTheSecondRequest) {
  Query query;
  query.expectRequest(kDeviceQuery);
  query.reply({deviceReply(suppliesRecord({supply(1, {description("x")})}))});
  query.expectRequest(kSuppliesQuery);
  query.reply(othersThanQueryReplies());
  query.reply({blackToner(), blackDots()});  // the answer to the other request, and the right one
  EXPECT_EQ(query.wait(),
            queryLeft(0, R"({"Supplies Count": 1, "Supply 1": {"Description": "x"}})"));
}

TEST(PSSDQueryAll, FindsNothingWhenThePrinterHangsUp) {
  Query query;
  query.expectRequest(kDeviceQuery);
  query.hangUp();
  EXPECT_EQ(query.wait(), queryLeft(-6, kBefore));
}

TEST(PSSDQueryAll, WaitsNoLongerThanItsTimeout) {
  Query query(0);  // takes only what is there: nothing
  query.expectRequest(kDeviceQuery);
  EXPECT_EQ(query.wait(), queryLeft(-6, kBefore));
}

TEST(PSSDQueryAll, KeepsTheTableWhenThePrinterDoesNotAnswerTheSecondRequest) {
  Query query;
  query.expectRequest(kDeviceQuery);
  query.reply({blackToner()});
  query.expectRequest(kSuppliesQuery);
  query.hangUp();
  EXPECT_EQ(query.wait(), queryLeft(0, kBlackToner));
}

// Five bytes that end a reply at once: their length of 65,533 makes a packet of 65,536 bytes, which
// is 0 in 16 bits, and more than that has come.
const Bytes& fiveBytes() {
  static const Bytes bytes = hex("A5 FF FD 50 E0");
  return bytes;
}

// Between the attempts to read a device reply the buffer is kept. Five bytes are judged with what
// the reply before left behind them, and found to be the answer, which broke off.
TEST(PSSDQueryAll, JudgesAShortDeviceReplyByTheOneBefore) {
  Query query;
  query.expectRequest(kDeviceQuery);
  query.reply({hex("A5 00 06 50 00 21 01 00 00"), fiveBytes()});
  EXPECT_EQ(query.wait(), queryLeft(-1, kBefore));
}

// The same with the shortest reply that counts as one. It is accepted, too short to be decoded, and
// so a table that is empty.
TEST(PSSDQueryAll, JudgesASixByteDeviceReplyByTheOneBefore) {
  Query query;
  query.expectRequest(kDeviceQuery);
  query.reply({hex("A5 00 06 50 E0 FF 01 00 00"), hex("A5 00 03 50 E0 21")});
  query.expectRequest(kSuppliesQuery);
  query.hangUp();
  EXPECT_EQ(query.wait(), queryLeft(0, "{}"));
}

// Nothing but what came before makes five bytes the answer.
TEST(PSSDQueryAll, DoesNotAcceptFiveBytesAlone) {
  Query query;
  query.expectRequest(kDeviceQuery);
  query.reply({fiveBytes(), fiveBytes(), fiveBytes(), fiveBytes()});
  EXPECT_EQ(query.wait(), queryLeft(-6, kBefore));
}

// Before each attempt to read a query reply the buffer is cleared, so that five bytes are no answer
// whatever came before, and the next reply is looked at.
TEST(PSSDQueryAll, JudgesAShortQueryReplyByItself) {
  Query query;
  query.expectRequest(kDeviceQuery);
  query.reply({deviceReply(suppliesRecord({supply(1, {description("x")})}))});
  query.expectRequest(kSuppliesQuery);
  query.reply({hex("A5 00 06 50 00 07 02 00 00"), fiveBytes(), blackDots()});
  EXPECT_EQ(query.wait(), queryLeft(0, R"({"Supplies Count": 1, "Supply 1": {"Description": "x",
      "Max Level": 256, "Current Level": 128}})"));
}

TEST(PSSDQueryAll, FailsWhenTheFirstRequestIsNotWritten) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, [] {
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    ::close(STDOUT_FILENO);
    return runQuery(8);
  });
  EXPECT_EQ(filter.wait().result, queryLeft(-2, kBefore));
}

// The link is gone before the second request: nothing is read for it, and the table stands.
TEST(PSSDQueryAll, KeepsTheTableWhenTheSecondRequestIsNotWritten) {
  Query query;
  query.expectRequest(kDeviceQuery);
  query.closeLink();
  query.reply({deviceReply(suppliesRecord({supply(1, {description("x")})})), blackDots()});
  EXPECT_EQ(query.wait(),
            queryLeft(0, R"({"Supplies Count": 1, "Supply 1": {"Description": "x"}})"));
}

TEST(PSSDQueryAll, IsEmptyWhenTheTableIsRefused) {
  Bytes reply = blackToner();
  reply[7] = 1;  // accepted, since byte 7 is not looked at, and then refused
  EXPECT_EQ(ask(reply, blackDots()), queryLeft(0, "{}"));
  reply = blackToner();
  reply[8 + 38] = 2;  // the form of the record
  EXPECT_EQ(ask(reply, blackDots()), queryLeft(0, "{}"));
  EXPECT_EQ(ask(hex("A5 00 04 50 E0 21 01"), blackDots()), queryLeft(0, "{}"));  // 7 bytes
}

TEST(PSSDQueryAll, PassesOverAQueryReplyThatIsRefused) {
  const Bytes table = deviceReply(suppliesRecord({supply(1, {description("x")})}));
  const std::string alone =
      queryLeft(0, R"({"Supplies Count": 1, "Supply 1": {"Description": "x"}})");
  Bytes unknown = blackDots();
  put(unknown, 13, hex("63"));  // type 99
  EXPECT_EQ(ask(table, unknown), alone);
  EXPECT_EQ(ask(table, hex("A5 00 04 50 E0 07 02")), alone);  // 7 bytes
}

// --- Levels that the supplies table lacks

// A record of type 1.
Bytes oneSupply(std::uint8_t number, std::uint8_t maxLevel, std::uint8_t currentLevel) {
  return joined({hex("00 01 2A 00 01"), u8(number), repeated(0x00, 16), u8(maxLevel),
                 u8(currentLevel), hex("02 00"), repeated(0x00, 14)});
}

struct Merge {
  const char* situation;
  Bytes table;
  Bytes record;
  const char* supplies;
};

void expectMerges(const std::vector<Merge>& merges) {
  for (const Merge& merge : merges) {
    EXPECT_EQ(ask(deviceReply(merge.table), queryReply(merge.record)), queryLeft(0, merge.supplies))
        << merge.situation;
  }
}

TEST(MergedLevels, OfOneSupply) {
  expectMerges({
      {"a supply with neither level; the other one stays as it is",
       suppliesRecord({supply(1, {description("x")}), supply(2, {description("x")})}),
       oneSupply(2, 10, 4),
       R"({"Supplies Count": 2, "Supply 1": {"Description": "x"},
           "Supply 2": {"Description": "x", "Max Level": 10, "Current Level": 4}})"},
      {"a supply without what is queryLeft: both levels are replaced",
       suppliesRecord(
           {supply(1, {description("x")}), supply(2, {description("x"), maxLevel(100)})}),
       oneSupply(2, 10, 4),
       R"({"Supplies Count": 2, "Supply 1": {"Description": "x"},
           "Supply 2": {"Description": "x", "Max Level": 10, "Current Level": 4}})"},
      {"a supply without the full level: the same",
       suppliesRecord(
           {supply(1, {description("x")}), supply(2, {description("x"), currentLevel(37)})}),
       oneSupply(2, 10, 4),
       R"({"Supplies Count": 2, "Supply 1": {"Description": "x"},
           "Supply 2": {"Description": "x", "Max Level": 10, "Current Level": 4}})"},
      {"a supply with both levels",
       suppliesRecord({supply(1, {description("x")}),
                       supply(2, {description("x"), maxLevel(100), currentLevel(37)})}),
       oneSupply(2, 10, 4),
       R"({"Supplies Count": 2, "Supply 1": {"Description": "x"},
           "Supply 2": {"Description": "x", "Max Level": 100, "Current Level": 37}})"},
      {"a supply that the table does not hold is added, and not counted",
       suppliesRecord({supply(1, {description("x")})}), oneSupply(2, 10, 4),
       R"({"Supplies Count": 1, "Supply 1": {"Description": "x"},
           "Supply 2": {"Max Level": 10, "Current Level": 4}})"},
      {"supply 0", suppliesRecord({supply(0, {description("x")})}), oneSupply(0, 10, 4),
       R"({"Supplies Count": 1,
           "Supply 0": {"Description": "x", "Max Level": 10, "Current Level": 4}})"},
      {"supply 255", suppliesRecord({supply(1, {description("x")})}), oneSupply(255, 255, 0),
       R"({"Supplies Count": 1, "Supply 1": {"Description": "x"},
           "Supply 255": {"Max Level": 255, "Current Level": 0}})"},
      {"a table that was refused", repeated(0x00, 60), oneSupply(2, 10, 4),
       R"({"Supply 2": {"Max Level": 10, "Current Level": 4}})"},
  });
}

// A record of one supply that breaks off before its levels changes nothing and adds nothing.
TEST(MergedLevels, OfOneSupplyNeedBothLevels) {
  const Bytes known = suppliesRecord({supply(1, {description("x"), maxLevel(100)})});
  const Bytes record = oneSupply(1, 10, 4);
  const char* unchanged = R"({"Supplies Count": 1, "Supply 1": {"Description": "x",
                                                                "Max Level": 100}})";
  expectMerges({
      {"without what is queryLeft", known, firstBytes(record, 23), unchanged},
      {"without both levels", known, firstBytes(record, 22), unchanged},
      {"without the supply's number", known, firstBytes(record, 5), unchanged},
      {"of a supply that the table does not hold", known, firstBytes(oneSupply(2, 10, 4), 23),
       unchanged},
      {"with both", known, firstBytes(record, 24), R"({"Supplies Count": 1,
          "Supply 1": {"Description": "x", "Max Level": 10, "Current Level": 4}})"},
  });
}

TEST(MergedLevels, OfATableOfDotCounts) {
  expectMerges({
      {"by number, not by place",
       suppliesRecord({supply(3, {description("x")}), supply(1, {description("x")}),
                       supply(2, {description("x")})}),
       dotCountRecord({{2, 20, 2}, {3, 30, 3}, {1, 10, 1}}),
       R"({"Supplies Count": 3,
           "Supply 1": {"Description": "x", "Max Level": 10, "Current Level": 1},
           "Supply 2": {"Description": "x", "Max Level": 20, "Current Level": 2},
           "Supply 3": {"Description": "x", "Max Level": 30, "Current Level": 3}})"},
      {"supplies that have their levels",
       suppliesRecord({supply(1, {maxLevel(100), currentLevel(37)}),
                       supply(2, {maxLevel(100), currentLevel(37)}),
                       supply(3, {maxLevel(100), currentLevel(37)})}),
       dotCountRecord({{1, 10, 1}, {2, 20, 2}, {3, 30, 3}}),
       R"({"Supplies Count": 3, "Supply 1": {"Max Level": 100, "Current Level": 37},
           "Supply 2": {"Max Level": 100, "Current Level": 37},
           "Supply 3": {"Max Level": 100, "Current Level": 37}})"},
      {"one level missing: both are replaced, the last supply's too",
       suppliesRecord({supply(1, {maxLevel(100), field(17, {})}),
                       supply(2, {maxLevel(100), currentLevel(37)}),
                       supply(3, {description("x"), currentLevel(37)})}),
       dotCountRecord({{1, 10, 1}, {2, 20, 2}, {3, 30, 3}}),
       R"({"Supplies Count": 3, "Supply 1": {"Max Level": 10, "Current Level": 1},
           "Supply 2": {"Max Level": 100, "Current Level": 37},
           "Supply 3": {"Description": "x", "Max Level": 30, "Current Level": 3}})"},
      {"a supply that the record lacks stays, and those behind it are filled",
       suppliesRecord({supply(1, {maxLevel(100), field(17, {})}), supply(2, {description("x")})}),
       dotCountRecord({{2, 20, 2}}),
       R"({"Supplies Count": 2, "Supply 1": {"Max Level": 100},
           "Supply 2": {"Description": "x", "Max Level": 20, "Current Level": 2}})"},
      {"a supply that the table counts and does not hold is added",
       suppliesRecord(3, {supply(1, {maxLevel(100), currentLevel(37)})}),
       dotCountRecord({{3, 30, 3}}),
       R"({"Supplies Count": 3, "Supply 1": {"Max Level": 100, "Current Level": 37},
           "Supply 3": {"Max Level": 30, "Current Level": 3}})"},
      {"supply 0, and those beyond the count, are not looked at",
       suppliesRecord({supply(0, {description("x")})}), dotCountRecord({{0, 10, 1}, {2, 20, 2}}),
       R"({"Supplies Count": 1, "Supply 0": {"Description": "x"}})"},
      {"an entry that breaks off",
       suppliesRecord({supply(1, {description("x")}), supply(2, {description("x")})}),
       firstBytes(dotCountRecord({{1, 10, 1}, {2, 20, 2}}), 5 + 9 + 8),
       R"({"Supplies Count": 2,
           "Supply 1": {"Description": "x", "Max Level": 10, "Current Level": 1},
           "Supply 2": {"Description": "x"}})"},
      {"levels that are negative, or 0",
       suppliesRecord({supply(1, {description("x")}), supply(2, {description("x")})}),
       dotCountRecord({{1, 0xFFFFFFFF, 0x80000000}, {2, 0, 0}}),
       R"({"Supplies Count": 2,
           "Supply 1": {"Description": "x", "Max Level": -1, "Current Level": -2147483648},
           "Supply 2": {"Description": "x", "Max Level": 0, "Current Level": 0}})"},
      {"a table that was refused has no supplies", repeated(0x00, 60), dotCountRecord({{1, 10, 1}}),
       "{}"},
  });
}

TEST(MergedLevels, OfATableOfPageCounts) {
  expectMerges({
      {"the supply count and the current supply count",
       suppliesRecord(
           {supply(1, {description("x")}), supply(2, {description("x"), maxLevel(100)})}),
       hex("00 02 21 EE 02"
           "02 00 00 00 00 14 00 00 00 02 00 00 00 63"
           "01 00 00 00 00 0A 00 00 00 01 00 00 00 63"),
       R"({"Supplies Count": 2,
           "Supply 1": {"Description": "x", "Max Level": 10, "Current Level": 1},
           "Supply 2": {"Description": "x", "Max Level": 20, "Current Level": 2}})"},
  });
}

// The count has 16 bits here, unlike that of the report.
TEST(MergedLevels, ReachAllSuppliesThatTheTableCounts) {
  expectMerges({
      {"300 supplies", suppliesRecord(300, {supply(1, {description("x")})}),
       dotCountRecord({{45, 10, 1}, {255, 20, 2}}),
       R"({"Supplies Count": 300, "Supply 1": {"Description": "x"},
           "Supply 45": {"Max Level": 10, "Current Level": 1},
           "Supply 255": {"Max Level": 20, "Current Level": 2}})"},
      {"65,535 supplies, the most that can be counted",
       suppliesRecord(65'535, {supply(1, {description("x")})}),
       dotCountRecord({{1, 10, 1}, {255, 20, 2}}),
       R"({"Supplies Count": 65535,
           "Supply 1": {"Description": "x", "Max Level": 10, "Current Level": 1},
           "Supply 255": {"Max Level": 20, "Current Level": 2}})"},
  });
}

}  // namespace
}  // namespace moxsupply::testing
