// `moxsupply decode` as people use it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>

#include "tests/support/FilterProcess.h"
#include "tests/support/Golden.h"
#include "tests/support/InkjetReply.h"
#include "tests/support/LaserRecords.h"
#include "tests/support/Replay.h"
#include "tests/support/Requests.h"
#include "tests/support/Run.h"
#include "tests/support/TemporaryFolder.h"
#include "transcript/TranscriptReader.h"
#include "transcript/TranscriptWriter.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;
using Json = nlohmann::json;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using transcript::Event;
using transcript::Session;

class Decode : public ::testing::Test {
 protected:
  Ran decode(const std::string& text, const std::vector<std::string>& options = {}) {
    const std::string file = mFolder.path() / "transcript";
    std::ofstream(file) << text;
    std::vector<std::string> command = {MOXSUPPLY_PROGRAM, "decode", file};
    command.insert(command.end(), options.begin(), options.end());
    return run(command, {"LC_ALL=C.UTF-8", "TERM=xterm"}, 60s);
  }

  // Of a query with one request and its reply.
  std::string decoded(const std::string& type, const Bytes& request, const Bytes& reply) {
    const Session query = {
        type, "usb", 2, {{Event::kSent, 0ms, request}, {Event::kReceived, 1ms, reply}}};
    const Ran ran = decode(transcript::asText({query}));
    EXPECT_EQ(ran.exitStatus, 0);
    EXPECT_EQ(ran.errors, "");
    return ran.output;
  }
  std::string decodedItems(const Bytes& reply) { return decoded("Inkjet", kInkjetQuery, reply); }
  std::string decodedTable(const Bytes& reply) { return decoded("Laser", kDeviceQuery, reply); }

  TemporaryFolder mFolder;
};

TEST_F(Decode, NamesTheFieldsOfAnInkjetReplyWithTheirOffsets) {
  EXPECT_EQ(
      decodedItems(hex("A5 00 14 50 E0 81 00 FF 00 04 00 19 01 02 01 10 01 10 99 99 02 07 07")),
      "One query, asked as an inkjet printer over usb, 2 s for each read\n"
      "  +0 ms  > 8 bytes: inkjet query\n"
      "  +1 ms  < 23 bytes\n"
      "  Reply 1: 23 bytes\n"
      "       0  A5 00 14 50              packet 1: 20 bytes follow, flags 50: the last one\n"
      "       4  E0 81 00 FF              the answer to the inkjet query\n"
      "       8  00 04 00 19 01 02 01 ..  payload, 15 bytes\n"
      "  Items, offsets in the joined payload:\n"
      "       0  00 04                    number of items: 4\n"
      "       2  00 19 01 02              item 0019, kPrintHead: 02 (2)\n"
      "       6  01 10 01 10              item 0110, kFirstCartID: 10 (16)\n"
      "      10  99 99 02 07 07           item 9999: not known, skipped\n"
      "       !  the count does not count: all 3 items are read\n"
      "  Decoded:\n"
      "          kPrintHead: <02>\n"
      "          kFirstCartID: <10>\n"
      "  Levels:\n"
      "          Supply 1: three colours, the least of the three inks\n"
      "       !  an ink that did not come repeats the one before it\n"
      "  Report: success (0)\n"
      "    SUPPLY           COLOUR        LEVEL                       STATUS\n"
      "    Color Cartridge  three-colour  ░░░░░░░░░░░░░░░░░░░░   0 %  not valid here\n");
}

TEST_F(Decode, TellsWhichItemTheYellowLevelFollows) {
  const std::vector<Bytes> items = {inkjetItem(0x0019, {2}),    inkjetItem(0x0110, {0xB0}),
                                    inkjetItem(0x0130, {0xC0}), inkjetItem(0x0140, {0xD0}),
                                    inkjetItem(0x042A, {44}),   inkjetItem(0x042D, {55})};
  const std::string without = decodedItems(inkjetReply(items));
  EXPECT_THAT(without, HasSubstr("Supply 3: yellow, from kYellowInkRemaining\n"));
  EXPECT_THAT(without, HasSubstr("magenta photo item, which did not come\n"));
  EXPECT_THAT(without, HasSubstr("44 %"));

  std::vector<Bytes> withPhoto = items;
  withPhoto.push_back(inkjetItem(0x042C, {66}));
  const std::string with = decodedItems(inkjetReply(withPhoto));
  EXPECT_THAT(with, HasSubstr("Supply 3: yellow, from kYellowPhotoInkRemaining\n"));
  EXPECT_THAT(with, HasSubstr("magenta photo item, which came\n"));
  EXPECT_THAT(with, HasSubstr("55 %"));
}

