#include <fcntl.h>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <thread>

#include "front/MoxFilter.h"
#include "tests/support/Allocations.h"
#include "tests/support/DictionaryJson.h"
#include "tests/support/FilterProcess.h"
#include "tests/support/Hex.h"
#include "tests/support/InkjetReply.h"
#include "tests/support/Packet.h"
#include "tests/support/Requests.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t kPatience = 8;  // seconds; no test waits for it

// Creation

class EveryTransport : public ::testing::TestWithParam<const char*> {};
INSTANTIATE_TEST_SUITE_P(MoxFilter, EveryTransport,
                         ::testing::Values("usb", "socket", "mdns", "dnssd"),
                         [](const auto& row) { return std::string(row.param); });

TEST_P(EveryTransport, IsOneForBothTypesOfPrinter) {
  EXPECT_NE(MoxFilter::initWithPrinterType("Laser", GetParam(), 8), nullptr);
  EXPECT_NE(MoxFilter::initWithPrinterType("Inkjet", GetParam(), 8), nullptr);
}

TEST(MoxFilterCreation, TakesEveryTimeout) {
  EXPECT_NE(MoxFilter::initWithPrinterType("Inkjet", "usb", 0), nullptr);
  EXPECT_NE(MoxFilter::initWithPrinterType("Inkjet", "usb", 4294967295U), nullptr);
}

TEST(MoxFilterCreation, FailsForAnotherPrinterType) {
  for (const char* type : {"", "laser", "LASER", "inkjet", "INKJET", "InkJet", "Laser ", " Inkjet",
                           "Lase", "Inkjets", "Ink", "Dot matrix"}) {
    EXPECT_EQ(MoxFilter::initWithPrinterType(type, "usb", 8), nullptr) << type;
  }
}

TEST(MoxFilterCreation, FailsForAnotherTransport) {
  for (const char* transport : {"", "USB", "Usb", "Socket", "SOCKET", "mDNS", "Mdns", "DNSSD",
                                "DNS-SD", "usb ", " usb", "us", "usb:", "sockets", "ipp", "lpd"}) {
    EXPECT_EQ(MoxFilter::initWithPrinterType("Laser", transport, 8), nullptr) << transport;
    EXPECT_EQ(MoxFilter::initWithPrinterType("Inkjet", transport, 8), nullptr) << transport;
  }
}

TEST(MoxFilterCreation, FailsForWordsThatGoOnAfterAZero) {
  EXPECT_EQ(MoxFilter::initWithPrinterType(std::string_view("Laser\0", 6), "usb", 8), nullptr);
  EXPECT_EQ(MoxFilter::initWithPrinterType("Laser", std::string_view("usb\0", 4), 8), nullptr);
}

TEST(MoxFilterCreation, FailsForAMissingWord) {
  EXPECT_EQ(MoxFilter::initWithPrinterType(std::nullopt, "usb", 8), nullptr);
  EXPECT_EQ(MoxFilter::initWithPrinterType("Laser", std::nullopt, 8), nullptr);
  EXPECT_EQ(MoxFilter::initWithPrinterType(std::nullopt, std::nullopt, 8), nullptr);
}

TEST(MoxFilterCreation, FailsForANullPointer) {
  const char* const unset = std::getenv("MOXSUPPLY_IS_NOT_SET");
  ASSERT_EQ(unset, nullptr);
  char* const writable = nullptr;
  EXPECT_EQ(MoxFilter::initWithPrinterType(unset, "usb", 8), nullptr);
  EXPECT_EQ(MoxFilter::initWithPrinterType("Laser", unset, 8), nullptr);
  EXPECT_EQ(MoxFilter::initWithPrinterType(unset, unset, 8), nullptr);
  EXPECT_EQ(MoxFilter::initWithPrinterType(writable, std::string("usb"), 8), nullptr);
  EXPECT_EQ(MoxFilter::initWithPrinterType(std::string_view("Laser"), writable, 8), nullptr);
  EXPECT_EQ(MoxFilter::initWithPrinterType(std::nullopt, unset, 8), nullptr);
  EXPECT_EQ(MoxFilter::initWithPrinterType(nullptr, nullptr, 8), nullptr);
}

