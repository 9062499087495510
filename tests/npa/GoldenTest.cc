#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "front/MoxFilter.h"
#include "npa/MoxNPAUtilityCommand.h"
#include "tests/support/DictionaryJson.h"
#include "tests/support/FilterProcess.h"
#include "tests/support/Golden.h"
#include "tests/support/Hex.h"
#include "tests/support/TestName.h"

namespace moxsupply::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;
using ::testing::ThrowsMessage;

// Sends the first `size` bytes through the decoder of their kind. A laser printer's replies are of
// two kinds, and the decoder of each refuses the other's.
std::optional<Dictionary> decode(Golden::Kind kind, const Bytes& bytes, std::size_t size) {
  const MoxNPAUtilityCommand npa;
  Bytes first = firstBytes(bytes, size);
  const auto length = static_cast<std::uint32_t>(size);
  switch (kind) {
    case Golden::Kind::kLaser: {
      auto device = npa.parsePSSDDeviceResponse(first, length);
      return device ? device : npa.parsePSSDQueryResponse(first, length);
    }
    case Golden::Kind::kInkjet:
      return npa.parseCPDQueryResponse(first, length);
    case Golden::Kind::kSuppliesTable:
      return npa.extractSuppliesResponse(first, length);
    case Golden::Kind::kKelvo1:
      return npa.parseKelvoS(first, length);
    case Golden::Kind::kKelvo2:
      return npa.parseKelvoSC(first, length);
    case Golden::Kind::kKelvo3:
      return npa.parseKelvoColor(first, length);
  }
  return std::nullopt;
}

// Every key of `part` is in `whole`, and so, below them, are the keys of its dictionaries. Values
// are equal, but for what a repeated key replaces.
bool isContained(const Json& part, const Json& whole, bool repeatsKeys) {
  if (part.is_object() && whole.is_object()) {
    return std::ranges::all_of(part.items(), [&](const auto& entry) {
      return whole.contains(entry.key()) &&
             (repeatsKeys || isContained(entry.value(), whole[entry.key()], false));
    });
  }
  return part == whole;
}

// A printer asked by a filter in a process of its own: plays the file's steps, then hangs up.
// Returns what the query left.
Json askPrinterOf(const Golden& golden) {
  FilterProcess filter(BackChannel::kNonBlockingPipe, [&] {
    const char* printerType = golden.kind == Golden::Kind::kLaser ? "Laser" : "Inkjet";
    const auto query = MoxFilter::initWithPrinterType(printerType, golden.transport, 5);
    Dictionary report;
    const Status status = query->inkStatusQuery(&report);
    return Json({{"status", signedNumber(status)}, {"report", asJson(report)}}).dump();
  });
  bool listsRequests = false;
  for (const Golden::Step& step : golden.steps) {
    if (step.what == Golden::What::kRequest) {
      listsRequests = true;
      EXPECT_EQ(filter.receive(step.bytes().size()), step.bytes());
    } else {
      filter.sendInPieces(step.packets);
    }
  }
  filter.endBackChannel();
  const auto ending = filter.wait();
  EXPECT_EQ(ending.exitStatus, 0);
  if (listsRequests) {
    EXPECT_EQ(ending.written, Bytes()) << "a request that is not in the file";
  }
  return Json::parse(ending.result);
}

class GoldenFile : public ::testing::TestWithParam<std::string> {
 protected:
  Golden mGolden = readGolden(GetParam());
};
class GoldenExchange : public GoldenFile {};

INSTANTIATE_TEST_SUITE_P(Data, GoldenFile, ::testing::ValuesIn(goldenNames()), testName);
INSTANTIATE_TEST_SUITE_P(Data, GoldenExchange, ::testing::ValuesIn(exchangeNames()), testName);

TEST_P(GoldenFile, IsDecodedToWhatItSays) {
  for (const Golden::Step& step : mGolden.steps) {
    if (!step.decoded) continue;
    const Bytes bytes = step.bytes();
    EXPECT_EQ(shown(decode(mGolden.kind, bytes, bytes.size())), *step.decoded);
  }
}

// A reply or record may break off anywhere. The decoder then reads nothing past the end, comes to
// an end itself, and gives nothing or a part of what the whole gives: no key that the whole does
// not have, and no value but the whole's. (A supply or an item that comes twice may still have its
// first value.)
TEST_P(GoldenFile, GivesAPartOfItWhenItBreaksOff) {
  for (const Golden::Step& step : mGolden.steps) {
    if (step.what == Golden::What::kRequest) continue;
    const Bytes bytes = step.bytes();
    const auto whole = decode(mGolden.kind, bytes, bytes.size());
    for (std::size_t size = 0; size < bytes.size(); ++size) {
      const auto part = decode(mGolden.kind, bytes, size);
      if (!part) continue;
      ASSERT_TRUE(whole) << "of " << size << " bytes: " << shown(part);
      ASSERT_TRUE(isContained(asJson(part), asJson(whole), mGolden.repeatsKeys))
          << size << " bytes give " << shown(part) << "\nall give " << shown(whole);
    }
  }
}

TEST_P(GoldenExchange, LeavesTheReportThatItSays) {
  EXPECT_EQ(askPrinterOf(mGolden).dump(2), *mGolden.report);
}

TEST(GoldenData, IsThere) { EXPECT_GE(goldenNames().size(), 25U); }

constexpr std::string_view kExchange = R"(# A printer
# that says little.
kind: laser
transport: socket

