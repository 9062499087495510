// `moxsupply report` as other programs use it: a process with a printer on standard output and a
// back channel on descriptor 3, and one line of JSON as its result.

#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "tests/support/FilterProcess.h"
#include "tests/support/Hex.h"
#include "tests/support/Requests.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TextFile.h"

namespace moxsupply::testing {
namespace {

using Json = nlohmann::json;

// A "Lantern" head with a three-colour and a black cartridge, in one packet of 48 bytes.
const Bytes kInkjetReply = hex(R"(
    A5 00 2D 50        # start, length 45, flags of a last packet
    E0 81 00 FF        # as in the query
    00 07              # item count
    00 19 01 02        # print head: 2
    01 10 01 A0        # first cartridge: three colours
    01 20 01 50        # second cartridge
    04 28 04 1E 00 00 00  # cyan: 30
    04 29 04 28 00 00 00  # magenta: 40
    04 2A 04 14 00 00 00  # yellow: 20
    04 27 02 00 00     # black: 0
)");

const Json kInkjetReport = Json::parse(R"({
  "status": 0,
  "report": {
    "PrintHeadType": "Lantern",
    "Supply 1": {
      "SupplyName": "Color Cartridge", "SupplyType": "ink", "SupplyColor": "Color",
      "SupplyPercentage": 20, "SupplyStatus": "Correct"
    },
    "Supply 2": {
      "SupplyName": "Black Cartridge", "SupplyType": "ink", "SupplyColor": "Black",
      "SupplyPercentage": 0, "SupplyStatus": "Empty"
    },
    "SupplyCount": 2
  }
})");

const Json kNothing = Json::parse(R"({"status": -6, "report": {}})");

std::vector<std::string> command(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), {MOXSUPPLY_PROGRAM, "report"});
  return arguments;
}

std::vector<std::string> inkjetOver(const char* transport, const char* timeout = "5",
                                    const std::vector<std::string>& more = {}) {
  std::vector<std::string> arguments = {"--printer-type", "Inkjet",    "--transport",
                                        transport,        "--timeout", timeout};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return command(arguments);
}

FilterProcess start(BackChannel backChannel, const std::vector<std::string>& command) {
  return {backChannel, command, {"LC_ALL=C"}};
}

class OutputFile : public ::testing::Test {
 protected:
  [[nodiscard]] std::string path() const { return mFolder.path() / "report.json"; }

  [[nodiscard]] std::string content() const { return contentOf(path()); }

 private:
  TemporaryFolder mFolder;
};

// The channel stays open: nothing but the reply itself tells the program that it may end.
TEST(Report, OfAOnePacketReplyThatWaitsOnTheBackChannelEndsByItself) {
  FilterProcess report = start(BackChannel::kNonBlockingPipe, inkjetOver("usb", "4294967295"));
  report.send(kInkjetReply);
  const auto ending = report.wait();
  EXPECT_EQ(ending.exitStatus, 0);
  EXPECT_EQ(Json::parse(ending.result), kInkjetReport);
  EXPECT_EQ(ending.written, kInkjetQuery);
}

TEST(Report, SendsTheLoopBackRequestFirstOverTheNetwork) {
  for (const char* transport : {"socket", "dnssd"}) {
    FilterProcess report = start(BackChannel::kNonBlockingPipe, inkjetOver(transport));
    report.send(kInkjetReply);
    const auto ending = report.wait();
    EXPECT_EQ(Json::parse(ending.result), kInkjetReport) << transport;
    EXPECT_EQ(ending.written, joined({kLoopBack, kInkjetQuery})) << transport;
  }
  FilterProcess report = start(BackChannel::kNonBlockingPipe, inkjetOver("mdns"));
  report.endBackChannel();
  EXPECT_EQ(report.wait().written, kInkjetQuery);
}

TEST(Report, WritesOneLineToStandardErrorAndNothingElse) {
  FilterProcess report = start(BackChannel::kNonBlockingPipe, inkjetOver("usb"));
  report.send(kInkjetReply);
  const auto ending = report.wait();
  EXPECT_EQ(std::ranges::count(ending.result, '\n'), 1);
  EXPECT_EQ(ending.result.back(), '\n');
  EXPECT_EQ(ending.result.front(), '{');
}