// Every kind of text that a host may hold, in either place.
TEST(MoxFilterCreation, TakesEveryKindOfText) {
  const auto isTaken = [](auto&& printerType, auto&& transport) {
    return MoxFilter::initWithPrinterType(printerType, transport, 8) != nullptr;
  };
  const char* type = "Laser";
  std::array<char, 4> buffer = {"usb"};
  char* transport = buffer.data();
  std::optional<std::string_view> viewOrNothing = "usb";
  EXPECT_TRUE(isTaken("Laser", "usb"));
  EXPECT_TRUE(isTaken(type, transport));
  EXPECT_TRUE(isTaken("Laser", transport));
  EXPECT_TRUE(isTaken(type, std::string("usb")));
  EXPECT_TRUE(isTaken(std::string("Laser"), transport));
  EXPECT_TRUE(isTaken(std::string("Inkjet"), std::string("mdns")));
  EXPECT_TRUE(isTaken(std::string_view("Inkjet"), "socket"));
  EXPECT_TRUE(isTaken("Inkjet", std::string_view("dnssd")));
  EXPECT_TRUE(isTaken(type, viewOrNothing));
  EXPECT_TRUE(isTaken(std::optional<std::string>("Laser"), viewOrNothing));
  EXPECT_TRUE(isTaken(std::optional<std::string_view>("Laser"), viewOrNothing));
  EXPECT_EQ(MoxFilter::initWithPrinterType({}, viewOrNothing, 8), nullptr);
}

TEST(MoxFilterCreation, SendsNothing) {
  FilterProcess filter(BackChannel::kClosed, [] {
    MoxFilter::initWithPrinterType("Inkjet", "socket", 8);
    return std::string();
  });
  EXPECT_TRUE(filter.wait().written.empty());
}

// A query

const Bytes kInkjetReply = inkjetReply({
    hex("00 19 01  02"),  // kPrintHead: "Lantern"
    hex("01 10 01  30"),  // kFirstCartID
    hex("01 20 01  50"),  // kSecondCartID
    hex("04 27 01  3C"),  // kMonoInkRemaining: 60
    hex("04 28 01  28"),  // kCyanInkRemaining: 40
});
const std::string kInkjetReport = json(R"({
    "PrintHeadType": "Lantern",
    "Supply 1": {"SupplyColor": "Color", "SupplyName": "Color Cartridge",
                 "SupplyPercentage": 40, "SupplyStatus": "Correct", "SupplyType": "ink"},
    "Supply 2": {"SupplyColor": "Black", "SupplyName": "Black Cartridge",
                 "SupplyPercentage": 60, "SupplyStatus": "Correct", "SupplyType": "ink"},
    "SupplyCount": 2})");

// A query into `report`: its status, and what the report is afterwards.
std::string queried(MoxFilter& filter, Dictionary& report) {
  const Status status = filter.inkStatusQuery(&report);
  return fmt::format("{} {}", signedNumber(status), shown(report));
}

std::string queryInFilter(const char* printerType, const char* transport,
                          std::uint32_t timeout = kPatience, Dictionary report = {}) {
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  return queried(*MoxFilter::initWithPrinterType(printerType, transport, timeout), report);
}

const char* const kUntouched = R"({"Queue": "office"})";

std::string failed(int status, const std::string& report) {
  return fmt::format("{} {}", status, json(report));
}

std::string queryInkjetWith(const std::vector<Bytes>& replies) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, [] {
    Dictionary report;
    report.set("Queue", "office");
    return queryInFilter("Inkjet", "usb", kPatience, report);
  });
  filter.sendInPieces(replies);
  filter.endBackChannel();
  return filter.wait().result;
}

TEST_P(EveryTransport, BringsTheReportOfAnInkjet) {
  FilterProcess filter(BackChannel::kNonBlockingPipe,
                       [] { return queryInFilter("Inkjet", GetParam()); });
  filter.sendInPieces({kInkjetReply});
  filter.endBackChannel();
  EXPECT_EQ(filter.wait().result, "0 " + kInkjetReport);
}