-- request --
A5 00  # start, length
01 50  "a#b" 7F
-- reply --
A5 00 01
-- packet --
50
-- decoded --
null
-- request --
01
-- report --
{"status": -4,
 "report": {}}
)";

TEST(ParseGolden, ReadsFactsBytesTextsAndJson) {
  const Golden golden = parseGolden("little", kExchange);
  EXPECT_EQ(golden.name, "little");
  EXPECT_EQ(golden.kind, Golden::Kind::kLaser);
  EXPECT_EQ(golden.transport, "socket");
  EXPECT_FALSE(golden.repeatsKeys);
  ASSERT_EQ(golden.steps.size(), 3U);
  EXPECT_EQ(golden.steps[0].what, Golden::What::kRequest);
  EXPECT_EQ(golden.steps[0].bytes(), hex("A5 00 01 50 61 23 62 7F"));
  EXPECT_EQ(golden.steps[1].what, Golden::What::kReply);
  EXPECT_EQ(golden.steps[1].packets, (std::vector<Bytes>{hex("A5 00 01"), hex("50")}));
  EXPECT_EQ(golden.steps[1].bytes(), hex("A5 00 01 50"));
  EXPECT_EQ(golden.steps[1].decoded, "null");
  EXPECT_EQ(golden.steps[2].bytes(), hex("01"));
  EXPECT_FALSE(golden.steps[2].decoded);
  EXPECT_EQ(golden.report, json(R"({"status": -4, "report": {}})"));
}

TEST(ParseGolden, ReadsARecord) {
  const Golden golden = parseGolden("record",
                                    "# A record.\n"
                                    "kind: kelvo-2\n"
                                    "repeats: yes\n"
                                    "-- record --\n"
                                    "00 01\n"
                                    "-- decoded --\n"
                                    "{\"#7\": {}}");
  EXPECT_EQ(golden.kind, Golden::Kind::kKelvo2);
  EXPECT_TRUE(golden.repeatsKeys);
  ASSERT_EQ(golden.steps.size(), 1U);
  EXPECT_EQ(golden.steps[0].what, Golden::What::kRecord);
  EXPECT_EQ(golden.steps[0].bytes(), hex("00 01"));
  EXPECT_EQ(golden.steps[0].decoded, json(R"({"#7": {}})"));
}

TEST(ParseGolden, NamesTheFileAndTheLineOfAMistake) {
  struct Mistake {
    std::string text;
    std::string message;
  };
  const std::string facts = "# Story.\nkind: laser\n";     // lines 1 and 2
  const std::string record = "# Story.\nkind: kelvo-1\n";  // the same
  const std::string report = "-- report --\n{\"status\": 0, \"report\": {}}\n";
  const std::vector<Mistake> mistakes = {
      {"kind: laser\n", "x.golden:1: a file begins with its story"},
      {"# Story.\nkind: plotter\n", "x.golden:2: no kind \"plotter\""},
      {"# Story.\n-- reply --\n", "x.golden:2: a kind must be given"},
      {"# Story.\n", "x.golden:1: no kind"},
      {facts + "transport: usb2\n", "x.golden:3: no transport \"usb2\""},
      {facts + "repeats: no\n", "x.golden:3: repeats: yes, or nothing"},
      {facts + "colour: blue\n", "x.golden:3: no fact \"colour\""},
      {facts + "A5\n", "x.golden:3: expected NAME: VALUE"},
      {facts + "-- answer --\n", "x.golden:3: no section \"answer\""},
      {facts + "-- reply --\nA5 0\n", "x.golden:4: neither a pair of hex digits nor a text: 0"},
      {facts + "-- reply --\nA5 0G\n", "x.golden:4: neither a pair of hex digits nor a text: 0G"},
      {facts + "-- reply --\n\"toner\n", "x.golden:4: a text without its second quote"},
      {facts + "-- reply --\n# none\n" + report, "x.golden:3: no bytes"},
      {facts + "-- record --\n00\n", "x.golden:3: this section does not fit here"},
      {facts + "-- packet --\n00\n", "x.golden:3: a packet follows a reply"},
      {facts + "-- decoded --\nnull\n", "x.golden:3: decoded follows a reply"},
      {facts + "-- reply --\n00\n", "x.golden:4: an exchange ends with"},
      {facts + report, "x.golden:4: no bytes"},
      {facts + "-- reply --\n00\n-- report --\n{}\n", "x.golden:6: an exchange ends with"},
      {facts + "-- reply --\n00\n-- report --\n{\n\"status\": 0,\n,}\n", "x.golden:8: "},
      {facts + "-- reply --\n00\n" + report + "-- reply --\n00\n",
       "x.golden:7: nothing follows the report"},
      {record + "-- reply --\n00\n", "x.golden:3: this section does not fit here"},
      {record + "-- record --\n00\n", "x.golden:4: what is it decoded to?"},
      {record + report, "x.golden:3: a record has no report"},
  };
  for (const Mistake& mistake : mistakes) {
    EXPECT_THAT([&] { static_cast<void>(parseGolden("x", mistake.text)); },
                ThrowsMessage<BrokenGolden>(StartsWith(mistake.message)))
        << mistake.text;
  }
}

TEST(ReadGolden, NamesAFileThatIsNotThere) {
  EXPECT_THAT([] { static_cast<void>(readGolden("no-such-file")); },
              ThrowsMessage<BrokenGolden>(HasSubstr("no-such-file.golden")));
}

}  // namespace
}  // namespace moxsupply::testing