TEST(Report, OfAFailedQueryHasItsStatusAndExitStatusOne) {
  FilterProcess report = start(BackChannel::kNonBlockingPipe, inkjetOver("usb"));
  report.endBackChannel();
  const auto ending = report.wait();
  EXPECT_EQ(ending.exitStatus, 1);
  EXPECT_EQ(Json::parse(ending.result), kNothing);
}

TEST(Report, OfAClosedBackChannelComesAtOnce) {
  FilterProcess report = start(BackChannel::kClosed, inkjetOver("usb", "100"));
  const auto ending = report.wait();
  EXPECT_EQ(ending.exitStatus, 1);
  EXPECT_EQ(Json::parse(ending.result), kNothing);
  EXPECT_EQ(ending.written, kInkjetQuery);
}

TEST(Report, TakesATimeoutOfZero) {
  FilterProcess report = start(BackChannel::kNonBlockingPipe, inkjetOver("usb", "0"));
  const auto ending = report.wait();
  EXPECT_EQ(Json::parse(ending.result), kNothing);
}

TEST(Report, OfALinkThatIsGoneIsAFailedWrite) {
  FilterProcess report(
      BackChannel::kNonBlockingPipe,
      {"/bin/sh", "-c", R"(sleep 0.2; exec "$0" "$@")", MOXSUPPLY_PROGRAM, "report",
       "--printer-type", "Inkjet", "--transport", "usb", "--timeout", "5"},
      {"LC_ALL=C"});
  report.closeLink();
  const auto ending = report.wait();
  EXPECT_EQ(ending.exitStatus, 1);
  EXPECT_EQ(Json::parse(ending.result), Json::parse(R"({"status": -2, "report": {}})"));
}

TEST(Report, OfAnAnswerThatHoldsNoItemsIsMinusFour) {
  FilterProcess report = start(BackChannel::kNonBlockingPipe, inkjetOver("usb"));
  report.send(hex("A5 00 07 40 E0 81 00 FF 00 01"));  // flags 40: no last packet that counts
  const auto ending = report.wait();
  EXPECT_EQ(ending.exitStatus, 1);
  EXPECT_EQ(Json::parse(ending.result), Json::parse(R"({"status": -4, "report": {}})"));
}

TEST(Report, KeepsWhatAFailedQueryHadWritten) {
  FilterProcess report = start(BackChannel::kNonBlockingPipe, inkjetOver("usb"));
  report.send(hex("A5 00 0F 50 E0 81 00 FF 00 02  00 19 01 05  01 10 01 30"));  // head 5
  const auto ending = report.wait();
  EXPECT_EQ(ending.exitStatus, 1);
  EXPECT_EQ(Json::parse(ending.result),
            Json::parse(R"({"status": -4, "report": {"SupplyCount": 0}})"));
}

// Where the reply is cut into two reads decides what becomes of it.
TEST(Report, OfAReplyCutAnywhere) {
  ASSERT_EQ(kInkjetReply.size(), 48U);
  for (std::size_t cut = 1; cut < kInkjetReply.size(); ++cut) {
    FilterProcess report = start(BackChannel::kNonBlockingPipe, inkjetOver("usb"));
    report.sendInPieces({Bytes(kInkjetReply.begin(), kInkjetReply.begin() + int(cut)),
                         Bytes(kInkjetReply.begin() + int(cut), kInkjetReply.end())});
    report.endBackChannel();
    // Cut before the length is whole, the length counts as 0: the packet seems to end after three
    // bytes, and the rest begins no packet.
    const Json expected = cut < 3 ? kNothing : kInkjetReport;
    EXPECT_EQ(Json::parse(report.wait().result), expected) << "cut after byte " << cut;
  }
}

TEST(Report, OfAReplyInReadsOfEverySize) {
  for (std::size_t size = 1; size <= kInkjetReply.size(); ++size) {
    std::vector<Bytes> pieces;
    for (std::size_t at = 0; at < kInkjetReply.size(); at += size) {
      const std::size_t end = std::min(at + size, kInkjetReply.size());
      pieces.emplace_back(kInkjetReply.begin() + int(at), kInkjetReply.begin() + int(end));
    }
    FilterProcess report = start(BackChannel::kNonBlockingPipe, inkjetOver("usb"));
    report.sendInPieces(pieces);
    report.endBackChannel();
    const Json expected = size < 3 ? kNothing : kInkjetReport;
    EXPECT_EQ(Json::parse(report.wait().result), expected) << "reads of " << size;
  }
}