class RequestOfAnInkjetQuery
    : public ::testing::TestWithParam<std::pair<const char*, const char*>> {};
INSTANTIATE_TEST_SUITE_P(MoxFilter, RequestOfAnInkjetQuery,
                         ::testing::Values(std::pair{"usb", "A5 00 05 50 E0 81 00 FF"},
                                           std::pair{"mdns", "A5 00 05 50 E0 81 00 FF"},
                                           std::pair{"socket",
                                                     "A5 00 06 40 03 04 20 20 20 "
                                                     "A5 00 05 50 E0 81 00 FF"},
                                           std::pair{"dnssd",
                                                     "A5 00 06 40 03 04 20 20 20 "
                                                     "A5 00 05 50 E0 81 00 FF"}),
                         [](const auto& row) { return std::string(row.param.first); });

// The loop-back request goes before it where a network lies between.
TEST_P(RequestOfAnInkjetQuery, HasTheseBytes) {
  FilterProcess filter(BackChannel::kNonBlockingPipe,
                       [] { return queryInFilter("Inkjet", GetParam().first); });
  filter.sendInPieces({kInkjetReply});
  filter.endBackChannel();
  EXPECT_EQ(hexText(filter.wait().written), GetParam().second);
}

TEST_P(EveryTransport, BringsTheSameRequestOfALaser) {
  FilterProcess filter(BackChannel::kNonBlockingPipe,
                       [] { return queryInFilter("Laser", GetParam()); });
  filter.endBackChannel();
  const auto ending = filter.wait();
  EXPECT_EQ(ending.result, "-6 {}");
  EXPECT_EQ(hexText(ending.written),
            "A5 00 10 80 A4 5B A4 5B 10 EF A4 5B 11 EE 00 FF 13 EC 2E "
            "A5 00 08 50 E0 21 01 00 00 01 08");
}

TEST(MoxFilterQuery, SendsNothingWithoutADictionary) {
  for (const char* type : {"Laser", "Inkjet"}) {
    FilterProcess filter(BackChannel::kNonBlockingPipe, [&] {
      const auto object = MoxFilter::initWithPrinterType(type, "socket", kPatience);
      const Status status = object->inkStatusQuery(nullptr);
      return fmt::format("{} left [{}]", signedNumber(status), hexText(restOfBackChannel()));
    });
    filter.send(hex("A5 00"));
    filter.endBackChannel();
    const auto ending = filter.wait();
    EXPECT_EQ(ending.result, "-7 left [A5 00]") << type;
    EXPECT_TRUE(ending.written.empty()) << type;
  }
}

TEST(MoxFilterQuery, KeepsItsOwnCopyOfTheTransport) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, [] {
    std::string transport = "socket";
    const auto object = MoxFilter::initWithPrinterType("Inkjet", transport, kPatience);
    transport.assign(transport.size(), 'x');
    Dictionary report;
    return queried(*object, report);
  });
  filter.endBackChannel();
  EXPECT_EQ(filter.wait().written, joined({kLoopBack, kInkjetQuery}));
}

TEST(MoxFilterQuery, FailsOnAnObjectThatWasMovedFrom) {
  for (const char* type : {"Laser", "Inkjet"}) {
    FilterProcess filter(BackChannel::kNonBlockingPipe, [&] {
      const auto object = MoxFilter::initWithPrinterType(type, "socket", kPatience);
      const MoxFilter other = std::move(*object);
      Dictionary report;
      report.set("Queue", "office");
      return queried(*object, report) + fmt::format(" left [{}]", hexText(restOfBackChannel()));
    });
    filter.send(hex("A5 00"));
    filter.endBackChannel();
    const auto ending = filter.wait();
    EXPECT_EQ(ending.result, failed(-5, kUntouched) + " left [A5 00]") << type;
    EXPECT_TRUE(ending.written.empty()) << type;
  }
}

