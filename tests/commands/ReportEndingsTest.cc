// Every way in which a printer or the link to it can make a query end, seen from outside. (The
// statuses -5 and -7 tell a host of its own mistakes, which this program does not make.)

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/support/FilterProcess.h"
#include "tests/support/Hex.h"
#include "tests/support/Requests.h"

namespace moxsupply::testing {
namespace {

using Json = nlohmann::json;

// Behind the head of a laser printer's answer, up to where the supplies are counted.
const Bytes kRecordHead = joined({hex("12 34"),            // marker, anything but 0
                                  repeated(0x20, 36),      // about the device, not read
                                  hex("01 00"              // form of the record
                                      "00 02 00 00"        // two elements
                                      "01 01 00 02 BE EF"  // an element that nobody asks for
                                      "02 01 00 01 00 00"  // the group, one child
                                      "08 01"              // the supplies table
                                      )});

const Bytes kToner = hex(R"(
    01 00 00 00 00 0F 00 00     # supply 1, 15 bytes
    00 01 00 00                 # one field
    03 01 00 05 54 6F 6E 65 72  # description: "Toner"
)");
const Bytes kNameless = hex(R"(
    02 00 00 00 00 0B 00 00  # supply 2, 11 bytes
    00 01 00 00              # one field
    07 01 00 01 05           # type 5: a fuser
)");

// Two supplies are counted; the first is there.
const char* const kTonerOfTwo = R"({
  "PrintHeadType": "LaserSupplies", "SupplyCount": 2,
  "Supply 1": {
    "SupplyName": "Toner", "SupplyType": "other", "SupplyColor": "Black",
    "SupplyPercentage": -2147483648, "SupplyStatus": "Correct"
  }
})";

const char* const kOneToner = R"({
  "PrintHeadType": "LaserSupplies", "SupplyCount": 1,
  "Supply 1": {
    "SupplyName": "Toner", "SupplyType": "other", "SupplyColor": "Black",
    "SupplyPercentage": -2147483648, "SupplyStatus": "Correct"
  }
})";

// One toner in a table of one. Length: flags, head, record, table, supply.
const Bytes kOneTonerReply =
    joined({hex("A5 00 58 50 E0 21 01 00"), kRecordHead, hex("00 01 00 00"), kToner});

const Bytes kOneCartridgeReply = hex(R"(
    A5 00 0F 50 E0 81 00 FF 00 02  # two items
    00 19 01 00                    # print head 0: Quarry
    01 10 01 30                    # first cartridge, of which nothing else is told
)");

const char* const kOneCartridge = R"({
  "PrintHeadType": "Quarry", "SupplyCount": 1,
  "Supply 1": {
    "SupplyName": "Color", "SupplyType": "ink", "SupplyColor": "Color",
    "SupplyPercentage": 0, "SupplyStatus": "Correct"
  }
})";

// Each misses the head of an answer by one byte.
const Bytes kThreeOtherLaserReplies = hex(R"(
    A5 00 06 50 E1 21 01 00 FF
    A5 00 06 50 E0 20 01 00 FF
    A5 00 06 50 E0 21 02 00 FF
)");
const Bytes kThreeOtherInkjetReplies = hex(R"(
    A5 00 06 50 E1 81 00 FF FF
    A5 00 06 50 E0 80 00 FF FF
    A5 00 06 50 E0 81 01 FF FF
)");

std::vector<std::string> reportOn(const char* printerType, const char* transport) {
  return {MOXSUPPLY_PROGRAM, "report",  "--printer-type", printerType,
          "--transport",     transport, "--timeout",      "5"};
}

struct Ending {
  const char* name;
  const char* printerType;
  Bytes replies;  // after them the printer hangs up
  int status;
  const char* report;
};

void PrintTo(const Ending& ending, std::ostream* out) { *out << ending.name; }

class EndingOfAQuery : public ::testing::TestWithParam<Ending> {};

TEST_P(EndingOfAQuery, HasItsStatusAndItsReport) {
  FilterProcess process(BackChannel::kNonBlockingPipe, reportOn(GetParam().printerType, "usb"),
                        {"LC_ALL=C"}, GetParam().replies);
  process.endBackChannel();
  const auto ending = process.wait();
  EXPECT_EQ(ending.exitStatus, GetParam().status == 0 ? 0 : 1);
  const Json expected = {{"status", GetParam().status}, {"report", Json::parse(GetParam().report)}};
  EXPECT_EQ(Json::parse(ending.result), expected);
}