TEST(Report, OfAReplyCutShortAnywhere) {
  for (std::size_t size = 0; size < kInkjetReply.size(); ++size) {
    FilterProcess report = start(BackChannel::kNonBlockingPipe, inkjetOver("usb"));
    report.send(std::span(kInkjetReply).first(size));
    report.endBackChannel();
    const Json answer = Json::parse(report.wait().result);
    // Up to 5 bytes no answer shows. Of 6, the seventh is a zero byte that was there before, as an
    // answer's is. Then there is no first cartridge until its item is whole, at 18.
    const int expected = size < 6 ? -6 : (size < 18 ? -4 : 0);
    EXPECT_EQ(answer["status"], expected) << size << " bytes";
    // Nothing that did not come is in the report.
    const bool hasBlack = size >= 22;
    EXPECT_EQ(answer["report"].contains("Supply 2"), expected == 0 && hasBlack) << size;
  }
}

struct WrongReport {
  const char* name;
  std::vector<std::string> arguments;
  const char* named;  // what the message must name
};

class MistakeOfArguments : public ::testing::TestWithParam<WrongReport> {};

INSTANTIATE_TEST_SUITE_P(
    Report, MistakeOfArguments,
    ::testing::Values(
        WrongReport{"NoArguments", {}, "--printer-type"},
        WrongReport{"NoTransport", {"--printer-type", "Laser", "--timeout", "1"}, "--transport"},
        WrongReport{"NoTimeout", {"--printer-type", "Laser", "--transport", "usb"}, "--timeout"},
        WrongReport{"LowerCaseType",
                    {"--printer-type", "laser", "--transport", "usb", "--timeout", "1"},
                    "\"laser\""},
        WrongReport{"UpperCaseTransport",
                    {"--printer-type", "Laser", "--transport", "USB", "--timeout", "1"},
                    "\"USB\""},
        WrongReport{"OtherTransport",
                    {"--printer-type", "Laser", "--transport", "lpd", "--timeout", "1"},
                    "\"lpd\""},
        WrongReport{"NegativeTimeout",
                    {"--printer-type", "Laser", "--transport", "usb", "--timeout=-1"},
                    "\"-1\""},
        WrongReport{"TimeoutWithUnit",
                    {"--printer-type", "Laser", "--transport", "usb", "--timeout", "5s"},
                    "\"5s\""},
        WrongReport{"TimeoutBeyond32Bits",
                    {"--printer-type", "Laser", "--transport", "usb", "--timeout", "4294967296"},
                    "\"4294967296\""},
        WrongReport{"EmptyTimeout",
                    {"--printer-type", "Laser", "--transport", "usb", "--timeout", ""},
                    "--timeout"},
        WrongReport{"UnknownOption",
                    {"--printer-type", "Laser", "--transport", "usb", "--timeout", "1", "--colour"},
                    "--colour"},
        WrongReport{"ExtraArgument",
                    {"--printer-type", "Laser", "--transport", "usb", "--timeout", "1", "extra"},
                    "extra"},
        WrongReport{"OutputInAFolderThatIsNot",
                    {"--printer-type", "Laser", "--transport", "usb", "--timeout", "1", "--output",
                     "/nonexistent/report.json"},
                    "/nonexistent/report.json: No such file or directory"},
        WrongReport{
            "OutputIsAFolder",
            {"--printer-type", "Laser", "--transport", "usb", "--timeout", "1", "--output", "/"},
            "/: Is a directory"}),
    [](const auto& mistake) { return mistake.param.name; });

TEST_P(MistakeOfArguments, IsNamedInOneLineAndNothingIsSent) {
  FilterProcess report = start(BackChannel::kNonBlockingPipe, command(GetParam().arguments));
  const auto ending = report.wait();
  EXPECT_EQ(ending.exitStatus, 2);
  EXPECT_TRUE(ending.written.empty());
  EXPECT_EQ(std::ranges::count(ending.result, '\n'), 1) << ending.result;
  EXPECT_EQ(ending.result.find("moxsupply report: "), 0U) << ending.result;
  EXPECT_NE(ending.result.find(GetParam().named), std::string::npos) << ending.result;
}