// The first cartridge is of one colour where there is a third, and one of an unknown code is none.
TEST_F(Decode, TellsThreeColoursFromOneAsTheReportDoes) {
  const auto explained = [&](std::uint8_t third) {
    return decodedItems(inkjetReply({inkjetItem(0x0019, {2}), inkjetItem(0x0110, {0xB0}),
                                     inkjetItem(0x0130, {third}), inkjetItem(0x0428, {30})}));
  };
  EXPECT_THAT(explained(0xC0), AllOf(HasSubstr("Supply 1: cyan, from kCyanInkRemaining\n"),
                                     HasSubstr("Cyan Cartridge ")));
  EXPECT_THAT(explained(0x33), AllOf(HasSubstr("Supply 1: three colours, the least of the three"),
                                     HasSubstr("Color Cartridge ")));
}

// The codes that decode takes for known are those that the module reports.
TEST_F(Decode, LeavesOutTheCartridgesThatTheReportLeavesOut) {
  transcript::Transcript transcript;
  for (unsigned code = 0; code < 256; ++code) {
    const Bytes reply = inkjetReply({inkjetItem(0x0019, {2}), inkjetItem(0x0110, {0x30}),
                                     inkjetItem(0x0120, {static_cast<std::uint8_t>(code)})});
    transcript.push_back(
        {"Inkjet", "usb", 2, {{Event::kSent, 0ms, kInkjetQuery}, {Event::kReceived, 0ms, reply}}});
  }
  for (std::size_t i = 0; i < transcript.size(); i += 64) {
    const auto at = transcript.begin() + static_cast<std::ptrdiff_t>(i);
    const std::string text = transcript::asText({at, at + 64});
    const std::string reports = decode(text, {"--format", "json"}).output;
    const auto countOf = [](const std::string& in, const std::string& what) {
      std::size_t count = 0;
      for (std::size_t found = in.find(what); found != std::string::npos;
           found = in.find(what, found + 1)) {
        ++count;
      }
      return count;
    };
    const std::string explained = decode(text).output;
    EXPECT_EQ(countOf(explained, "kSecondCartID has a code that is not known"),
              countOf(reports, "\"SupplyCount\":1"));
    std::size_t query = 0;
    std::istringstream lines(reports);
    for (std::string line; std::getline(lines, line); ++query) {
      const std::string title = "Query " + std::to_string(query + 1) + ",";
      const std::size_t begin = explained.find(title);
      const std::string part = explained.substr(begin, explained.find("\nQuery ", begin) - begin);
      EXPECT_EQ(part.find("a code that is not known") == std::string::npos,
                Json::parse(line)["report"]["SupplyCount"] == 2)
          << part;
    }
  }
}

TEST_F(Decode, TellsTheQuirksOfAnInkjetReply) {
  EXPECT_THAT(decodedItems(inkjetReply({inkjetItem(0x0110, {0x30})})),
              HasSubstr("no item 0019: the print head counts as a Meadow\n"));
  EXPECT_THAT(decodedItems(inkjetReply({inkjetItem(0x0100, {0x30}), inkjetItem(0x0110, {0x31})})),
              HasSubstr("stands in the place of item 0100\n"));
  EXPECT_THAT(decodedItems(hex("A5 00 0B 40 E0 81 00 FF 00 01 01 10 01 30")),
              AllOf(HasSubstr("with flags 40 and not 50 brings no items"), HasSubstr("(-4)")));
  EXPECT_THAT(decodedItems(inkjetReply({inkjetItem(0x0019, {2}), inkjetItem(0x0110, {0xA0}),
                                        inkjetItem(0x0428, {30}), inkjetItem(0x042A, {20})})),
              AllOf(HasSubstr("the least of the three inks"),
                    HasSubstr("an ink that did not come repeats the one before it")));
}