INSTANTIATE_TEST_SUITE_P(
    OfALaserPrinter, EndingOfAQuery,
    ::testing::Values(
        Ending{"NothingComes", "Laser", {}, -6, "{}"},
        Ending{"FourOtherReplies", "Laser",
               joined({kThreeOtherLaserReplies, kLoopBack, kOneTonerReply}), -6, "{}"},
        Ending{"AnswerAfterThreeOtherReplies", "Laser",
               joined({kThreeOtherLaserReplies, kOneTonerReply}), 0, kOneToner},
        // Its head is made whole by the reply before it, which is still in the buffer.
        Ending{"AnswerOfFiveBytes", "Laser", hex("A5 00 06 50 00 21 01 00 FF  A5 00 02 50 E0"), -1,
               "{}"},
        Ending{"AnswerOfSevenBytes", "Laser", hex("A5 00 04 50 E0 21 01"), -4,
               R"({"PrintHeadType": "LaserSupplies"})"},
        Ending{"AnswerThatIsRefused", "Laser",
               joined({hex("A5 00 58 50 E0 21 01 01"),  // 01 for 00
                       kRecordHead, hex("00 01 00 00"), kToner}),
               -4, R"({"PrintHeadType": "LaserSupplies"})"},
        Ending{"TableThatCountsNoSupplies", "Laser",
               joined({hex("A5 00 43 50 E0 21 01 00"), kRecordHead, hex("00 00 00 00")}), -4,
               R"({"PrintHeadType": "LaserSupplies"})"},
        Ending{"TableWithoutItsLastSupply", "Laser",
               joined({hex("A5 00 58 50 E0 21 01 00"), kRecordHead, hex("00 02 00 00"), kToner}),
               -4, kTonerOfTwo},
        Ending{"SupplyWithoutADescription", "Laser",
               joined({hex("A5 00 69 50 E0 21 01 00"), kRecordHead, hex("00 02 00 00"), kToner,
                       kNameless}),
               -4, kTonerOfTwo},
        // The second answer is only for levels.
        Ending{"NoSecondAnswer", "Laser", kOneTonerReply, 0, kOneToner}),
    [](const auto& ending) { return ending.param.name; });

INSTANTIATE_TEST_SUITE_P(
    OfAnInkjetPrinter, EndingOfAQuery,
    ::testing::Values(
        Ending{"NothingComes", "Inkjet", {}, -6, "{}"},
        Ending{"FourOtherReplies", "Inkjet",
               joined({kThreeOtherInkjetReplies, kLoopBack, kOneCartridgeReply}), -6, "{}"},
        Ending{"AnswerAfterThreeOtherReplies", "Inkjet",
               joined({kThreeOtherInkjetReplies, kOneCartridgeReply}), 0, kOneCartridge},
        // Its head is made whole by the reply before it, which is still in the buffer.
        Ending{"AnswerOfFiveBytes", "Inkjet", hex("A5 00 06 50 00 81 00 FF FF  A5 00 02 50 E0"), -1,
               "{}"},
        Ending{"AnswerOfSevenBytes", "Inkjet", hex("A5 00 04 50 E0 81 00"), -4, "{}"},
        Ending{"AnswerWithAnotherEighthByte", "Inkjet",
               hex("A5 00 0B 50 E0 81 00 FE 00 01  01 10 01 30"), -4, "{}"},
        Ending{"LastPacketWithOtherFlags", "Inkjet",
               hex("A5 00 0B 40 E0 81 00 FF 00 01  01 10 01 30"), -4, "{}"},
        Ending{"CountOfZeroItems", "Inkjet", hex("A5 00 0B 50 E0 81 00 FF 00 00  01 10 01 30"), -4,
               "{}"},
        Ending{"NoFirstCartridge", "Inkjet", hex("A5 00 0B 50 E0 81 00 FF 00 01  01 20 01 50"), -4,
               "{}"},
        Ending{"UnknownHead", "Inkjet",
               hex("A5 00 0F 50 E0 81 00 FF 00 02  00 19 01 03  01 10 01 30"), -4,
               R"({"SupplyCount": 0})"},
        Ending{"HeadWithoutACode", "Inkjet",
               hex("A5 00 0E 50 E0 81 00 FF 00 02  00 19 00  01 10 01 30"), -4,
               R"({"SupplyCount": 0})"},
        // No cartridge asks what head it is on.
        Ending{"UnknownHeadAndUnknownCartridge", "Inkjet",
               hex("A5 00 0F 50 E0 81 00 FF 00 02  00 19 01 03  01 10 01 33"), 0,
               R"({"SupplyCount": 0})"}),
    [](const auto& ending) { return ending.param.name; });

// The program, held back until the link to its printer is gone.
FilterProcess reportWithoutLink(const char* printerType, const char* transport) {
  std::vector<std::string> command = {"/bin/sh", "-c", R"(read -r _ <&3; exec "$0" "$@")"};
  for (const std::string& word : reportOn(printerType, transport)) command.push_back(word);
  return {BackChannel::kNonBlockingPipe, command, {"LC_ALL=C"}};
}

// The first request cannot be written, whichever it is.
TEST(LinkThatIsGone, FailsTheQueryWithMinusTwo) {
  struct Queue {
    const char* printerType;
    const char* transport;
  };
  for (const Queue queue : {Queue{"Laser", "usb"}, {"Inkjet", "usb"}, {"Inkjet", "socket"}}) {
    FilterProcess process = reportWithoutLink(queue.printerType, queue.transport);
    process.closeLink();
    process.send(bytesOf("\n"));
    const auto ending = process.wait();
    EXPECT_EQ(ending.exitStatus, 1);
    EXPECT_EQ(ending.result, "{\"status\":-2,\"report\":{}}\n") << queue.transport;
  }
}

// The second request of a laser query cannot be written: the supplies table stands alone.
TEST(LinkThatGoesAway, AfterTheSuppliesTableFailsNothing) {
  FilterProcess process(BackChannel::kNonBlockingPipe, reportOn("Laser", "usb"), {"LC_ALL=C"});
  EXPECT_EQ(process.receive(kDeviceQuery.size()), kDeviceQuery);
  process.closeLink();
  process.send(kOneTonerReply);
  const auto ending = process.wait();
  EXPECT_EQ(ending.exitStatus, 0);
  EXPECT_EQ(Json::parse(ending.result), (Json{{"status", 0}, {"report", Json::parse(kOneToner)}}));
}

}  // namespace
}  // namespace moxsupply::testing
