#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "front/InkjetReport.h"
#include "front/SupplyNames.h"
#include "tests/support/DictionaryJson.h"
#include "tests/support/Hex.h"

namespace moxsupply::testing {
namespace {

// What the printer sent, in hex digits. No item is "absent"; one without bytes is "".
struct Item {
  const char* key;
  const char* value;
};
using Items = std::vector<Item>;

const char* const kAbsent = nullptr;

Items operator+(Items items, const Items& more) {
  items.insert(items.end(), more.begin(), more.end());
  return items;
}

Dictionary itemsFromPrinter(const Items& items) {
  Dictionary dictionary;
  for (const auto& [key, value] : items) {
    if (value != kAbsent) dictionary.set(Key::fromTable(key), hex(value));
  }
  return dictionary;
}

struct Outcome {
  Status status;
  Dictionary report;
};

Outcome outcomeOf(const Items& items, Dictionary report = {}) {
  const Status status = addInkjetReport(itemsFromPrinter(items), SupplyNames(), report);
  return {status, std::move(report)};
}

// The report of items that make one.
Dictionary reportOf(const Items& items) {
  Outcome outcome = outcomeOf(items);
  EXPECT_EQ(outcome.status, Status::kSuccess);
  return std::move(outcome.report);
}

// A record of the report.
Dictionary record(const char* name, const char* color, std::int32_t percentage,
                  const char* status = "Correct") {
  Dictionary dictionary;
  dictionary.set("SupplyName", name);
  dictionary.set("SupplyColor", color);
  dictionary.set("SupplyType", "ink");
  dictionary.set("SupplyPercentage", percentage);
  dictionary.set("SupplyStatus", status);
  return dictionary;
}

Dictionary statusAlone(const char* status) {
  Dictionary dictionary;
  dictionary.set("SupplyStatus", status);
  return dictionary;
}

// A whole report, its records numbered from 1.
Dictionary report(const char* printHead, const std::vector<Dictionary>& records) {
  Dictionary dictionary;
  dictionary.set("PrintHeadType", printHead);
  std::int32_t count = 0;
  for (const Dictionary& supply : records) dictionary.set({"Supply", ++count}, supply);
  dictionary.set("SupplyCount", count);
  return dictionary;
}

Dictionary supplyCountAlone(std::int32_t count) {
  Dictionary dictionary;
  dictionary.set("SupplyCount", count);
  return dictionary;
}

std::string word(const Dictionary& report, const Key& supply, const Key& key) {
  const auto* found = report.get<Dictionary>(supply);
  const auto* value = found == nullptr ? nullptr : found->get<std::string>(key);
  return value == nullptr ? "none" : *value;
}

const Items kQuarry = {{"kPrintHead", "00"}};
const Items kMeadow = {{"kPrintHead", "01"}};
const Items kLantern = {{"kPrintHead", "02"}};

// Two counts of 25 and 50 % used, both over a capacity of 40.
const Items kQuarterOfColorUsed = {{"kDotCountCyan", "10"},
                                   {"kDotCountMagenta", "20"},
                                   {"kDotCountYellow", "20"},
                                   {"kSlot2DotCapacityC", "40"}};
const Items kHalfOfBlackUsed = {{"kDotCountBlack", "20"}, {"kSlot1DotCapacityB", "40"}};
const Items kAllOfPhotoUsed = {{"kDotCountPhotoK", "40"},
                               {"kDotCountPhotoC", "40"},
                               {"kDotCountPhotoM", "40"},
                               {"kPhotoDotCapacity", "40"}};

// Every code that a cartridge may have, by what the code says about it.
const std::vector<const char*> kThreeColorCodes = {"A0", "A1", "A2"};
const std::vector<const char*> kPhotoCodes = {"70", "71", "72", "7F"};
const std::vector<const char*> kOtherCodes = {"10", "20", "21", "30", "31", "32", "3F", "50",
                                              "51", "52", "5F", "80", "90", "B0", "C0", "D0",
                                              "91", "92", "B1", "B2", "C1", "C2", "D1", "D2"};

bool isAccepted(const std::string& code) {
  return std::ranges::count(kThreeColorCodes, code) + std::ranges::count(kPhotoCodes, code) +
             std::ranges::count(kOtherCodes, code) >
         0;
}

std::vector<std::string> allCodes() {
  std::vector<std::string> codes;
  codes.reserve(256);
  for (int code = 0; code < 256; ++code) codes.push_back(fmt::format("{:02X}", code));
  return codes;
}

// The print head

TEST(InkjetPrintHead, ZeroIsQuarry) {
  EXPECT_EQ(reportOf(kQuarry + kQuarterOfColorUsed + Items{{"kFirstCartID", "30"}}),
            report("Quarry", {record("Color", "Color", 75)}));
}

TEST(InkjetPrintHead, OneIsMeadow) {
  EXPECT_EQ(reportOf(kMeadow + kQuarterOfColorUsed + Items{{"kFirstCartID", "30"}}),
            report("Meadow", {record("Color", "Color", 75)}));
}

TEST(InkjetPrintHead, TwoIsLantern) {
  EXPECT_EQ(reportOf(kLantern + Items{{"kFirstCartID", "30"}, {"kCyanInkRemaining", "4B"}}),
            report("Lantern", {record("Color Cartridge", "Color", 75)}));
}

TEST(InkjetPrintHead, AbsentIsMeadow) {
  EXPECT_EQ(reportOf(kQuarterOfColorUsed + Items{{"kFirstCartID", "30"}}),
            report("Meadow", {record("Color", "Color", 75)}));
}

TEST(InkjetPrintHead, IsTheFirstByteOfItsItem) {
  EXPECT_EQ(reportOf({{"kPrintHead", "00 02"}, {"kFirstCartID", "33"}}), report("Quarry", {}));
}

TEST(InkjetPrintHead, OfNoBytesIsUnknown) {
  const auto [status, report] = outcomeOf({{"kPrintHead", ""}, {"kFirstCartID", "30"}});
  EXPECT_EQ(status, Status::kUndecodable);
  EXPECT_EQ(report, supplyCountAlone(0));
}

TEST(InkjetPrintHead, AboveTwoIsUnknown) {
  for (int head = 3; head < 256; ++head) {
    const std::string code = fmt::format("{:02X}", head);
    const auto [status, report] = outcomeOf({{"kPrintHead", code.c_str()}, {"kFirstCartID", "30"}});
    EXPECT_EQ(status, Status::kUndecodable) << code;
    EXPECT_EQ(report, supplyCountAlone(0)) << code;
  }
}

TEST(UnknownPrintHead, FailsAtTheFirstCartridgeThatIsThere) {
  for (const char* key : {"kSecondCartID", "kThirdCartID", "kFourthCartID"}) {
    const auto [status, report] =
        outcomeOf({{"kPrintHead", "05"}, {"kFirstCartID", "33"}, {key, "50"}});
    EXPECT_EQ(status, Status::kUndecodable) << key;
    EXPECT_EQ(report, supplyCountAlone(0)) << key;
  }
}

TEST(UnknownPrintHead, IsNoFailureWithoutCartridges) {
  const auto [status, report] =
      outcomeOf({{"kPrintHead", "05"}, {"kFirstCartID", "33"}, {"kSecondCartID", "FF"}});
  EXPECT_EQ(status, Status::kSuccess);
  EXPECT_EQ(report, supplyCountAlone(0));
}

// The cartridges

TEST(InkjetCartridges, WithoutAnItemForTheFirstMakeNoReport) {
  for (const Items& head : {kQuarry, kLantern, Items{{"kPrintHead", "05"}}, Items{}}) {
    const auto [status, report] = outcomeOf(head + Items{{"kSecondCartID", "50"}});
    EXPECT_EQ(status, Status::kUndecodable);
    EXPECT_EQ(report, Dictionary());
  }
}

TEST(InkjetCartridges, OfAcceptedCodesHaveARecordAndNoOthers) {
  int accepted = 0;
  for (const std::string& code : allCodes()) {
    const Dictionary made = reportOf(kLantern + Items{{"kFirstCartID", code.c_str()}});
    EXPECT_EQ(made.number("SupplyCount"), isAccepted(code) ? 1 : 0) << code;
    EXPECT_EQ(made.contains({"Supply", 1}), isAccepted(code)) << code;
    accepted += made.number("SupplyCount");
  }
  EXPECT_EQ(accepted, 31);
}

class InkjetCartridge : public ::testing::TestWithParam<const char*> {};
INSTANTIATE_TEST_SUITE_P(Each, InkjetCartridge,
                         ::testing::Values("kFirstCartID", "kSecondCartID", "kThirdCartID",
                                           "kFourthCartID"),
                         [](const auto& row) { return std::string(row.param); });

// The four, but for one of them another code.
Items cartridgesWith(const std::string& key, const char* code) {
  Items items = {{"kFirstCartID", "30"},
                 {"kSecondCartID", "50"},
                 {"kThirdCartID", "B0"},
                 {"kFourthCartID", "C0"}};
  for (Item& item : items) {
    if (item.key == key) item.value = code;
  }
  return items;
}

TEST_P(InkjetCartridge, OfAnUnknownCodeIsLeftOut) {
  for (const char* code : {"33", "00", "FF", ""}) {
    EXPECT_EQ(reportOf(kLantern + cartridgesWith(GetParam(), code)).number("SupplyCount"), 3)
        << code;
  }
}

TEST_P(InkjetCartridge, OfAKnownCodeIsKept) {
  for (const char* code : {"10", "21", "D2", "30 FF"}) {
    EXPECT_EQ(reportOf(kLantern + cartridgesWith(GetParam(), code)).number("SupplyCount"), 4)
        << code;
  }
}

TEST(InkjetCartridges, LeaveNoGapInTheNumbers) {
  EXPECT_EQ(
      reportOf(kQuarry + kHalfOfBlackUsed + Items{{"kFirstCartID", "33"}, {"kSecondCartID", "50"}}),
      report("Quarry", {record("Black", "Black", 50)}));
  EXPECT_EQ(reportOf(kLantern + Items{{"kFirstCartID", "33"},
                                      {"kThirdCartID", "B0"},
                                      {"kFourthCartID", "C0"},
                                      {"kMagentaInkRemaining", "50"},
                                      {"kYellowInkRemaining", "64"}}),
            report("Lantern", {record("Magenta Cartridge", "Magenta", 80),
                               record("Yellow Cartridge", "Yellow", 100)}));
}

TEST(InkjetCartridges, MayAllBeUnknown) {
  EXPECT_EQ(reportOf(kQuarry + Items{{"kFirstCartID", "33"}, {"kSecondCartID", "34"}}),
            report("Quarry", {}));
}

// The status word of a code, whatever the print head.
TEST(InkjetCartridges, HaveTheStatusOfTheirCode) {
  for (const std::string& code : allCodes()) {
    if (!isAccepted(code)) continue;
    const Items cartridge = {{"kFirstCartID", code.c_str()}};
    const char* expected = "Correct";
    if (code == "10") expected = "Invalid";
    if (code == "20") expected = "Missing";
    if (code == "21") expected = "Incorrect";
    EXPECT_EQ(
        word(reportOf(kQuarry + kQuarterOfColorUsed + cartridge), {"Supply", 1}, "SupplyStatus"),
        expected)
        << code;
    EXPECT_EQ(word(reportOf(kLantern + cartridge + Items{{"kCyanInkRemaining", "01"}}),
                   {"Supply", 1}, "SupplyStatus"),
              expected)
        << code;
  }
}

TEST(InkjetCartridges, HaveEachTheStatusOfTheirOwnCode) {
  EXPECT_EQ(reportOf(kQuarry + kQuarterOfColorUsed + kHalfOfBlackUsed +
                     Items{{"kFirstCartID", "10"},
                           {"kSecondCartID", "21"},
                           {"kThirdCartID", "30"},
                           {"kFourthCartID", "20"}}),
            report("Quarry", {record("Color", "Color", 75, "Invalid"),
                              record("Black", "Black", 50, "Incorrect"),  //
                              statusAlone("Correct"), statusAlone("Missing")}));
}

// A three-colour cartridge ends the report

class HeadFamily : public ::testing::TestWithParam<const char*> {
 protected:
  static Items fourCartridges(const char* firstCode) {
    return {{"kPrintHead", GetParam()},
            {"kFirstCartID", firstCode},
            {"kSecondCartID", "50"},
            {"kThirdCartID", "50"},
            {"kFourthCartID", "50"}};
  }
};
INSTANTIATE_TEST_SUITE_P(Each, HeadFamily, ::testing::Values("00", "01", "02"),
                         [](const auto& row) { return std::string(row.param); });

TEST_P(HeadFamily, ReportsTwoCartridgesWhenTheFirstHasThreeColors) {
  for (const char* code : kThreeColorCodes) {
    const Dictionary made = reportOf(fourCartridges(code));
    EXPECT_EQ(made.number("SupplyCount"), 2) << code;
    EXPECT_FALSE(made.contains({"Supply", 3})) << code;
  }
}

TEST_P(HeadFamily, ReportsFourCartridgesOtherwise) {
  for (const char* code : kPhotoCodes) {
    EXPECT_EQ(reportOf(fourCartridges(code)).number("SupplyCount"), 4) << code;
  }
  for (const char* code : kOtherCodes) {
    EXPECT_EQ(reportOf(fourCartridges(code)).number("SupplyCount"), 4) << code;
  }
}

TEST_P(HeadFamily, ReportsTheThreeColorsAloneWithoutABlackCartridge) {
  Items items = fourCartridges("A0");
  items.at(2).value = kAbsent;
  EXPECT_EQ(reportOf(items).number("SupplyCount"), 1);
}

TEST_P(HeadFamily, DoesNotMindThreeColorCodesInOtherPlaces) {
  EXPECT_EQ(reportOf({{"kPrintHead", GetParam()},
                      {"kFirstCartID", "30"},
                      {"kSecondCartID", "A0"},
                      {"kThirdCartID", "A1"},
                      {"kFourthCartID", "A2"}})
                .number("SupplyCount"),
            4);
}

// "Quarry" and "Meadow": dots printed over dots that the cartridge can print

TEST(DotCountCartridges, AreOneOfColorsAndOneOfBlack) {
  EXPECT_EQ(reportOf(kMeadow + kQuarterOfColorUsed + kHalfOfBlackUsed + kAllOfPhotoUsed +
                     Items{{"kFirstCartID", "30"}, {"kSecondCartID", "50"}}),
            report("Meadow", {record("Color", "Color", 75), record("Black", "Black", 50)}));
}

TEST(DotCountCartridges, AreOneOfColorsAndOneOfPhotoInks) {
  EXPECT_EQ(reportOf(kQuarry + kQuarterOfColorUsed + kHalfOfBlackUsed + kAllOfPhotoUsed +
                     Items{{"kFirstCartID", "30"}, {"kSecondCartID", "71"}}),
            report("Quarry", {record("Color", "Color", 75), record("Photo", "Photo", 0)}));
}

TEST(DotCountCartridges, AreOfPhotoInksByTheirCode) {
  const auto second = [](const Items& head, const char* code) {
    return reportOf(head + kHalfOfBlackUsed + kAllOfPhotoUsed +
                    Items{{"kFirstCartID", "30"}, {"kSecondCartID", code}});
  };
  for (const Items& head : {kQuarry, kMeadow}) {
    for (const char* code : kPhotoCodes) {
      EXPECT_EQ(*second(head, code).get<Dictionary>({"Supply", 2}), record("Photo", "Photo", 0))
          << code;
    }
    for (const char* code : kThreeColorCodes) {
      EXPECT_EQ(*second(head, code).get<Dictionary>({"Supply", 2}), record("Black", "Black", 50))
          << code;
    }
    for (const char* code : kOtherCodes) {
      const Dictionary made = second(head, code);
      EXPECT_EQ(word(made, {"Supply", 2}, "SupplyName"), "Black") << code;
      EXPECT_EQ(word(made, {"Supply", 2}, "SupplyColor"), "Black") << code;
    }
  }
}

TEST(DotCountCartridges, AreOfColorsInTheFirstPlaceWhateverTheirCode) {
  for (const std::string& code : allCodes()) {
    if (!isAccepted(code)) continue;
    const Dictionary made = reportOf(kQuarry + Items{{"kFirstCartID", code.c_str()}});
    EXPECT_EQ(word(made, {"Supply", 1}, "SupplyName"), "Color") << code;
    EXPECT_EQ(word(made, {"Supply", 1}, "SupplyColor"), "Color") << code;
  }
}

TEST(DotCountCartridges, InTheThirdAndFourthPlaceHaveAStatusAlone) {
  EXPECT_EQ(reportOf(kQuarry + kQuarterOfColorUsed + kHalfOfBlackUsed +
                     Items{{"kFirstCartID", "30"},
                           {"kSecondCartID", "50"},
                           {"kThirdCartID", "70"},
                           {"kFourthCartID", "21"}}),
            report("Quarry", {record("Color", "Color", 75), record("Black", "Black", 50),
                              statusAlone("Correct"), statusAlone("Incorrect")}));
}

TEST(DotCountCartridges, AreNeverEmpty) {
  EXPECT_EQ(reportOf(kQuarry + Items{{"kFirstCartID", "30"}, {"kSecondCartID", "50"}}),
            report("Quarry", {record("Color", "Color", 0), record("Black", "Black", 0)}));
}

TEST(DotCountCartridges, DoNotLookAtRemainingInk) {
  EXPECT_EQ(reportOf(kQuarry + kQuarterOfColorUsed +
                     Items{{"kFirstCartID", "30"}, {"kCyanInkRemaining", "07"}}),
            report("Quarry", {record("Color", "Color", 75)}));
}

TEST(DotCountCartridges, DoNotShareTheirCounts) {
  // The black cartridge has a capacity and no count of its own: nothing of it is used.
  EXPECT_EQ(
      reportOf(
          kQuarry + kQuarterOfColorUsed +
          Items{{"kFirstCartID", "30"}, {"kSecondCartID", "50"}, {"kSlot1DotCapacityB", "40"}}),
      report("Quarry", {record("Color", "Color", 75), record("Black", "Black", 100)}));
}

// The three counts of a cartridge in the order in which they are read, and its capacity, each the
// first byte of an item. A count is a word of which that byte is the most significant; the least
// significant one is the count read before. The percentage is that of the smallest word, and
// truncated.
struct Dots {
  const char* name;
  const char* first;
  const char* second;
  const char* third;
  const char* capacity;
  std::int32_t percentage;
};

class ThreeDotCounts : public ::testing::TestWithParam<Dots> {};

TEST_P(ThreeDotCounts, GiveTheColorsPercentage) {
  EXPECT_EQ(reportOf(kQuarry + Items{{"kFirstCartID", "30"},
                                     {"kDotCountCyan", GetParam().first},
                                     {"kDotCountMagenta", GetParam().second},
                                     {"kDotCountYellow", GetParam().third},
                                     {"kSlot2DotCapacityC", GetParam().capacity}}),
            report("Quarry", {record("Color", "Color", GetParam().percentage)}));
}

TEST_P(ThreeDotCounts, GiveThePhotoInksPercentage) {
  EXPECT_EQ(reportOf(kMeadow + Items{{"kFirstCartID", "33"},
                                     {"kSecondCartID", "70"},
                                     {"kDotCountPhotoK", GetParam().first},
                                     {"kDotCountPhotoC", GetParam().second},
                                     {"kDotCountPhotoM", GetParam().third},
                                     {"kPhotoDotCapacity", GetParam().capacity}}),
            report("Meadow", {record("Photo", "Photo", GetParam().percentage)}));
}

INSTANTIATE_TEST_SUITE_P(
    Of, ThreeDotCounts,
    ::testing::Values(
        // 10000000 / 40000000 = 1/4
        Dots{"TheFirstSmallest", "10", "20", "30", "40", 75},
        // 10000020 / 40000000 is a little above 1/4
        Dots{"TheSecondSmallest", "20", "10", "30", "40", 74},
        // 10000020 again: the second count is the least significant byte
        Dots{"TheThirdSmallest", "30", "20", "10", "40", 74},
        // 40000000 / 80000000 = 1/2
        Dots{"HalfUsed", "40", "50", "60", "80", 50},  //
        Dots{"NothingUsed", "00", "00", "00", "40", 100},
        // 40000000 / 40000000 = 1
        Dots{"AllUsed", "40", "40", "40", "40", 0},  //
        Dots{"MoreThanAllUsed", "50", "60", "70", "40", 0},
        Dots{"MoreThanAllUsedOfOne", "50", "60", "10", "40", 74},  // 10000060
        // 01000000 / FF000000: 99.6
        Dots{"AlmostNothingUsed", "01", "01", "01", "FF", 99},
        // FE000000 / FF000000: 0.39
        Dots{"AlmostAllUsed", "FE", "FE", "FE", "FF", 0},
        // 1/3: 66.67
        Dots{"AThirdUsed", "01", "01", "01", "03", 66},
        // (1 - 0.9) * 100 is 9.999999999999998 in double precision
        Dots{"NineTenthsUsed", "5A", "5A", "5A", "64", 9},
        // 10000090 / A0000000 is a little above 1/10; 90000000 is not negative
        Dots{"TheTopBitSet", "90", "10", "90", "A0", 89},
        // 10000000, 00000010, 10000000: the word is turned round also when nothing was read
        Dots{"NoSecondAndNoThird", "10", kAbsent, kAbsent, "40", 99},
        // 20000000, 00000020, 20000000
        Dots{"NoSecond", "20", kAbsent, "20", "40", 99},
        // 20000000, 30000020, 20000030
        Dots{"NoThird", "20", "30", kAbsent, "40", 50},
        // 30000000, 20000030, 30000020
        Dots{"NoThirdAndTheSecondSmallest", "30", "20", kAbsent, "40", 49},
        // 00000000, 10000000, 10000010
        Dots{"NoFirst", kAbsent, "10", "10", "40", 100},
        Dots{"None", kAbsent, kAbsent, kAbsent, "40", 100},
        // 01000000, 00000001, 01000000
        Dots{"ZeroInTheMiddle", "01", "00", "01", "40", 99},
        // 01000000, 00000001, 00000000
        Dots{"ZeroInTheMiddleAndAtTheEnd", "01", "00", "00", "40", 100},
        // as if they were absent
        Dots{"NoBytes", "10", "", "", "40", 99},  //
        Dots{"NoBytesInTheFirst", "", "10", "10", "40", 100},
        // only the first byte counts
        Dots{"ManyBytes", "20 FF FF FF", "10 00", "30 01 02", "40 FF FF FF", 74},
        // without a capacity nothing remains
        Dots{"NoCapacity", "10", "10", "10", kAbsent, 0},
        Dots{"NoCapacityAndNothingUsed", "00", "00", "00", kAbsent, 0},
        Dots{"NoCapacityAndNoCounts", kAbsent, kAbsent, kAbsent, kAbsent, 0},
        Dots{"CapacityOfNoBytes", "00", "00", "00", "", 0},
        Dots{"CapacityZero", "00", "00", "00", "00", 0}),
    [](const auto& row) { return std::string(row.param.name); });

// The one count of a black cartridge.
struct BlackDots {
  const char* name;
  const char* count;
  const char* capacity;
  std::int32_t percentage;
};

class BlackDotCount : public ::testing::TestWithParam<BlackDots> {};

TEST_P(BlackDotCount, GivesThePercentage) {
  EXPECT_EQ(reportOf(kQuarry + Items{{"kFirstCartID", "33"},
                                     {"kSecondCartID", "50"},
                                     {"kDotCountBlack", GetParam().count},
                                     {"kSlot1DotCapacityB", GetParam().capacity}}),
            report("Quarry", {record("Black", "Black", GetParam().percentage)}));
}

INSTANTIATE_TEST_SUITE_P(Of, BlackDotCount,
                         ::testing::Values(BlackDots{"NothingUsed", "00", "40", 100},   //
                                           BlackDots{"QuarterUsed", "10", "40", 75},    //
                                           BlackDots{"TwoThirdsUsed", "02", "03", 33},  // 33.33
                                           BlackDots{"NineTenthsUsed", "5A", "64",
                                                     9},  // 9.999999999999998
                                           BlackDots{"AlmostNothingUsed", "01", "FF", 99},  // 99.6
                                           BlackDots{"AllUsed", "FF", "FF", 0},             //
                                           BlackDots{"MoreThanAllUsed", "FF", "01", 0},     //
                                           BlackDots{"NoCount", kAbsent, "40", 100},        //
                                           BlackDots{"CountOfNoBytes", "", "40", 100},      //
                                           BlackDots{"ManyBytes", "10 FF", "40 FF", 75},    //
                                           BlackDots{"NoCapacity", "10", kAbsent, 0},       //
                                           BlackDots{"CapacityOfNoBytes", "10", "", 0},     //
                                           BlackDots{"CapacityZero", "00", "00", 0}),
                         [](const auto& row) { return std::string(row.param.name); });

// "Lantern": a byte of remaining ink for each colour

const Items kFourLevels = {{"kCyanInkRemaining", "28"},
                           {"kMonoInkRemaining", "3C"},
                           {"kMagentaInkRemaining", "50"},
                           {"kYellowInkRemaining", "64"}};

TEST(LanternCartridges, AreFour) {
  EXPECT_EQ(reportOf(kLantern + kFourLevels +
                     Items{{"kFirstCartID", "30"},
                           {"kSecondCartID", "50"},
                           {"kThirdCartID", "31"},
                           {"kFourthCartID", "32"}}),
            report("Lantern",
                   {record("Cyan Cartridge", "Cyan", 40), record("Black Cartridge", "Black", 60),
                    record("Magenta Cartridge", "Magenta", 80),
                    record("Yellow Cartridge", "Yellow", 100)}));
}

TEST(LanternCartridges, AreTwoWhenTheFirstHasThreeColors) {
  for (const char* code : kThreeColorCodes) {
    EXPECT_EQ(reportOf(kLantern + kFourLevels +
                       Items{{"kFirstCartID", code},
                             {"kSecondCartID", "50"},
                             {"kThirdCartID", "50"},
                             {"kFourthCartID", "50"}}),
              report("Lantern", {record("Color Cartridge", "Color", 40),
                                 record("Black Cartridge", "Black", 60)}))
        << code;
  }
}

TEST(LanternCartridges, BeginWithCyanWhenThereIsAThird) {
  for (const std::string& code : allCodes()) {
    const bool threeColors = std::ranges::count(kThreeColorCodes, code) > 0;
    if (!isAccepted(code) || threeColors) continue;
    const Dictionary made = reportOf(kLantern + kFourLevels +
                                     Items{{"kFirstCartID", code.c_str()}, {"kThirdCartID", "50"}});
    EXPECT_EQ(word(made, {"Supply", 1}, "SupplyName"), "Cyan Cartridge") << code;
    EXPECT_EQ(word(made, {"Supply", 1}, "SupplyColor"), "Cyan") << code;
  }
}

TEST(LanternCartridges, BeginWithThreeColorsWhenThereIsNoThird) {
  // One whose code nobody knows is not there either.
  for (const char* third : {kAbsent, "33", ""}) {
    EXPECT_EQ(reportOf(kLantern + kFourLevels +
                       Items{{"kFirstCartID", "B0"},
                             {"kSecondCartID", "50"},
                             {"kThirdCartID", third},
                             {"kFourthCartID", "50"}}),
              report("Lantern", {record("Color Cartridge", "Color", 40),
                                 record("Black Cartridge", "Black", 60),
                                 record("Yellow Cartridge", "Yellow", 100)}));
  }
}

TEST(LanternCartridges, AreBlackInTheSecondPlaceWhateverTheirCode) {
  EXPECT_EQ(
      reportOf(kLantern + kFourLevels + Items{{"kFirstCartID", "33"}, {"kSecondCartID", "70"}}),
      report("Lantern", {record("Black Cartridge", "Black", 60)}));
}

// The cartridges that have one level of their own, without and with photo inks.
struct OneLevel {
  const char* name;
  Items items;
  std::int32_t percentage;
};

std::string nameOfLevel(const ::testing::TestParamInfo<OneLevel>& info) { return info.param.name; }

class CyanLevel : public ::testing::TestWithParam<OneLevel> {};
TEST_P(CyanLevel, IsAsTheTableSays) {
  const Dictionary made =
      reportOf(kLantern + GetParam().items + Items{{"kFirstCartID", "B0"}, {"kThirdCartID", "50"}});
  EXPECT_EQ(made.get<Dictionary>({"Supply", 1})->number("SupplyPercentage"), GetParam().percentage);
}

INSTANTIATE_TEST_SUITE_P(
    Of, CyanLevel,
    ::testing::Values(
        OneLevel{"Ink", {{"kCyanInkRemaining", "28"}}, 40},
        OneLevel{"PhotoInk", {{"kCyanPhotoInkRemaining", "14"}}, 20},
        OneLevel{"Both", {{"kCyanInkRemaining", "28"}, {"kCyanPhotoInkRemaining", "14"}}, 20},
        // the other inks have no part in it
        OneLevel{"AllInks",
                 {{"kCyanInkRemaining", "28"},
                  {"kMagentaInkRemaining", "01"},
                  {"kYellowInkRemaining", "01"},
                  {"kMagentaPhotoInkRemaining", "01"}},
                 40},
        // it is there, so the other is not looked at, and gives nothing
        OneLevel{
            "PhotoInkOfNoBytes", {{"kCyanInkRemaining", "28"}, {"kCyanPhotoInkRemaining", ""}}, 0},
        OneLevel{"ManyBytes", {{"kCyanInkRemaining", "28 FF"}}, 40},
        OneLevel{"TheTopBit", {{"kCyanInkRemaining", "FF"}}, 255},
        OneLevel{"OverAHundred", {{"kCyanInkRemaining", "80"}}, 128}, OneLevel{"Nothing", {}, 0}),
    nameOfLevel);

class BlackLevel : public ::testing::TestWithParam<OneLevel> {};
TEST_P(BlackLevel, IsAsTheTableSays) {
  const Dictionary made = reportOf(kLantern + GetParam().items +
                                   Items{{"kFirstCartID", "33"}, {"kSecondCartID", "50"}});
  EXPECT_EQ(made.get<Dictionary>({"Supply", 1})->number("SupplyPercentage"), GetParam().percentage);
}

INSTANTIATE_TEST_SUITE_P(
    Of, BlackLevel,
    ::testing::Values(
        OneLevel{"Ink", {{"kMonoInkRemaining", "3C"}}, 60},
        OneLevel{"TheTopBit", {{"kMonoInkRemaining", "FF"}}, 255},
        OneLevel{"OfNoBytes", {{"kMonoInkRemaining", ""}}, 0},
        OneLevel{"OtherInks", {{"kCyanInkRemaining", "28"}, {"kCyanPhotoInkRemaining", "14"}}, 0},
        OneLevel{"Nothing", {}, 0}),
    nameOfLevel);

class MagentaLevel : public ::testing::TestWithParam<OneLevel> {};
TEST_P(MagentaLevel, IsAsTheTableSays) {
  const Dictionary made =
      reportOf(kLantern + GetParam().items + Items{{"kFirstCartID", "33"}, {"kThirdCartID", "50"}});
  EXPECT_EQ(made.get<Dictionary>({"Supply", 1})->number("SupplyPercentage"), GetParam().percentage);
}

INSTANTIATE_TEST_SUITE_P(
    Of, MagentaLevel,
    ::testing::Values(
        OneLevel{"Ink", {{"kMagentaInkRemaining", "50"}}, 80},
        OneLevel{"PhotoInk", {{"kMagentaPhotoInkRemaining", "14"}}, 20},
        OneLevel{"Both", {{"kMagentaInkRemaining", "50"}, {"kMagentaPhotoInkRemaining", "14"}}, 20},
        OneLevel{"PhotoInkOfCyan",
                 {{"kMagentaInkRemaining", "50"}, {"kCyanPhotoInkRemaining", "14"}},
                 80},
        OneLevel{"PhotoInkOfNoBytes",
                 {{"kMagentaInkRemaining", "50"}, {"kMagentaPhotoInkRemaining", ""}},
                 0},
        OneLevel{"TheTopBit", {{"kMagentaInkRemaining", "FF"}}, 255}, OneLevel{"Nothing", {}, 0}),
    nameOfLevel);

class YellowLevel : public ::testing::TestWithParam<OneLevel> {};
TEST_P(YellowLevel, IsAsTheTableSays) {
  const Dictionary made = reportOf(kLantern + GetParam().items +
                                   Items{{"kFirstCartID", "33"}, {"kFourthCartID", "50"}});
  EXPECT_EQ(made.get<Dictionary>({"Supply", 1})->number("SupplyPercentage"), GetParam().percentage);
}

INSTANTIATE_TEST_SUITE_P(
    Of, YellowLevel,
    ::testing::Values(OneLevel{"Ink", {{"kYellowInkRemaining", "64"}}, 100},
                      // the photo ink counts where there is one of magenta, and not by itself
                      OneLevel{"BothWithoutPhotoMagenta",
                               {{"kYellowInkRemaining", "64"}, {"kYellowPhotoInkRemaining", "14"}},
                               100},
                      OneLevel{"BothWithPhotoMagenta",
                               {{"kYellowInkRemaining", "64"},
                                {"kYellowPhotoInkRemaining", "14"},
                                {"kMagentaPhotoInkRemaining", "30"}},
                               20},
                      OneLevel{"BothWithPhotoMagentaOfNoBytes",
                               {{"kYellowInkRemaining", "64"},
                                {"kYellowPhotoInkRemaining", "14"},
                                {"kMagentaPhotoInkRemaining", ""}},
                               20},
                      OneLevel{"InkWithPhotoMagenta",
                               {{"kYellowInkRemaining", "64"}, {"kMagentaPhotoInkRemaining", "30"}},
                               0},
                      OneLevel{"PhotoInkAlone", {{"kYellowPhotoInkRemaining", "14"}}, 0},
                      OneLevel{"TheTopBit", {{"kYellowInkRemaining", "FF"}}, 255},
                      OneLevel{"Nothing", {}, 0}),
    nameOfLevel);

// The level of three colours is the smallest of the three, read in the order cyan, magenta, yellow.
// One that is not there repeats the one before.
struct ThreeLevels {
  const char* name;
  const char* cyan;
  const char* magenta;
  const char* yellow;
  std::int32_t percentage;
};

class ThreeColorLevel : public ::testing::TestWithParam<ThreeLevels> {
 protected:
  static std::int32_t levelOf(const Items& items) {
    const Dictionary made = reportOf(kLantern + items + Items{{"kFirstCartID", "A0"}});
    EXPECT_EQ(word(made, {"Supply", 1}, "SupplyName"), "Color Cartridge");
    return made.get<Dictionary>({"Supply", 1})->number("SupplyPercentage");
  }
};

TEST_P(ThreeColorLevel, IsTheSmallestOfTheInks) {
  const auto [name, cyan, magenta, yellow, percentage] = GetParam();
  EXPECT_EQ(levelOf({{"kCyanInkRemaining", cyan},
                     {"kMagentaInkRemaining", magenta},
                     {"kYellowInkRemaining", yellow}}),
            percentage);
}

TEST_P(ThreeColorLevel, IsTheSmallestOfThePhotoInksWhereThereIsACyanOne) {
  const auto [name, cyan, magenta, yellow, percentage] = GetParam();
  if (cyan == kAbsent) return;  // then they do not count, as below
  EXPECT_EQ(levelOf({{"kCyanPhotoInkRemaining", cyan},
                     {"kMagentaPhotoInkRemaining", magenta},
                     {"kYellowPhotoInkRemaining", yellow},
                     {"kCyanInkRemaining", "01"},
                     {"kMagentaInkRemaining", "01"},
                     {"kYellowInkRemaining", "01"}}),
            percentage);
}

INSTANTIATE_TEST_SUITE_P(
    Of, ThreeColorLevel,
    ::testing::Values(ThreeLevels{"CyanSmallest", "0A", "14", "1E", 10},     //
                      ThreeLevels{"MagentaSmallest", "14", "0A", "1E", 10},  //
                      ThreeLevels{"YellowSmallest", "1E", "14", "0A", 10},   //
                      ThreeLevels{"AllTheSame", "FF", "FF", "FF", 255},      //
                      ThreeLevels{"TheTopBit", "80", "7F", "FF", 127},       //
                      ThreeLevels{"NoMagenta", "1E", kAbsent, "14", 20},     // 30, 30, 20
                      ThreeLevels{"NoYellow", "1E", "28", kAbsent, 30},      // 30, 40, 40
                      ThreeLevels{"CyanAlone", "1E", kAbsent, kAbsent, 30},  // 30, 30, 30
                      ThreeLevels{"NoCyan", kAbsent, "1E", "14", 0},         // 0, 30, 20
                      ThreeLevels{"None", kAbsent, kAbsent, kAbsent, 0},     //
                      ThreeLevels{"CyanOfNoBytes", "", "1E", "14", 0},       //
                      ThreeLevels{"MagentaOfNoBytes", "1E", "", "14", 20},   //
                      ThreeLevels{"ManyBytes", "1E 01", "28 01", "32 01", 30}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(ThreeColorLevel, DoesNotLookAtPhotoInksWithoutACyanOne) {
  EXPECT_EQ(reportOf(kLantern + Items{{"kFirstCartID", "A0"},
                                      {"kCyanInkRemaining", "32"},
                                      {"kMagentaInkRemaining", "33"},
                                      {"kYellowInkRemaining", "34"},
                                      {"kMagentaPhotoInkRemaining", "01"},
                                      {"kYellowPhotoInkRemaining", "01"}}),
            report("Lantern", {record("Color Cartridge", "Color", 50)}));
}

TEST(LanternCartridges, DoNotShareTheirLevels) {
  EXPECT_EQ(reportOf(kLantern + Items{{"kFirstCartID", "B0"},
                                      {"kSecondCartID", "50"},
                                      {"kThirdCartID", "50"},
                                      {"kCyanInkRemaining", "28"}}),
            report("Lantern", {record("Cyan Cartridge", "Cyan", 40),
                               record("Black Cartridge", "Black", 0, "Empty"),
                               record("Magenta Cartridge", "Magenta", 0, "Empty")}));
}

TEST(LanternCartridges, DoNotLookAtDotCounts) {
  EXPECT_EQ(
      reportOf(kLantern + kHalfOfBlackUsed +
               Items{{"kFirstCartID", "33"}, {"kSecondCartID", "50"}, {"kMonoInkRemaining", "05"}}),
      report("Lantern", {record("Black Cartridge", "Black", 5)}));
}

TEST(LanternCartridges, AreEmptyWhereNothingRemainsOfACorrectOne) {
  EXPECT_EQ(reportOf(kLantern + Items{{"kFirstCartID", "30"},
                                      {"kSecondCartID", "50"},
                                      {"kThirdCartID", "B0"},
                                      {"kFourthCartID", "C0"},
                                      {"kCyanInkRemaining", "00"},
                                      {"kMonoInkRemaining", "00"},
                                      {"kMagentaInkRemaining", "00"},
                                      {"kYellowInkRemaining", "00"}}),
            report("Lantern", {record("Cyan Cartridge", "Cyan", 0, "Empty"),
                               record("Black Cartridge", "Black", 0, "Empty"),
                               record("Magenta Cartridge", "Magenta", 0, "Empty"),
                               record("Yellow Cartridge", "Yellow", 0, "Empty")}));
  EXPECT_EQ(reportOf(kLantern + Items{{"kFirstCartID", "A0"}}),
            report("Lantern", {record("Color Cartridge", "Color", 0, "Empty")}));
}

TEST(LanternCartridges, KeepAnotherStatusWhereNothingRemains) {
  EXPECT_EQ(reportOf(kLantern + Items{{"kFirstCartID", "10"},
                                      {"kSecondCartID", "20"},
                                      {"kThirdCartID", "21"},
                                      {"kFourthCartID", "30"}}),
            report("Lantern", {record("Cyan Cartridge", "Cyan", 0, "Invalid"),
                               record("Black Cartridge", "Black", 0, "Missing"),
                               record("Magenta Cartridge", "Magenta", 0, "Incorrect"),
                               record("Yellow Cartridge", "Yellow", 0, "Empty")}));
}

TEST(LanternCartridges, AreNotEmptyWithTheLeastThatRemains) {
  EXPECT_EQ(reportOf(kLantern + Items{{"kFirstCartID", "A0"}, {"kCyanInkRemaining", "01"}}),
            report("Lantern", {record("Color Cartridge", "Color", 1)}));
}

// The host's dictionary

TEST(InkjetReport, KeepsTheKeysOfAnEarlierOne) {
  Dictionary earlier;
  earlier.set("Queue", "office");
  earlier.set("PrintHeadType", "Lantern");
  earlier.set("SupplyCount", 4);
  earlier.set({"Supply", 1}, record("Cyan Cartridge", "Cyan", 40));
  earlier.set({"Supply", 2}, record("Black Cartridge", "Black", 60));

  Dictionary expected = report("Quarry", {record("Color", "Color", 75)});
  expected.set("Queue", "office");
  expected.set({"Supply", 2}, record("Black Cartridge", "Black", 60));

  const auto [status, after] =
      outcomeOf(kQuarry + kQuarterOfColorUsed + Items{{"kFirstCartID", "30"}}, earlier);
  EXPECT_EQ(status, Status::kSuccess);
  EXPECT_EQ(after, expected);
}

TEST(InkjetReport, ReplacesAnEarlierRecordAsAWhole) {
  Dictionary earlier;
  earlier.set({"Supply", 3}, record("Magenta Cartridge", "Magenta", 80));
  const auto [status, after] = outcomeOf(
      kQuarry + Items{{"kFirstCartID", "30"}, {"kSecondCartID", "50"}, {"kThirdCartID", "50"}},
      earlier);
  EXPECT_EQ(status, Status::kSuccess);
  EXPECT_EQ(*after.get<Dictionary>({"Supply", 3}), statusAlone("Correct"));
}

TEST(InkjetReport, LeavesAnEarlierOneAsItWasWithoutAnItemForTheFirstCartridge) {
  const Dictionary earlier = report("Lantern", {record("Black Cartridge", "Black", 60)});
  const auto [status, after] = outcomeOf(kQuarry, earlier);
  EXPECT_EQ(status, Status::kUndecodable);
  EXPECT_EQ(after, earlier);
}

TEST(InkjetReport, KeepsTheEarlierPrintHeadWhenTheNewOneIsUnknown) {
  Dictionary expected = report("Lantern", {record("Black Cartridge", "Black", 60)});
  const Dictionary earlier = expected;
  expected.set("SupplyCount", 0);
  const auto [status, after] = outcomeOf({{"kPrintHead", "03"}, {"kFirstCartID", "30"}}, earlier);
  EXPECT_EQ(status, Status::kUndecodable);
  EXPECT_EQ(after, expected);
}

}  // namespace
}  // namespace moxsupply::testing