TEST_F(Decode, TellsTheQuirksOfASuppliesTable) {
  const Bytes table = deviceReply(
      suppliesRecord({supply(1, {description("Cyan and Yellow"), field(7, hex("01")),
                                 field(15, hex("00 00 64")), field(16, hex("FF FF FF FF"))})}));
  const std::string text = decodedTable(table);
  EXPECT_THAT(text, HasSubstr("Description (tag 3): \"Cyan and Yellow\"\n"));
  EXPECT_THAT(text, HasSubstr("a number of 3 bytes: four are read\n"));
  EXPECT_THAT(text, HasSubstr("of several colour words the last"));
}

// Only on the way to the type and to the levels are fields skipped, those of tag 0 as well.
TEST_F(Decode, SkipsTheFieldsOfASupplyWhereTheDecoderSkipsThem) {
  const std::string behindIds = decodedTable(deviceReply(suppliesRecord(
      {supply(1, {field(0, hex("EE")), field(1, hex("11")), field(7, hex("01"))})})));
  EXPECT_THAT(behindIds, AllOf(HasSubstr("field, tag 1, short form: skipped\n"),
                               HasSubstr("Supply Type (tag 7): 1\n"), Not(HasSubstr("Fixed ID"))));
  const std::string betweenLevels = decodedTable(deviceReply(
      suppliesRecord({supply(1, {maxLevel(100), field(0, hex("EE")), currentLevel(37)})})));
  EXPECT_THAT(betweenLevels, AllOf(HasSubstr("Max Level (tag 15): 100\n"), Not(HasSubstr("tag 0")),
                                   Not(HasSubstr("Current Level"))));
}

// What it calls a field, where it stands, what the module makes of it, and the number.
struct FieldInWords {
  const char* words;
  const char* key;
  const char* value;
};

void expectInWords(const std::string& text, const std::vector<FieldInWords>& fields) {
  const std::size_t decodedAt = text.rfind("  Decoded:\n");
  ASSERT_NE(decodedAt, std::string::npos);
  const std::string explained = text.substr(0, decodedAt);
  const std::string decoded = text.substr(decodedAt);
  for (const auto& [words, key, value] : fields) {
    EXPECT_THAT(explained, HasSubstr(std::string("  ") + words + ": " + value + '\n'));
    EXPECT_THAT(decoded, HasSubstr(std::string("  ") + key + ": " + value + '\n'));
  }
}

TEST_F(Decode, CallsEachFieldOfAModelRecordByWordsForWhatTheModuleMakesOfIt) {
  const auto decodedTranscript = [&](const std::string& name) {
    return decode(transcript::asText(readTranscriptOf(name))).output;
  };
  expectInWords(decodedTranscript("laser-levels-in-record"),
                {{"record type", "Toner Prediction", "1"},
                 {"supply location, of type 1 only", "Supply Location", "1"},
                 {"supply number", "Supply ID", "1"},
                 {"first page count", "Page Count First", "1200"},
                 {"current page count", "Page Count Current", "5342"},
                 {"current page level", "Page Level Current", "1820"},
                 {"previous page level", "Page Level Previous", "1821"},
                 {"number of levels: the maximum level", "Levels Count", "200"},
                 {"current transition: the current level", "Current Transition", "90"},
                 {"toner type", "Toner Type", "2"},
                 {"part number", "Toner PartNumber", "\"TONER-BLACK-8K\""},
                 {"toner capacity", "Toner Capacity", "8000"},
                 {"last level, light", "Last Level Light", "310"},
                 {"last level, dark", "Last Level Dark", "870"},
                 {"light gradation", "Light Gradiation", "12"},
                 {"dark gradation", "Dark Gradiation", "34"},
                 {"current Vantor value", "Current Vantor", "512"}});
  expectInWords(decodedTranscript("laser-several-packets-pages"),
                {{"record type", "Toner Prediction", "2"},
                 {"supply location", "Supply Location", "3"},
                 {"supply count: the maximum level", "Supply Count", "3000"},
                 {"current supply count: the current level", "Current Supply Count", "450"},
                 {"capacity in pages", "Pages Capacity", "3000"}});
  const Session dots = {"Laser",
                        "usb",
                        2,
                        {{Event::kSent, 0ms, kDeviceQuery},
                         {Event::kReceived, 1ms, deviceReply(suppliesRecord({supply(1, {})}))},
                         {Event::kSent, 0ms, kSuppliesQuery},
                         {Event::kReceived, 1ms, queryReply(dotCountRecord({{1, 9000, 4711}}))}}};
  expectInWords(decode(transcript::asText({dots})).output,
                {{"record type", "Toner Prediction", "3"},
                 {"maximum dot count: the maximum level", "Max Dot Count", "9000"},
                 {"current dot count: the current level", "Current Dot Count", "4711"}});
}