TEST(MoxFilterQuery, WorksOnTheObjectThatWasMovedTo) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, [] {
    MoxFilter object = std::move(*MoxFilter::initWithPrinterType("Inkjet", "dnssd", kPatience));
    Dictionary report;
    return queried(object, report);
  });
  filter.sendInPieces({kInkjetReply});
  filter.endBackChannel();
  const auto ending = filter.wait();
  EXPECT_EQ(ending.result, "0 " + kInkjetReport);
  EXPECT_EQ(ending.written, joined({kLoopBack, kInkjetQuery}));
}

TEST(MoxFilterQuery, WaitsTheTimeoutForEachRead) {
  FilterProcess filter(BackChannel::kNonBlockingPipe,
                       [] { return queryInFilter("Inkjet", "usb", 4294967295U); });
  filter.receive(kInkjetQuery.size());
  std::this_thread::sleep_for(100ms);
  filter.sendInPieces({kInkjetReply});  // and the channel stays open
  EXPECT_EQ(filter.wait().result, "0 " + kInkjetReport);
}

TEST(MoxFilterQuery, TakesOnlyWhatIsThereWithATimeoutOfZero) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, [] {
    const auto start = std::chrono::steady_clock::now();
    const std::string result =
        queryInFilter("Inkjet", "usb", 0) + ' ' + queryInFilter("Laser", "usb", 0);
    return result + (std::chrono::steady_clock::now() - start < 900ms ? " at once" : " late");
  });
  EXPECT_EQ(filter.wait().result, "-6 {} -6 {} at once");
}

TEST(MoxFilterQuery, MayBeMadeAgain) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, [] {
    const auto object = MoxFilter::initWithPrinterType("Inkjet", "socket", kPatience);
    Dictionary report;
    report.set("Queue", "office");
    const std::string first = queried(*object, report);
    return first + "\n" + queried(*object, report);
  });
  filter.sendInPieces({
      inkjetReply({hex("00 19 01 02"), hex("01 10 01 A0"), hex("01 20 01 50"), hex("04 27 01 3C"),
                   hex("04 28 01 28")}),
      inkjetReply({hex("00 19 01 00"), hex("01 10 01 33"), hex("01 20 01 50"), hex("04 00 01 20"),
                   hex("04 14 01 40")}),
  });
  filter.endBackChannel();
  const auto ending = filter.wait();
  EXPECT_EQ(ending.result, "0 " + json(R"({
      "PrintHeadType": "Lantern", "Queue": "office",
      "Supply 1": {"SupplyColor": "Color", "SupplyName": "Color Cartridge",
                   "SupplyPercentage": 40, "SupplyStatus": "Correct", "SupplyType": "ink"},
      "Supply 2": {"SupplyColor": "Black", "SupplyName": "Black Cartridge",
                   "SupplyPercentage": 60, "SupplyStatus": "Correct", "SupplyType": "ink"},
      "SupplyCount": 2})") + "\n" +
                               // "Supply 2" is the first query's.
                               "0 " + json(R"({
      "PrintHeadType": "Quarry", "Queue": "office",
      "Supply 1": {"SupplyColor": "Black", "SupplyName": "Black",
                   "SupplyPercentage": 50, "SupplyStatus": "Correct", "SupplyType": "ink"},
      "Supply 2": {"SupplyColor": "Black", "SupplyName": "Black Cartridge",
                   "SupplyPercentage": 60, "SupplyStatus": "Correct", "SupplyType": "ink"},
      "SupplyCount": 1})"));
  EXPECT_EQ(ending.written, joined({kLoopBack, kInkjetQuery, kLoopBack, kInkjetQuery}));
}

// A query that fails

TEST(FailedInkjetQuery, LeavesTheReportWhenNothingCame) {
  EXPECT_EQ(queryInkjetWith({}), failed(-6, kUntouched));
}

