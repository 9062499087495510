#include <gtest/gtest.h>

#include <array>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "npa/MoxNPAUtilityCommand.h"
#include "tests/support/DictionaryJson.h"
#include "tests/support/LaserRecords.h"

namespace moxsupply::testing {
namespace {

using Decoder = std::optional<Dictionary> (MoxNPAUtilityCommand::*)(std::span<const std::uint8_t>,
                                                                    std::uint32_t) const noexcept;

constexpr std::array<Decoder, 3> kDecoders = {&MoxNPAUtilityCommand::parseKelvoS,
                                              &MoxNPAUtilityCommand::parseKelvoSC,
                                              &MoxNPAUtilityCommand::parseKelvoColor};

std::optional<Dictionary> decode(Decoder decoder, const Bytes& record, std::uint32_t length) {
  return (MoxNPAUtilityCommand().*decoder)(record, length);
}

std::string kelvoS(const Bytes& record) {
  return shown(decode(kDecoders[0], record, static_cast<std::uint32_t>(record.size())));
}
std::string kelvoSC(const Bytes& record) {
  return shown(decode(kDecoders[1], record, static_cast<std::uint32_t>(record.size())));
}
std::string kelvoColor(const Bytes& record) {
  return shown(decode(kDecoders[2], record, static_cast<std::uint32_t>(record.size())));
}

TEST(KelvoRecords, RefuseALengthWhoseLow16BitsAre0) {
  const Bytes record = hex("00 00 05 00 03");
  for (const Decoder decoder : kDecoders) {
    EXPECT_FALSE(decode(decoder, record, 0));
    EXPECT_FALSE(decode(decoder, record, 65536));
    EXPECT_FALSE(decode(decoder, record, 0xFFFF0000));
    EXPECT_TRUE(decode(decoder, record, 65537));
    EXPECT_TRUE(decode(decoder, record, 0xFFFFFFFF));
  }
}

TEST(KelvoRecords, ReadTheWholeLayoutWhateverOtherLengthTheyAreGiven) {
  const Bytes record = joined({hex("00 01 05 EE 03"), hex("07 00 00 01 00 00 00 00 80")});
  for (const Decoder decoder : kDecoders) {
    const auto whole = decode(decoder, record, static_cast<std::uint32_t>(record.size()));
    EXPECT_EQ(shown(decode(decoder, record, 1)), shown(whole));
    EXPECT_EQ(shown(decode(decoder, record, 60'000)), shown(whole));
  }
}

TEST(KelvoRecords, GiveAnEmptyDictionaryForNoBytesOfANonZeroLength) {
  for (const Decoder decoder : kDecoders) EXPECT_EQ(shown(decode(decoder, {}, 100)), "{}");
}

TEST(KelvoRecords, StoreAnEmptySerialNumber) {
  EXPECT_EQ(kelvoColor(hex("00"     // no serial number
                           "00 22"  // supplies count at offset 1, record length
                           "EE 03")),
            json(R"({"Serial Number": "", "Supplies Count": 0, "Record Length": 34,
                     "Toner Prediction": 3})"));
}

TEST(KelvoRecords, ReadTheLongestSerialNumber) {
  const Bytes record = joined({hex("FF"), repeated('x', 255), hex("00 22 07 02")});
  const Json head = {{"Serial Number", std::string(255, 'x')},
                     {"Supplies Count", 0},
                     {"Record Length", 34},
                     {"Toner Prediction", 2}};
  EXPECT_EQ(kelvoSC(record), head.dump(2));
  EXPECT_EQ(kelvoColor(record), head.dump(2));
}

TEST(KelvoRecords, KeepATypeThatIsNotTheirs) {
  EXPECT_EQ(kelvoColor(hex("00 00 22 EE 63")),
            json(R"({"Serial Number": "", "Supplies Count": 0, "Record Length": 34,
                     "Toner Prediction": 99})"));
}

struct SerialNumber {
  const char* situation;
  Bytes bytes;
  const char* json;  // null: no key
};

// Judged up to the first zero byte, and left out when that is not UTF-8. What follows is read all
// the same, at its place.
TEST(KelvoRecords, MakeTextOfTheSerialNumber) {
  const std::vector<SerialNumber> numbers = {
      {"letters", hex("41 42"), R"("AB")"},
      {"ends at a zero byte", hex("41 00 42"), R"("A")"},
      {"begins with a zero byte", hex("00 41"), R"("")"},
      {"not UTF-8 behind a zero byte", hex("41 00 FF FF"), R"("A")"},
      {"cut character behind a zero byte", hex("00 C3"), R"("")"},
      {"two bytes", hex("C3 A9"), R"("\u00E9")"},
      {"three bytes", hex("E2 82 AC"), R"("\u20AC")"},
      {"four bytes, the last character", hex("F4 8F BF BF"), R"("\uDBFF\uDFFF")"},
      {"a noncharacter", hex("EF BF BE"), R"("\uFFFE")"},
      {"a leading U+FEFF", hex("EF BB BF 41"), R"("\uFEFFA")"},
      {"Latin-1", hex("41 E9"), nullptr},
      {"a lone second byte", hex("80"), nullptr},
      {"a first byte without its second", hex("41 C3"), nullptr},
      {"overlong, two bytes", hex("C0 80"), nullptr},
      {"overlong, three bytes", hex("E0 80 AF"), nullptr},
      {"overlong, four bytes", hex("F0 80 80 AF"), nullptr},
      {"a surrogate", hex("ED A0 80"), nullptr},
      {"above U+10FFFF", hex("F4 90 80 80"), nullptr},
      {"FF", hex("FF"), nullptr},
  };
  for (const SerialNumber& number : numbers) {
    const Bytes record = joined({u8(static_cast<std::uint32_t>(number.bytes.size())), number.bytes,
                                 hex("01 22 33 03"), hex("07 00 00 01 00 00 00 00 80")});
    Json expected = Json::parse(R"({"Supplies Count": 1, "Record Length": 34, "Toner Prediction": 3,
        "#7": {"Kelvo Max Level": 256, "Max Dot Count": 256,
               "Kelvo Cur Level": 128, "Current Dot Count": 128}})");
    if (number.json != nullptr) expected["Serial Number"] = Json::parse(number.json);
    EXPECT_EQ(kelvoColor(record), expected.dump(2)) << number.situation;

    for (const Decoder decoder : kDecoders) {
      const auto result = decode(decoder, record, 1);
      EXPECT_EQ(result->contains("Serial Number"), number.json != nullptr) << number.situation;
      EXPECT_EQ(result->number("Supplies Count"), 1) << number.situation;
    }
  }
}

// The one-supply record, with a serial number of n = 2 bytes and a part number of m = 3.
const Bytes& oneSupplysPages() {
  static const Bytes record =
      hex("02 53 4E"     // serial number "SN"
          "09"           // supplies count
          "2A"           // record length
          "04"           // supply location
          "01"           // type 1
          "05"           // supply identifier
          "00 00 01 02"  // first page count
          "00 01 02 03"  // current page count
          "01 02 03 04"  // current page level
          "FF FF FF FF"  // previous page level
          "64"           // number of levels
          "25"           // current transition
          "02"           // toner type
          "03 50 2D 4E"  // part number "P-N"
          "80 00 00 00"  // capacity
          "FF FE"        // last level, light
          "00 22"        // last level, dark
          "00 33"        // gradation, light
          "00 44"        // gradation, dark
          "00 55");      // the last value
  return record;
}

TEST(KelvoS, ReadsOneSupply) {
  EXPECT_EQ(kelvoS(oneSupplysPages()), json(R"({
      "Serial Number": "SN", "Supplies Count": 9, "Record Length": 42, "Supply Location": 4,
      "Toner Prediction": 1, "Supply ID": 5, "Page Count First": 258, "Page Count Current": 66051,
      "Page Level Current": 16909060, "Page Level Previous": -1,
      "Kelvo Max Level": 100, "Levels Count": 100, "Kelvo Cur Level": 37, "Current Transition": 37,
      "Toner Type": 2, "Toner PartNumber": "P-N", "Toner Capacity": -2147483648,
      "Last Level Light": 65534, "Last Level Dark": 34, "Light Gradiation": 51,
      "Dark Gradiation": 68, "Current Vantor": 85})"));
}

TEST(KelvoS, LooksForNothingBehindItsEnd) {
  EXPECT_EQ(kelvoS(joined({oneSupplysPages(), repeated(0xFF, 100)})), kelvoS(oneSupplysPages()));
}

// Offset n + 26 holds the capacity when there is no part number.
TEST(KelvoS, HasNoPartNumberOfNoLength) {
  const Bytes record = joined({
      hex("00 01 2A 00 01 05"),  // n = 0, and the rest of the head
      repeated(0x00, 16),        // pages
      hex("0A 03 02"),           // levels
      hex("00"),                 // m = 0
      hex("00 00 17 70 00 01 00 02 00 03 00 04 00 05"),
  });
  EXPECT_EQ(kelvoS(record), json(R"({
      "Serial Number": "", "Supplies Count": 1, "Record Length": 42, "Supply Location": 0,
      "Toner Prediction": 1, "Supply ID": 5, "Page Count First": 0, "Page Count Current": 0,
      "Page Level Current": 0, "Page Level Previous": 0,
      "Kelvo Max Level": 10, "Levels Count": 10, "Kelvo Cur Level": 3, "Current Transition": 3,
      "Toner Type": 2, "Toner Capacity": 6000, "Last Level Light": 1, "Last Level Dark": 2,
      "Light Gradiation": 3, "Dark Gradiation": 4, "Current Vantor": 5})"));
}

TEST(KelvoS, ReadsTheLongestTexts) {
  const Bytes record = joined({
      hex("FF"),
      repeated('s', 255),
      hex("01 2A 00 01 05"),
      repeated(0x00, 16),
      hex("0A 03 02"),  //
      hex("FF"),
      repeated('p', 255),
      hex("00 00 17 70 00 01 00 02 00 03 00 04 00 05"),
  });
  const auto result = decode(kDecoders[0], record, 1);
  EXPECT_EQ(*result->get<std::string>("Serial Number"), std::string(255, 's'));
  EXPECT_EQ(*result->get<std::string>("Toner PartNumber"), std::string(255, 'p'));
  EXPECT_EQ(result->number("Toner Capacity"), 6000);
  EXPECT_EQ(result->number("Current Vantor"), 5);
}

TEST(KelvoS, LeavesOutAPartNumberThatIsNotUtf8AndReadsOn) {
  Bytes record = oneSupplysPages();
  put(record, 28, hex("FF"));  // the part number's first letter
  Json expected = Json::parse(kelvoS(oneSupplysPages()));
  expected.erase("Toner PartNumber");
  EXPECT_EQ(kelvoS(record), expected.dump(2));
}

TEST(KelvoS, EndsAPartNumberAtItsZeroByte) {
  Bytes record = oneSupplysPages();
  put(record, 29, hex("00 FF"));  // the second letter and the third
  Json expected = Json::parse(kelvoS(oneSupplysPages()));
  expected["Toner PartNumber"] = "P";
  EXPECT_EQ(kelvoS(record), expected.dump(2));
}

// A key is there from the length on at which its last byte is.
TEST(KelvoS, LeavesOutWhatIsCutOff) {
  const std::vector<std::pair<std::size_t, const char*>> ends = {
      {3, "Serial Number"},        {4, "Supplies Count"},      {5, "Record Length"},
      {6, "Supply Location"},      {7, "Toner Prediction"},    {8, "Supply ID"},
      {12, "Page Count First"},    {16, "Page Count Current"}, {20, "Page Level Current"},
      {24, "Page Level Previous"}, {25, "Kelvo Max Level"},    {25, "Levels Count"},
      {26, "Kelvo Cur Level"},     {26, "Current Transition"}, {27, "Toner Type"},
      {31, "Toner PartNumber"},    {35, "Toner Capacity"},     {37, "Last Level Light"},
      {39, "Last Level Dark"},     {41, "Light Gradiation"},   {43, "Dark Gradiation"},
      {45, "Current Vantor"},
  };
  const Json whole = Json::parse(kelvoS(oneSupplysPages()));
  ASSERT_EQ(oneSupplysPages().size(), 45U);
  for (std::size_t size = 0; size <= oneSupplysPages().size(); ++size) {
    Json expected = Json::object();
    for (const auto& [end, key] : ends) {
      if (end <= size) expected[key] = whole[key];
    }
    const Bytes part = firstBytes(oneSupplysPages(), size);
    EXPECT_EQ(shown(decode(kDecoders[0], part, 100)), expected.dump(2)) << size;
  }
}

// Its serial number is longer than the record: nothing behind it can be where it belongs.
TEST(KelvoS, FindsNothingBehindASerialNumberThatIsCutOff) {
  Bytes record = oneSupplysPages();
  put(record, 0, hex("FF"));
  EXPECT_EQ(kelvoS(record), "{}");
}

TEST(KelvoS, LeavesOutWhatFollowsAPartNumberThatIsCutOff) {
  Bytes record = oneSupplysPages();
  put(record, 27, hex("FF"));
  Json expected = Json::parse(kelvoS(oneSupplysPages()));
  for (const char* key :
       {"Toner PartNumber", "Toner Capacity", "Last Level Light", "Last Level Dark",
        "Light Gradiation", "Dark Gradiation", "Current Vantor"}) {
    expected.erase(key);
  }
  EXPECT_EQ(kelvoS(record), expected.dump(2));
}

TEST(KelvoSC, ReadsATableOf14ByteEntries) {
  EXPECT_EQ(kelvoSC(hex("01 53"        // serial number "S"
                        "02 21 EE 02"  // two entries, record length, not read, type 2
                        "03"           // supply 3
                        "01"           // its location
                        "00 00 03 E8"  // supply count
                        "00 00 01 F4"  // current supply count
                        "FF FF FF FF"  // pages capacity
                        "FF 02 80 00 00 00 00 00 00 01 7F FF FF FF")),
            json(R"({
      "Serial Number": "S", "Supplies Count": 2, "Record Length": 33, "Toner Prediction": 2,
      "#3": {"Supply Location": 1, "Kelvo Max Level": 1000, "Supply Count": 1000,
             "Kelvo Cur Level": 500, "Current Supply Count": 500, "Pages Capacity": -1},
      "#255": {"Supply Location": 2, "Kelvo Max Level": -2147483648, "Supply Count": -2147483648,
               "Kelvo Cur Level": 1, "Current Supply Count": 1, "Pages Capacity": 2147483647}})"));
}

TEST(KelvoSC, KeepsTheLaterOfTwoEntriesOfOneSupply) {
  EXPECT_EQ(kelvoSC(hex("00 02 21 EE 02"
                        "04 01 00 00 00 64 00 00 00 01 00 00 00 02"
                        "04 02 00 00 00 C8 00 00 00 03 00 00 00 04")),
            json(R"({
      "Serial Number": "", "Supplies Count": 2, "Record Length": 33, "Toner Prediction": 2,
      "#4": {"Supply Location": 2, "Kelvo Max Level": 200, "Supply Count": 200,
             "Kelvo Cur Level": 3, "Current Supply Count": 3, "Pages Capacity": 4}})"));
}

TEST(KelvoColor, ReadsATableOf9ByteEntries) {
  EXPECT_EQ(kelvoColor(hex("01 53"        // serial number "S"
                           "02 21 EE 03"  // two entries, record length, not read, type 3
                           "07"           // supply 7
                           "00 00 01 00"  // maximum dot count
                           "00 00 00 80"  // current dot count
                           "00 FF FF FF FF 80 00 00 00")),
            json(R"({
      "Serial Number": "S", "Supplies Count": 2, "Record Length": 33, "Toner Prediction": 3,
      "#7": {"Kelvo Max Level": 256, "Max Dot Count": 256,
             "Kelvo Cur Level": 128, "Current Dot Count": 128},
      "#0": {"Kelvo Max Level": -1, "Max Dot Count": -1,
             "Kelvo Cur Level": -2147483648, "Current Dot Count": -2147483648}})"));
}

TEST(KelvoColor, KeepsTheLaterOfTwoEntriesOfOneSupply) {
  const auto result = decode(kDecoders[2], dotCountRecord({{4, 1, 2}, {5, 3, 4}, {4, 5, 6}}), 1);
  EXPECT_EQ(result->get<Dictionary>(Key(4))->number("Kelvo Max Level"), 5);
  EXPECT_EQ(result->get<Dictionary>(Key(4))->number("Kelvo Cur Level"), 6);
  EXPECT_EQ(result->get<Dictionary>(Key(5))->number("Kelvo Cur Level"), 4);
  EXPECT_EQ(result->size(), 6U);
}

TEST(KelvoColor, LooksForNoEntryWhenThereAreNone) {
  EXPECT_EQ(kelvoColor(hex("00 00 22 EE 03 01 00 00 00 64 00 00 00 32")),
            json(R"({"Serial Number": "", "Supplies Count": 0, "Record Length": 34,
                     "Toner Prediction": 3})"));
}

// 255 entries of either width, each with a number of its own, and one more that is not counted.
TEST(KelvoTables, ReadAsManyEntriesAsTheyCount) {
  Bytes wide = hex("00 FF 00 EE 02");
  Bytes narrow = hex("00 FF 00 EE 03");
  for (std::uint32_t i = 0; i <= 255; ++i) {
    wide = joined({wide, u8(i), hex("00"), u32(i * 2), u32(i), u32(0)});
    narrow = joined({narrow, u8(i), u32(i * 2), u32(i)});
  }
  for (const auto& result : {decode(kDecoders[1], wide, 1), decode(kDecoders[2], narrow, 1)}) {
    EXPECT_EQ(result->size(), 4U + 255U);
    EXPECT_EQ(result->get<Dictionary>(Key(254))->number("Kelvo Max Level"), 508);
    EXPECT_FALSE(result->contains(Key(255)));
  }
}

// An entry that is cut off is left out whole, and so is what would follow it.
TEST(KelvoTables, LeaveOutWhatIsCutOff) {
  const std::vector<std::pair<std::size_t, const char*>> ends = {
      {3, "Serial Number"}, {4, "Supplies Count"}, {5, "Record Length"}, {7, "Toner Prediction"}};
  struct Layout {
    Decoder decoder;
    Bytes record;
    std::size_t entrySize;
  };
  const std::vector<Layout> layouts = {
      {kDecoders[1],
       hex("02 53 4E 02 21 EE 02 01 09 00 00 00 64 00 00 00 01 00 00 00 02"
           "02 08 00 00 00 C8 00 00 00 03 00 00 00 04"),
       14},
      {kDecoders[2],
       hex("02 53 4E 02 21 EE 03 01 00 00 00 64 00 00 00 01 02 00 00 00 C8 00 00 00 03"), 9},
  };
  for (const auto& [decoder, record, entrySize] : layouts) {
    ASSERT_EQ(record.size(), 7 + 2 * entrySize);
    const Json whole = asJson(decode(decoder, record, 1));
    ASSERT_EQ(whole.size(), 6U);
    for (std::size_t size = 0; size <= record.size(); ++size) {
      Json expected = Json::object();
      for (const auto& [end, key] : ends) {
        if (end <= size) expected[key] = whole[key];
      }
      if (size >= 7 + entrySize) expected["#1"] = whole["#1"];
      if (size >= 7 + 2 * entrySize) expected["#2"] = whole["#2"];
      const Bytes part = firstBytes(record, size);
      EXPECT_EQ(shown(decode(decoder, part, 100)), expected.dump(2)) << size;
    }
  }
}

TEST(KelvoTables, HaveNoEntriesWithoutACount) {
  const Bytes record = hex("09 01 00 03 01 00 00 00 64");  // a serial number of 9 bytes, 8 there
  EXPECT_EQ(kelvoSC(record), "{}");
  EXPECT_EQ(kelvoColor(record), "{}");
}

}  // namespace
}  // namespace moxsupply::testing