// A later packet of the answer to the supplies query, at 300, is read at 44.
TEST_F(Decode, TellsWhereAPacketIsReadModulo256) {
  Bytes reply = hex("A5 01 29 70 E0 07 02");
  reply.resize(300, 0x11);
  reply = joined({reply, hex("A5 00 03 50 E0 22")});
  EXPECT_THAT(decoded("Laser", kSuppliesQuery, reply),
              HasSubstr("offset modulo 256: the next one, at 300, is read at 44\n"));
}

TEST_F(Decode, ShowsNothingHostileToATerminal) {
  const Bytes table = deviceReply(
      suppliesRecord({supply(1, {description("\x1B[2JBlack\x07\xE2\x80\xAE Toner\n")})}));
  const std::string text = decodedTable(table);
  EXPECT_THAT(text, HasSubstr("\"\\u001b[2JBlack\\u0007\\u202e Toner\\u000a\""));
  EXPECT_TRUE(std::ranges::none_of(
      text, [](unsigned char c) { return (c < 0x20 && c != '\n') || c == 0x7F; }));
}

TEST_F(Decode, IsColouredOnlyWhenAsked) {
  const std::string text =
      "moxsupply-transcript 1\nquery Laser usb 2\n> 0 01\n< 0 A5 00 02 50 00\n";
  EXPECT_THAT(decode(text).output, Not(HasSubstr("\x1B")));
  EXPECT_THAT(decode(text, {"--color", "always"}).output, HasSubstr("\x1B[1mOne query"));
}

// Half a head, then nothing for two reads' time, then the whole reply. In a replay without that
// silence the second part would belong to the first.
TEST_F(Decode, WaitsWhereTheRecordedQueryWaitedInVain) {
  const Bytes table = deviceReply(suppliesRecord(
      {supply(1, {description("Black"), field(7, hex("01")), maxLevel(100), currentLevel(37)})}));
  Session query = {"Laser",
                   "usb",
                   2,
                   {{Event::kSent, 0ms, kDeviceQuery},
                    {Event::kReceived, 1ms, hex("A5 00 FF")},
                    {Event::kReceived, 4100ms, table},
                    {Event::kSent, 0ms, kSuppliesQuery}}};
  const auto levelIn = [](const std::string& json) {
    return Json::parse(json)["report"]["Supply 1"]["SupplyPercentage"];
  };
  const Ran ran = decode(transcript::asText({query}), {"--format", "json"});
  EXPECT_EQ(levelIn(ran.output), 37) << ran.output;
  EXPECT_GE(ran.time, 2s);
  EXPECT_LT(ran.time, 20s);
  EXPECT_EQ(levelIn(reportOnReplay(MOXSUPPLY_PROGRAM, query)), 37);
}

TEST_F(Decode, ShowsARequestThatTheLinkDidNotTake) {
  const Session query = {
      "Laser", "usb", 2, {{Event::kSent, 0ms, kDeviceQuery}, {Event::kFailed, 0ms, {}}}};
  EXPECT_THAT(decode(transcript::asText({query})).output,
              AllOf(HasSubstr("the link took no more"),
                    HasSubstr("Report: the printer hung up before it was asked (-2)")));
}

// Nothing that a file says makes it take long or stop.
TEST_F(Decode, EndsWhateverTheTranscriptSays) {
  std::string longPauses = "> 4294967295 01\n";
  for (int i = 0; i < 9; ++i) longPauses += "< 4294967295 A5\n";
  for (const std::string& operations :
       {std::string("> 0 01\n> 0 02\n> 0 03\n> 0 04\n"), std::string("< 0 end\n> 0 01\n"),
        std::string("> 0 failed\n"), longPauses,
        std::string("< 0 A5 FF FF\n< 0 A5 FF FF\n> 0 01\n> 0 01\n")}) {
    const Ran ran = decode(std::string("moxsupply-transcript 1\nquery Laser usb 1\n") + operations);
    EXPECT_EQ(ran.exitStatus, 0) << ran.errors;
    EXPECT_THAT(ran.output, HasSubstr("Report: "));
    EXPECT_LT(ran.time, 40s);
  }
}