TEST(FailedInkjetQuery, LeavesTheReportWhenTheAnswerBrokeOff) {
  // A reply to another request, whose head completes that of the five bytes after it.
  EXPECT_EQ(queryInkjetWith({hex("A5 00 05 50 E1 81 00 FF"), hex("A5 00 02 50 E0")}),
            failed(-1, kUntouched));
}

TEST(FailedInkjetQuery, LeavesTheReportWhenTheAnswerHasNoItems) {
  EXPECT_EQ(queryInkjetWith({hex("A5 00 05 50 E0 81 00 FF")}), failed(-4, kUntouched));
}

TEST(FailedInkjetQuery, LeavesTheReportWhenThereIsNoFirstCartridge) {
  EXPECT_EQ(queryInkjetWith({inkjetReply({hex("00 19 01 02"), hex("01 20 01 50")})}),
            failed(-4, kUntouched));
}

TEST(FailedInkjetQuery, SetsACountOfZeroWhenThePrintHeadIsUnknown) {
  EXPECT_EQ(queryInkjetWith({inkjetReply({hex("00 19 01 05"), hex("01 10 01 30")})}),
            failed(-4, R"({"Queue": "office", "SupplyCount": 0})"));
}

TEST_P(EveryTransport, LeavesTheReportWhenTheLinkIsGone) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, [] {
    Dictionary report;
    report.set("Queue", "office");
    restOfBackChannel();  // ends when the link is gone
    return queryInFilter("Inkjet", GetParam(), kPatience, report);
  });
  filter.closeLink();
  filter.endBackChannel();
  EXPECT_EQ(filter.wait().result, failed(-2, kUntouched));
}

// Takes the place of standard output: a link that has room for eight bytes, and so for the inkjet
// request but not for the loop-back request.
class LinkWithRoomForEightBytes {
 public:
  LinkWithRoomForEightBytes() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_NONBLOCK) != 0) std::abort();
    const int size = ::fcntl(ends[1], F_SETPIPE_SZ, ::sysconf(_SC_PAGESIZE));
    const Bytes fill = repeated(0, static_cast<std::size_t>(size) - 8);
    if (::write(ends[1], fill.data(), fill.size()) != size - 8) std::abort();
    mFilled = fill.size();
    mReadEnd = ends[0];
    ::dup2(ends[1], STDOUT_FILENO);
  }

  // What was written, after the query.
  [[nodiscard]] std::string written() const {
    Bytes bytes(mFilled + 64);
    const ssize_t count = ::read(mReadEnd, bytes.data(), bytes.size());
    bytes.resize(static_cast<std::size_t>(count));
    return hexText(std::span(bytes).subspan(mFilled));
  }

 private:
  std::size_t mFilled = 0;
  int mReadEnd = -1;
};

TEST(FailedInkjetQuery, DoesNotGoOnAfterALoopBackThatDidNotGoOut) {
  for (const char* transport : {"socket", "dnssd", "usb"}) {
    FilterProcess filter(BackChannel::kNonBlockingPipe, [&] {
      const LinkWithRoomForEightBytes link;
      const std::string result = queryInFilter("Inkjet", transport);
      return result + " written [" + link.written() + "]";
    });
    filter.endBackChannel();
    EXPECT_EQ(filter.wait().result, std::string(transport) == "usb"
                                        ? "-6 {} written [A5 00 05 50 E0 81 00 FF]"
                                        : "-2 {} written []")
        << transport;
  }
}

// A query without memory

const Bytes kLaserReplies = joined({
    packet(0x50, joined({hex("E0 21 01 00"),  // the supplies table
                         hex("00 01"), repeated(0, 36), hex("01 00  00 02  00 00"),
                         hex("02 00 00 01 00 00"),                    // group: one child
                         hex("08 00 00 01 00 00"),                    // table: one supply
                         hex("01 00 00 00 00 19 00 00 00 03 00 00"),  // supply 1: three fields
                         hex("03 01 00 05"), bytesOf("Toner"),        // "Description"
                         hex("07 01 00 01 03"),                       // "Supply Type"
                         hex("0F 01 00 01 64")})),                    // "Max Level"
    packet(0x50, joined({hex("E0 07 02"),                             // the model-family record
                         hex("01"), bytesOf("S"),                     // "Serial Number"
                         hex("01 13 00 02"),                          // one supply, type 2
                         hex("01 00  00 00 00 64  00 00 00 32  00 00 01 00")})),
});