TEST(Report, HelpTeachesAndSendsNothingElse) {
  FilterProcess report = start(BackChannel::kNonBlockingPipe, command({"--help"}));
  const auto ending = report.wait();
  const std::string help(ending.written.begin(), ending.written.end());
  EXPECT_EQ(ending.exitStatus, 0);
  EXPECT_EQ(help.find("Usage: moxsupply report --printer-type Laser|Inkjet"), 0U);
  EXPECT_NE(help.find("Exit status:"), std::string::npos);
}

TEST_F(OutputFile, TakesTheJsonAndLeavesStandardErrorEmpty) {
  FilterProcess report =
      start(BackChannel::kNonBlockingPipe, inkjetOver("usb", "5", {"--output", path()}));
  report.send(kInkjetReply);
  const auto ending = report.wait();
  EXPECT_EQ(ending.exitStatus, 0);
  EXPECT_EQ(ending.result, "");
  EXPECT_EQ(ending.written, kInkjetQuery);
  EXPECT_EQ(Json::parse(content()), kInkjetReport);
}

TEST_F(OutputFile, IsEmptiedBeforeTheQuery) {
  std::ofstream(path()) << "the report of yesterday";
  FilterProcess report =
      start(BackChannel::kNonBlockingPipe, inkjetOver("usb", "5", {"--output", path()}));
  EXPECT_EQ(report.receive(kInkjetQuery.size()), kInkjetQuery);
  EXPECT_EQ(content(), "");
  report.endBackChannel();
  EXPECT_EQ(report.wait().exitStatus, 1);
  EXPECT_EQ(Json::parse(content()), kNothing);
}

TEST_F(OutputFile, IsLeftAloneWhenTheArgumentsAreWrong) {
  std::ofstream(path()) << "the report of yesterday";
  FilterProcess report =
      start(BackChannel::kNonBlockingPipe, inkjetOver("lpd", "5", {"--output", path()}));
  EXPECT_EQ(report.wait().exitStatus, 2);
  EXPECT_EQ(content(), "the report of yesterday");
}

// With descriptor 3 closed, the file would be opened there, and be taken for the back channel.
TEST_F(OutputFile, NeverTakesThePlaceOfTheBackChannelOrThePrinter) {
  for (const char* closing : {"3>&-", "1>&-", "1>&- 3>&-", "0<&- 1>&- 3>&-"}) {
    const std::string script = std::string(R"(exec "$0" "$@" )") + closing;
    FilterProcess report(BackChannel::kClosed,
                         {"/bin/sh", "-c", script, MOXSUPPLY_PROGRAM, "report", "--printer-type",
                          "Inkjet", "--transport", "usb", "--timeout", "1", "--output", path()},
                         {"LC_ALL=C"});
    const auto ending = report.wait();
    EXPECT_EQ(ending.exitStatus, 1) << closing;
    const Json answer = Json::parse(content());
    EXPECT_EQ(answer["status"], std::string(closing).find("1>&-") == std::string::npos ? -6 : -2)
        << closing;
  }
}

TEST(Report, ToADeviceThatTakesNothingFailsLateAndSaysSo) {
  FilterProcess report =
      start(BackChannel::kNonBlockingPipe, inkjetOver("usb", "5", {"--output", "/dev/full"}));
  report.send(kInkjetReply);
  const auto ending = report.wait();
  EXPECT_EQ(ending.exitStatus, 2);
  EXPECT_EQ(ending.result, "moxsupply report: /dev/full: No space left on device\n");
  EXPECT_EQ(ending.written, kInkjetQuery);
}

TEST(Moxsupply, NamesACommandThatIsNone) {
  FilterProcess program(BackChannel::kClosed, {MOXSUPPLY_PROGRAM, "levls"});
  const auto ending = program.wait();
  EXPECT_EQ(ending.exitStatus, 2);
  EXPECT_EQ(ending.result, "moxsupply: there is no command \"levls\" (see moxsupply --help)\n");
}

TEST(Moxsupply, TellsItsVersion) {
  FilterProcess program(BackChannel::kClosed, {MOXSUPPLY_PROGRAM, "--version"});
  const auto ending = program.wait();
  EXPECT_EQ(ending.exitStatus, 0);
  EXPECT_EQ(ending.written, bytesOf("moxsupply " MOXSUPPLY_VERSION "\n"));
}

}  // namespace
}  // namespace moxsupply::testing