TEST_F(Decode, TellsRequestsThatAreNotThisPrograms) {
  const Ran ran = decode("moxsupply-transcript 1\nquery Laser usb 1\n> 0 01\n");
  EXPECT_THAT(ran.output, HasSubstr("no request of this program"));
  EXPECT_THAT(ran.output, HasSubstr("the requests are not those that this program writes"));
}

// Every exchange of the golden files, as a transcript, is explained and makes the same report.
TEST_F(Decode, ExplainsEveryGoldenExchange) {
  transcript::Transcript transcript;
  std::vector<Json> expected;
  for (const std::string& name : exchangeNames()) {
    const Golden golden = readGolden(name);
    const bool isLaser = golden.kind == Golden::Kind::kLaser;
    Session query = {isLaser ? "Laser" : "Inkjet", golden.transport, 2, {}};
    if (!isLaser && (golden.transport == "socket" || golden.transport == "dnssd")) {
      query.operations.push_back({Event::kSent, 0ms, kLoopBack});
    }
    query.operations.push_back({Event::kSent, 0ms, isLaser ? kDeviceQuery : kInkjetQuery});
    for (const Golden::Step& step : golden.steps) {
      if (step.what != Golden::What::kReply) continue;
      const Bytes reply = step.bytes();
      const bool isSecond = reply.size() >= 7 && reply[5] == 0x07 && isLaser;
      if (isSecond) query.operations.push_back({Event::kSent, 0ms, kSuppliesQuery});
      for (const Bytes& packet : step.packets) {
        query.operations.push_back({Event::kReceived, 0ms, packet});
      }
    }
    query.operations.push_back({Event::kEnded, 0ms, {}});
    transcript.push_back(std::move(query));
    expected.push_back(Json::parse(*golden.report));
  }
  ASSERT_LE(transcript.size(), transcript::kMostQueries);
  const std::string text = transcript::asText(transcript);
  const Ran explained = decode(text);
  EXPECT_EQ(explained.exitStatus, 0) << explained.errors;
  std::istringstream lines(decode(text, {"--format", "json"}).output);
  std::size_t query = 0;
  for (std::string line; std::getline(lines, line); ++query) {
    EXPECT_EQ(Json::parse(line), expected.at(query)) << query;
  }
  EXPECT_EQ(query, expected.size());
}

struct WrongDecode {
  const char* name;
  std::vector<std::string> command;
  const char* what;
};

TEST_F(Decode, NamesMistakes) {
  for (const auto& [name, command, what] : std::initializer_list<WrongDecode>{
           {"NoFile", {}, "FILE is required"},
           {"NotThere", {"/nowhere/file"}, "/nowhere/file: No such file or directory"},
           {"Folder", {"/"}, "/: line 1: the file cannot be read further"},
           {"EmptyInput", {"-"}, "standard input: line 1: the file is empty"},
           {"Format", {"-", "--format", "xml"}, "--format"}}) {
    SCOPED_TRACE(name);
    std::vector<std::string> whole = {MOXSUPPLY_PROGRAM, "decode"};
    whole.insert(whole.end(), command.begin(), command.end());
    const Ran ran = run(whole);
    EXPECT_EQ(ran.exitStatus, 2);
    EXPECT_EQ(ran.output, "");
    EXPECT_THAT(ran.errors, AllOf(::testing::StartsWith("moxsupply decode: "), HasSubstr(what)));
  }
}

TEST_F(Decode, ReadsStandardInput) {
  const Ran ran = run({"sh", "-c", R"("$0" decode - <"$1")", MOXSUPPLY_PROGRAM,
                       dataFile("laser-levels-in-record.transcript")});
  EXPECT_EQ(ran.exitStatus, 0) << ran.errors;
  EXPECT_THAT(ran.output, HasSubstr("serial number: \"0000000000\""));
}

}  // namespace
}  // namespace moxsupply::testing