// Makes every allocation of a query fail, each in a query of its own, until one has no more to
// fail. Returns how the queries ended, one line for each different ending, the undisturbed one
// last. A block that a query lost counts as an ending too.
std::string queryWithoutMemory(const char* printerType, const char* transport,
                               const Bytes& replies) {
  std::FILE* printer = std::tmpfile();
  std::fwrite(replies.data(), replies.size(), 1, printer);
  std::fflush(printer);
  ::dup2(::fileno(printer), 3);
  const auto object = MoxFilter::initWithPrinterType(printerType, transport, 0);

  std::set<std::string> endings;
  for (std::size_t nth = 1;; ++nth) {
    ::lseek(3, 0, SEEK_SET);
    std::string ending;
    ending.reserve(1000);
    bool undisturbed = false;
    const std::size_t blocksBefore = blocksInUse();
    {
      Dictionary report;
      Status status = Status::kSuccess;
      {
        const FailingAllocation allocation(nth);
        status = object->inkStatusQuery(&report);
        undisturbed = !allocation.hasFailed();
      }
      ending += std::to_string(signedNumber(status));
      if (status == Status::kSuccess) ending += ' ' + shown(report);
    }
    if (blocksInUse() != blocksBefore) ending = "lost a block";
    if (undisturbed) return fmt::format("{}\n{}", fmt::join(endings, "\n"), ending);
    endings.insert(ending);
  }
}

TEST(QueryWithoutMemory, OfAnInkjetIsUndecodable) {
  FilterProcess filter(BackChannel::kClosed,
                       [] { return queryWithoutMemory("Inkjet", "socket", kInkjetReply); });
  EXPECT_EQ(filter.wait().result, "-4\n0 " + kInkjetReport);
}

// The model-family record only fills in what the supplies table lacks: whatever goes wrong on the
// way to it is passed over, memory that its decoder does not get as well, and the query succeeds
// with the table alone. A level that the table lacks counts as 0 in the report, as it does from a
// printer that has no such record. A host that is to know better watches its memory (AskAsFilter).
TEST(QueryWithoutMemory, OfALaserIsUndecodableOrWithoutTheModelFamilyRecord) {
  const auto answerWith = [](int percentage) {
    return "0 " + json(fmt::format(R"({{
        "PrintHeadType": "LaserSupplies",
        "Supply 1": {{"SupplyColor": "Black", "SupplyName": "Toner",
                      "SupplyPercentage": {}, "SupplyStatus": "Correct", "SupplyType": "toner"}},
        "SupplyCount": 1}})",
                                   percentage));
  };
  FilterProcess filter(BackChannel::kClosed,
                       [] { return queryWithoutMemory("Laser", "usb", kLaserReplies); });
  EXPECT_EQ(filter.wait().result, "-4\n" + answerWith(0) + "\n" + answerWith(50));
}

class EveryPrinterType : public ::testing::TestWithParam<const char*> {};
INSTANTIATE_TEST_SUITE_P(MoxFilter, EveryPrinterType, ::testing::Values("Laser", "Inkjet"),
                         [](const auto& row) { return std::string(row.param); });

TEST_P(EveryPrinterType, HasNoObjectWithoutMemory) {
  const std::size_t blocksBefore = blocksInUse();
  for (std::size_t nth = 1;; ++nth) {
    const FailingAllocation allocation(nth);
    const auto object = MoxFilter::initWithPrinterType(GetParam(), "socket", 8);
    if (!allocation.hasFailed()) {
      EXPECT_NE(object, nullptr);
      EXPECT_GT(nth, 1U);
      break;
    }
    EXPECT_EQ(object, nullptr) << nth;
  }
  EXPECT_EQ(blocksInUse(), blocksBefore);
}

}  // namespace
}  // namespace moxsupply::testing
