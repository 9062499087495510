#include <gtest/gtest.h>

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

std::optional<Dictionary> extract(Bytes& record, std::uint32_t length) {
  return MoxNPAUtilityCommand().extractSuppliesResponse(record, length);
}

std::optional<Dictionary> extract(Bytes record) {
  return extract(record, static_cast<std::uint32_t>(record.size()));
}

// One supply, all written out: the whole layout, with every field that is known.
const Bytes& oneSupply() {
  static const Bytes record =
      hex("00 01"                                            // marker, not 0
          "EE EE EE EE EE EE EE EE EE EE EE EE EE EE EE EE"  // 36 bytes that are not looked at
          "EE EE EE EE EE EE EE EE EE EE EE EE EE EE EE EE EE EE EE EE"
          "01"                          // form of the record
          "EE"                          // not looked at
          "00 02"                       // top-level elements
          "EE EE"                       // not looked at
          "01 01 00 01 EE"              // element 1, short form, length 1
          "02 00 00 01 EE EE"           // the group, one child
          "08 00 00 01 EE EE"           // the supplies table, one supply
          "01 EE EE EE"                 // supply 1
          "00 2A"                       // 42 bytes from the next one on
          "00 EE"                       // a byte that is set to 1, one that is not looked at
          "00 06 EE EE"                 // six fields
          "01 01 00 01 11"              // fixed id
          "02 01 00 01 12"              // installed id
          "03 01 00 05 42 6C 61 63 6B"  // description "Black"
          "07 01 00 01 01"              // supply type
          "0F 01 00 02 01 2C"           // max level
          "10 01 00 02 00 96");         // current level
  return record;
}
constexpr std::size_t kCountOfOneSupply = 57;  // where the number of supplies stands
constexpr std::size_t kFieldsOfOneSupply = kFirstSupply + 12;

constexpr const char* kOneSupply = R"({
    "Supplies Count": 1,
    "Supply 1": {"Fixed ID": 17, "Installed ID": 18, "Description": "Black", "Supply Type": 1,
                 "Max Level": 300, "Current Level": 150}})";

TEST(SuppliesTable, ReadsASupply) { EXPECT_EQ(shown(extract(oneSupply())), json(kOneSupply)); }

TEST(SuppliesTable, IgnoresTheLengthItIsGiven) {
  for (const std::uint32_t length : {0U, 1U, 44U, 65536U, 0xFFFFFFFFU}) {
    Bytes record = oneSupply();
    EXPECT_EQ(shown(extract(record, length)), json(kOneSupply)) << length;
  }
}

// The builder's record is the same as the one written out.
TEST(SuppliesTable, ReadsWhatTheBuilderBuilds) {
  EXPECT_EQ(shown(extract(suppliesRecord(
                {supply(1, {field(1, hex("11")), field(2, hex("12")), description("Black"),
                            field(7, hex("01")), maxLevel(300), field(16, u16(150))})}))),
            json(kOneSupply));
}

// --- The head and the way to the table

struct Head {
  const char* situation;
  std::size_t offset;
  Bytes bytes;
  bool isRead;
};

TEST(SuppliesTable, JudgesTheHead) {
  const std::vector<Head> heads = {
      {"marker 0", 0, hex("00 00"), false},
      {"marker 0100", 0, hex("01 00"), true},
      {"marker FFFF", 0, hex("FF FF"), true},
      {"form 0", 38, hex("00"), false},
      {"form 2", 38, hex("02"), false},
      {"form 255", 38, hex("FF"), false},
      {"no elements", 40, hex("00 00"), false},
      {"one element", 40, hex("00 01"), false},
      {"256 elements", 40, hex("01 00"), true},
      {"no supplies", kCountOfOneSupply, hex("00 00"), false},
      {"bytes that are not looked at", 2, repeated(0x00, 36), true},
      {"byte 39", 39, hex("00"), true},
      {"bytes 42 and 43", 42, hex("00 00"), true},
  };
  for (const Head& head : heads) {
    Bytes record = oneSupply();
    put(record, head.offset, head.bytes);
    EXPECT_EQ(shown(extract(record)), head.isRead ? json(kOneSupply) : "null") << head.situation;
  }
}

// A record of `elementCount` elements, at the top or in the group, of which `others` stand before
// the one that is wanted.
Bytes recordWithElements(std::uint16_t elementCount, int others) {
  return joined({recordHead(elementCount),
                 joined(std::vector<Bytes>(static_cast<std::size_t>(others), field(9, {}))),
                 groupWithTable(1, {supply(1, {description("Black")})})});
}
Bytes recordWithChildren(std::uint16_t childCount, int others) {
  return joined({recordHead(2), hex("02 00"), u16(childCount), hex("EE EE"),
                 joined(std::vector<Bytes>(static_cast<std::size_t>(others), field(9, {}))),
                 hex("08 00 00 01 EE EE"), supply(1, {description("Black")})});
}

// The group may stand one place behind the count, and so may the table in the group.
TEST(SuppliesTable, SkipsAsManyElementsAsAreCounted) {
  const std::string black = json(R"({"Supplies Count": 1, "Supply 1": {"Description": "Black"}})");
  EXPECT_EQ(shown(extract(recordWithElements(2, 0))), black);
  EXPECT_EQ(shown(extract(recordWithElements(2, 1))), black);
  EXPECT_EQ(shown(extract(recordWithElements(2, 2))), black);
  EXPECT_EQ(shown(extract(recordWithElements(2, 3))), "null");
  EXPECT_EQ(shown(extract(recordWithElements(300, 300))), black);
  EXPECT_EQ(shown(extract(recordWithElements(300, 301))), "null");

  EXPECT_EQ(shown(extract(recordWithChildren(0, 0))), black);
  EXPECT_EQ(shown(extract(recordWithChildren(0, 1))), "null");
  EXPECT_EQ(shown(extract(recordWithChildren(1, 1))), black);
  EXPECT_EQ(shown(extract(recordWithChildren(1, 2))), "null");
  EXPECT_EQ(shown(extract(recordWithChildren(300, 300))), black);
  EXPECT_EQ(shown(extract(recordWithChildren(300, 301))), "null");
}

// Bodies that would pass for a group or a table are skipped with their elements.
TEST(SuppliesTable, SkipsElementsOfBothForms) {
  const Bytes bait = hex("02 00 00 01 00 00 08 00 00 01 00 00");
  const Bytes record = joined({
      recordHead(4),
      field(1, bait),
      longField(3, bait),
      longField(0, {}),
      field(0xFF, bait),
      hex("02 00 00 05 EE EE"),  // the group, five children
      longField(2, bait),
      field(7, bait),
      longField(9, {}),
      field(1, {}),
      longField(0xFF, bait),
      hex("08 00 00 01 EE EE"),
      supply(1, {description("Black")}),
  });
  EXPECT_EQ(shown(extract(record)),
            json(R"({"Supplies Count": 1, "Supply 1": {"Description": "Black"}})"));
}

TEST(SuppliesTable, TakesAnyFormByteOtherThan0ForTheShortForm) {
  for (const char* form : {"02", "80", "FF"}) {
    Bytes record = oneSupply();
    put(record, 45, hex(form));
    EXPECT_EQ(shown(extract(record)), json(kOneSupply)) << form;
  }
}

// A group and a table are read alike in either form: the count is at 2, the first child at 6.
TEST(SuppliesTable, DoesNotLookAtTheFormOfAGroupOrATable) {
  Bytes record = oneSupply();
  put(record, 50, hex("01"));  // the group's form
  put(record, 56, hex("01"));  // the table's form
  EXPECT_EQ(shown(extract(record)), json(kOneSupply));
}

TEST(SuppliesTable, TakesTheFirstGroupAndItsFirstTable) {
  const Bytes record =
      joined({recordHead(2), groupWithTable(1, {supply(1, {description("First")})}),
              groupWithTable(1, {supply(1, {description("Second")})})});
  EXPECT_EQ(extract(record)->get<Dictionary>({"Supply", 1})->size(), 1U);
  EXPECT_EQ(*extract(record)->get<Dictionary>({"Supply", 1})->get<std::string>("Description"),
            "First");
}

// Without the group's table there is none, also when a later group has one.
TEST(SuppliesTable, LooksIntoOneGroupOnly) {
  const Bytes record = joined({recordHead(2), hex("02 00 00 01 EE EE"), field(9, {}), field(9, {}),
                               groupWithTable(1, {supply(1, {description("Black")})})});
  EXPECT_EQ(shown(extract(record)), "null");
}

// --- The supplies of the table

TEST(SuppliesTable, NamesSuppliesByTheirNumbers) {
  EXPECT_EQ(shown(extract(suppliesRecord({supply(3, {description("Third")}),
                                          supply(1, {description("First")}),
                                          supply(0, {description("None")})}))),
            json(R"({"Supplies Count": 3, "Supply 3": {"Description": "Third"},
                     "Supply 1": {"Description": "First"}, "Supply 0": {"Description": "None"}})"));
}

// What stands behind the last supply counted has a number that is in range, and is not read.
TEST(SuppliesTable, ReadsNoMoreSuppliesThanItCounts) {
  Bytes record = suppliesRecord(3, {supply(1, {maxLevel(1)}), supply(2, {maxLevel(2)}),
                                    supply(3, {maxLevel(3)}), supply(2, {maxLevel(4)})});
  EXPECT_EQ(shown(extract(record, 0)), json(R"({"Supplies Count": 3, "Supply 1": {"Max Level": 1},
                     "Supply 2": {"Max Level": 2}, "Supply 3": {"Max Level": 3}})"));
  EXPECT_EQ(record[kFirstSupply + 54 + 6], 0);  // the fourth's seventh byte is left alone
}

TEST(SuppliesTable, EndsAtANumberBeyondTheCount) {
  EXPECT_EQ(shown(extract(suppliesRecord(2, {supply(3, {description("Third")})}))),
            json(R"({"Supplies Count": 2})"));
  Bytes record = suppliesRecord(
      3, {supply(3, {description("Third")}), supply(4, {}), supply(1, {description("First")})});
  EXPECT_EQ(shown(extract(record, 0)),
            json(R"({"Supplies Count": 3, "Supply 3": {"Description": "Third"}})"));
  EXPECT_EQ(record[kFirstSupply + 21 + 6], 0);
}

TEST(SuppliesTable, KeepsTheLaterOfTwoSuppliesOfOneNumber) {
  EXPECT_EQ(
      shown(extract(suppliesRecord({supply(2, {description("Earlier"), maxLevel(1)}),
                                    supply(1, {maxLevel(2)}), supply(2, {description("Later")})}))),
      json(R"({"Supplies Count": 3, "Supply 1": {"Max Level": 2},
                     "Supply 2": {"Description": "Later"}})"));
}

// The next supply begins E + 6 behind this one, wherever the reading of the fields stopped.
TEST(SuppliesTable, FindsTheNextSupplyByTheLengthOfThisOne) {
  const Bytes unread = supply(1, {field(17, hex("01 02 03")), maxLevel(100)});
  Bytes shortened = supply(1, {description("Overlapping"), maxLevel(7)});
  put(shortened, 4, u16(6 + 4 + 11));  // as if the description were the last field
  EXPECT_EQ(shown(extract(suppliesRecord({unread, supply(2, {description("Next")})}))),
            json(R"({"Supplies Count": 2, "Supply 1": {}, "Supply 2": {"Description": "Next"}})"));
  // The table's second supply is then the field behind it, a supply 15, which is beyond the count.
  EXPECT_EQ(shown(extract(suppliesRecord({shortened, supply(2, {description("Next")})}))),
            json(R"({"Supplies Count": 2,
                     "Supply 1": {"Description": "Overlapping", "Max Level": 7}})"));
}

TEST(SuppliesTable, MarksEachSupplyThatItReads) {
  Bytes record = suppliesRecord({supply(1, {maxLevel(1)}), supply(2, {maxLevel(2)})});
  const Bytes before = record;
  ASSERT_TRUE(extract(record, 0));
  Bytes marked = before;
  marked[kFirstSupply + 6] = 1;
  marked[kFirstSupply + 18 + 6] = 1;
  EXPECT_EQ(record, marked);
}

TEST(SuppliesTable, LeavesARefusedRecordAsItIs) {
  Bytes record = oneSupply();
  put(record, kCountOfOneSupply, hex("00 00"));
  const Bytes before = record;
  EXPECT_FALSE(extract(record, 0));
  EXPECT_EQ(record, before);
}

// From 255 supplies on, the number that counts them has wrapped and ends nothing; the supplies are
// read to the last one, and not further.
TEST(SuppliesTable, CountsBeyond255) {
  for (const int count : {254, 255, 256, 257, 300}) {
    std::vector<Bytes> supplies;
    for (int i = 1; i <= count + 1; ++i) {
      supplies.push_back(
          supply(static_cast<std::uint8_t>(i % 250), {maxLevel(static_cast<std::uint32_t>(i))}));
    }
    Bytes record = suppliesRecord(static_cast<std::uint16_t>(count), supplies);
    const auto result = extract(record, 0);
    ASSERT_TRUE(result);
    EXPECT_EQ(result->number("Supplies Count"), count);
    const auto levelOf = [&](int i) {
      return result->get<Dictionary>({"Supply", i % 250})->number("Max Level");
    };
    EXPECT_EQ(levelOf(count), count);
    EXPECT_EQ(levelOf(count + 1), count + 1 - 250) << "read beyond the count";
    const auto markOf = [&](int i) {
      return record[kFirstSupply + static_cast<std::size_t>(i - 1) * 18 + 6];
    };
    EXPECT_EQ(markOf(count), 1);
    EXPECT_EQ(markOf(count + 1), 0);
  }
}

// --- The fields of a supply

std::string fieldsOf(const std::vector<Bytes>& fields, std::optional<std::uint16_t> count = {}) {
  Bytes entry = supply(1, fields);
  if (count) put(entry, 8, u16(*count));
  const auto result = extract(suppliesRecord({entry}));
  const auto* supply = result ? result->get<Dictionary>({"Supply", 1}) : nullptr;
  return supply == nullptr ? "none" : shown(*supply);
}

struct Number {
  const char* bytes;
  std::int32_t number;
};

TEST(SuppliesTable, ReadsNumbersByTheirLengths) {
  const std::vector<Number> numbers = {
      {"00", 0},
      {"7F", 127},
      {"FF", 255},
      {"00 64", 100},
      {"FF FF", 65535},
      {"00 00 00 64", 100},
      {"7F FF FF FF", 2147483647},
      {"80 00 00 00", -2147483647 - 1},
      {"FF FF FF FF", -1},
      {"01 02 03 04 05", 16909060},  // the first four bytes
      {"00 00 00 00 00 00 00 01", 0},
  };
  for (const auto& [bytes, number] : numbers) {
    Json expected;
    for (const char* key :
         {"Fixed ID", "Installed ID", "Supply Type", "Max Level", "Current Level"}) {
      expected[key] = number;
    }
    EXPECT_EQ(fieldsOf({field(1, hex(bytes)), field(2, hex(bytes)), field(7, hex(bytes)),
                        field(15, hex(bytes)), field(16, hex(bytes))}),
              expected.dump(2))
        << bytes;
  }
}

// Three bytes are read as four, the fourth being the next field's tag; the next field is 7 bytes
// on.
TEST(SuppliesTable, ReadsFourBytesOfANumberOfThree) {
  EXPECT_EQ(fieldsOf({field(15, hex("00 00 01")), field(16, hex("25"))}),
            json(R"({"Max Level": 272, "Current Level": 37})"));
}

TEST(SuppliesTable, ReadsFourBytesOfANumberOfNone) {
  EXPECT_EQ(fieldsOf({field(1, {}), field(2, hex("00 07"))}),
            json(R"({"Fixed ID": 33619970, "Installed ID": 7})"));  // 02 01 00 02
}

TEST(SuppliesTable, ReadsAnEmptyDescription) {
  EXPECT_EQ(fieldsOf({field(3, {})}), json(R"({"Description": ""})"));
}

TEST(SuppliesTable, ReadsALongDescription) {
  const std::string name(300, 'x');
  EXPECT_EQ(fieldsOf({description(name), maxLevel(1)}),
            json(R"({"Max Level": 1, "Description": ")" + name + "\"}"));
}

struct Text {
  const char* situation;
  Bytes bytes;
  const char* json;  // null: no key
};

// Judged up to the first zero byte, and left out when that is not UTF-8; the field is read, and
// taken from the field count, all the same.
TEST(SuppliesTable, MakesTextOfTheDescription) {
  const std::vector<Text> texts = {
      {"ends at a zero byte", hex("41 00 42"), R"("A")"},
      {"begins with a zero byte", hex("00 41"), R"("")"},
      {"not UTF-8 behind a zero byte", hex("41 00 FF"), R"("A")"},
      {"two, three and four bytes", hex("C3 A9 E2 82 AC F0 9F 96 A8"),
       R"("\u00E9\u20AC\uD83D\uDDA8")"},
      {"the last character", hex("F4 8F BF BF"), R"("\uDBFF\uDFFF")"},
      {"a noncharacter", hex("EF BF BF"), R"("\uFFFF")"},
      {"a leading U+FEFF", hex("EF BB BF 41"), R"("\uFEFFA")"},
      {"Latin-1", hex("E9 41"), nullptr},
      {"cut in a character", hex("41 E2 82"), nullptr},
      {"cut in a character before a zero byte", hex("41 E2 82 00"), nullptr},
      {"overlong", hex("C1 81"), nullptr},
      {"a surrogate", hex("ED BF BF"), nullptr},
      {"above U+10FFFF", hex("F4 90 80 80"), nullptr},
      {"UTF-16", hex("FF FE 41 00"), nullptr},
  };
  for (const Text& text : texts) {
    Json expected = {{"Max Level", 5}};
    if (text.json != nullptr) expected["Description"] = Json::parse(text.json);
    EXPECT_EQ(fieldsOf({field(3, text.bytes), field(6, {}), maxLevel(5)}, 2), expected.dump(2))
        << text.situation;
    expected.erase("Max Level");
    EXPECT_EQ(fieldsOf({field(3, text.bytes), field(6, {}), maxLevel(5)}, 1), expected.dump(2))
        << text.situation;
  }
}

TEST(SuppliesTable, SkipsWhatItDoesNotKnow) {
  EXPECT_EQ(
      fieldsOf({field(1, hex("0A")), field(2, hex("0B")), description("x"), field(4, hex("EE")),
                field(5, {}), longField(6, hex("EE EE")), field(7, hex("0C")), field(8, hex("EE")),
                longField(9, {}), field(10, {}), field(11, {}), field(12, {}), field(13, {}),
                longField(14, hex("EE")), field(15, hex("0D")), field(16, hex("0E"))}),
      json(R"({"Fixed ID": 10, "Installed ID": 11, "Description": "x", "Supply Type": 12,
                     "Max Level": 13, "Current Level": 14})"));
}

TEST(SuppliesTable, SkipsFieldsOfTag0) {
  EXPECT_EQ(
      fieldsOf({field(0, hex("EE")), field(7, hex("01")), longField(0, hex("EE")), maxLevel(5)}),
      json(R"({"Supply Type": 1, "Max Level": 5})"));
}

// A value that would pass for a field is skipped with its own.
TEST(SuppliesTable, SkipsWholeFieldsOfBothForms) {
  const Bytes bait = field(16, hex("63"));
  EXPECT_EQ(fieldsOf({field(5, bait), longField(6, bait), field(8, bait), longField(14, bait),
                      maxLevel(5)}),
            json(R"({"Max Level": 5})"));
}

// A known field goes on by its length in the place of the short form, whatever its form byte says.
TEST(SuppliesTable, DoesNotLookAtTheFormOfAKnownField) {
  std::vector<Bytes> fields = {field(1, hex("0A")), field(2, hex("0B")),  description("x"),
                               field(7, hex("0C")), field(15, hex("0D")), field(16, hex("0E"))};
  const std::string known = fieldsOf(fields);
  for (Bytes& each : fields) each[1] = 0;
  EXPECT_EQ(fieldsOf(fields), known);
}

// Each known field is looked for once, in the order of the tags. One that comes too late is
// skipped, if skipping goes as far as its tag, or ends the reading.
TEST(SuppliesTable, ReadsKnownFieldsInOrderOnly) {
  const Bytes fixedId = field(1, hex("0A"));
  const Bytes installedId = field(2, hex("0B"));
  const Bytes type = field(7, hex("0C"));
  const Bytes max = field(15, hex("0D"));
  const Bytes current = field(16, hex("0E"));
  EXPECT_EQ(fieldsOf({installedId, fixedId, max}),
            json(R"({"Installed ID": 11, "Max Level": 13})"));
  EXPECT_EQ(fieldsOf({fixedId, fixedId, max}), json(R"({"Fixed ID": 10, "Max Level": 13})"));
  EXPECT_EQ(fieldsOf({description("x"), installedId, max}),
            json(R"({"Description": "x", "Max Level": 13})"));
  EXPECT_EQ(fieldsOf({field(4, {}), fixedId, description("x"), max}), json(R"({"Max Level": 13})"));
  EXPECT_EQ(fieldsOf({field(8, {}), type, description("x"), max}), json(R"({"Max Level": 13})"));
  EXPECT_EQ(fieldsOf({type, type, max}), json(R"({"Supply Type": 12, "Max Level": 13})"));
  EXPECT_EQ(fieldsOf({max, type}), json(R"({"Max Level": 13})"));
  EXPECT_EQ(fieldsOf({max, max, current}), json(R"({"Max Level": 13})"));
  EXPECT_EQ(fieldsOf({max, field(0, {}), current}), json(R"({"Max Level": 13})"));
  EXPECT_EQ(fieldsOf({current, max}), json(R"({"Current Level": 14})"));
  EXPECT_EQ(fieldsOf({field(17, {}), max, current}), "{}");
  EXPECT_EQ(fieldsOf({type, field(0xFF, {}), max}), json(R"({"Supply Type": 12})"));
}

// The field count says how many fields may be skipped; known ones use it up, and never need it.
TEST(SuppliesTable, SkipsNoMoreFieldsThanTheEntryCounts) {
  const Bytes known = field(1, hex("0A"));
  const Bytes early = field(5, {});  // skipped before the type
  const Bytes late = field(9, {});   // skipped behind it
  const Bytes max = maxLevel(5);
  const std::string none = "{}";
  const std::string id = json(R"({"Fixed ID": 10})");
  const std::string level = json(R"({"Max Level": 5})");
  const std::string both = json(R"({"Fixed ID": 10, "Max Level": 5})");
  EXPECT_EQ(fieldsOf({early, max}, 0), none);
  EXPECT_EQ(fieldsOf({early, max}, 1), level);
  EXPECT_EQ(fieldsOf({late, max}, 0), none);
  EXPECT_EQ(fieldsOf({late, max}, 1), level);
  EXPECT_EQ(fieldsOf({early, late, max}, 1), none);
  EXPECT_EQ(fieldsOf({early, late, max}, 2), level);
  EXPECT_EQ(fieldsOf({early, early, early, max}, 2), none);
  EXPECT_EQ(fieldsOf({early, early, early, max}, 3), level);
  EXPECT_EQ(fieldsOf({known, max}, 0), both);
  EXPECT_EQ(fieldsOf({known, early, max}, 0), id);
  EXPECT_EQ(fieldsOf({known, early, max}, 1), id);
  EXPECT_EQ(fieldsOf({known, early, max}, 2), both);
  EXPECT_EQ(fieldsOf({early, max}, 256), level);
}

// Every known field takes one from the count, where something is left of it.
TEST(SuppliesTable, TakesEachKnownFieldFromTheCount) {
  const std::vector<Bytes> known = {field(1, hex("0A")), field(2, hex("0B")), description("x"),
                                    field(7, hex("0C"))};
  for (const Bytes& one : known) {
    EXPECT_EQ(extract(suppliesRecord({supply(1, {one, field(9, {}), maxLevel(5)})}))
                  ->get<Dictionary>({"Supply", 1})
                  ->size(),
              2U);
    EXPECT_EQ(Json::parse(fieldsOf({one, field(9, {}), maxLevel(5)}, 1)).size(), 1U);
  }
  EXPECT_EQ(fieldsOf({known[0], known[1], known[2], known[3], field(9, {}), maxLevel(5)}, 2),
            json(R"({"Fixed ID": 10, "Installed ID": 11, "Description": "x", "Supply Type": 12})"));
}

TEST(SuppliesTable, MakesADictionaryOfASupplyWithoutKnownFields) {
  EXPECT_EQ(
      shown(extract(suppliesRecord({supply(1, {field(17, {})}), supply(2, {description("x")})}))),
      json(R"({"Supplies Count": 2, "Supply 1": {}, "Supply 2": {"Description": "x"}})"));
}

// Nothing but the fields themselves says where the last one ends: a supply that is too short for
// its fields has those that follow it in the record.
TEST(SuppliesTable, ReadsFieldsBeyondTheEndOfTheirSupply) {
  const Bytes second = joined({hex("10 01 00 01"), hex("00 06"), hex("00 00 00 00 00 00")});
  EXPECT_EQ(shown(extract(suppliesRecord(16, {supply(1, {maxLevel(8)}), second}))),
            json(R"({"Supplies Count": 16, "Supply 1": {"Max Level": 8, "Current Level": 0},
                     "Supply 16": {}})"));
}

// A supply whose fields end before a known one takes it from the head of the supply that follows,
// where that has the field's tag for a number. The bytes of a head are its number, three that
// nobody looks at, here the form and a length of 1, and the first of its own length, which is the
// value.
TEST(SuppliesTable, TakesTheHeadOfTheNextSupplyForAFieldOfItsNumber) {
  const std::vector<Bytes> known = {field(1, hex("0A")), field(2, hex("0B")), description("x"),
                                    field(7, hex("0C")), field(15, hex("0D"))};
  const std::vector<std::pair<std::uint8_t, const char*>> fields = {
      {1, R"({"Fixed ID": 0})"},
      {2, R"({"Fixed ID": 10, "Installed ID": 0})"},
      {3, R"({"Fixed ID": 10, "Installed ID": 11, "Description": ""})"},
      {7, R"({"Fixed ID": 10, "Installed ID": 11, "Description": "x", "Supply Type": 0})"},
      {15, R"({"Fixed ID": 10, "Installed ID": 11, "Description": "x", "Supply Type": 12,
               "Max Level": 0})"},
      {16, R"({"Fixed ID": 10, "Installed ID": 11, "Description": "x", "Supply Type": 12,
               "Max Level": 13, "Current Level": 0})"}};
  for (std::size_t before = 0; before < fields.size(); ++before) {
    const auto& [tag, expected] = fields[before];
    const Bytes first =
        supply(9, {known.begin(), known.begin() + static_cast<std::ptrdiff_t>(before)});
    const Bytes next = joined({u8(tag), hex("01 00 01"), hex("00 06"), hex("00 00 00 00 00 00")});
    const auto result = extract(suppliesRecord(16, {first, next}));
    EXPECT_EQ(shown(*result->get<Dictionary>({"Supply", 9})), json(expected)) << +tag;
  }
}

// A supply 2 with its two ids and no more, before a supply 3 whose head is as printers send it.
TEST(SuppliesTable, TakesAnEmptyDescriptionFromTheHeadOfASupply3) {
  const Bytes two = supply(2, {field(1, hex("0A")), field(2, hex("0B"))});
  Bytes three = supply(3, {description("x")});
  put(three, 1, hex("00 00 00"));
  EXPECT_EQ(shown(extract(suppliesRecord(3, {two, three}))), json(R"({"Supplies Count": 3,
                     "Supply 2": {"Fixed ID": 10, "Installed ID": 11, "Description": ""},
                     "Supply 3": {"Description": "x"}})"));
}

// --- Records that break off

// Refused without the number of supplies, and from there on whatever is whole.
TEST(SuppliesTable, ReadsWhatIsThereOfARecordThatBreaksOff) {
  const std::vector<std::pair<std::size_t, const char*>> ends = {
      {5, "Fixed ID"},     {10, "Installed ID"}, {19, "Description"},
      {24, "Supply Type"}, {30, "Max Level"},    {36, "Current Level"}};
  ASSERT_EQ(oneSupply().size(), kFieldsOfOneSupply + 36);
  const Json whole = Json::parse(kOneSupply);
  for (std::size_t size = 0; size <= oneSupply().size(); ++size) {
    Json expected;
    if (size >= kCountOfOneSupply + 2) expected["Supplies Count"] = 1;
    if (size >= kFieldsOfOneSupply) expected["Supply 1"] = Json::object();
    for (const auto& [end, key] : ends) {
      if (size >= kFieldsOfOneSupply + end) expected["Supply 1"][key] = whole["Supply 1"][key];
    }
    Bytes record = firstBytes(oneSupply(), size);
    EXPECT_EQ(shown(extract(record, 200)), expected.dump(2)) << size;
    if (size > kFirstSupply + 6) {
      EXPECT_EQ(record[kFirstSupply + 6], size >= kFieldsOfOneSupply ? 1 : 0) << size;
    }
  }
}

// The same at the second supply: the first stands.
TEST(SuppliesTable, KeepsTheSuppliesBeforeOneThatBreaksOff) {
  const Bytes record =
      suppliesRecord({supply(1, {description("x")}), supply(2, {field(1, hex("07"))})});
  const std::size_t second = kFirstSupply + 17;
  ASSERT_EQ(record.size(), second + 17);
  for (std::size_t size = second; size < record.size(); ++size) {
    Json expected = {{"Supplies Count", 2}, {"Supply 1", {{"Description", "x"}}}};
    if (size >= second + 12) expected["Supply 2"] = Json::object();
    Bytes part = firstBytes(record, size);
    EXPECT_EQ(shown(extract(part, 0)), expected.dump(2)) << size;
    EXPECT_EQ(part[kFirstSupply + 6], 1);
    if (size > second + 6) {
      EXPECT_EQ(part[second + 6], size >= second + 12 ? 1 : 0) << size;
    }
  }
}

// How much of a last field must be there: a number's head and its 1, 2 or 4 bytes, a description's
// every byte. What is missing is not made up.
TEST(SuppliesTable, ReadsALastNumberOnlyWhole) {
  struct Last {
    const char* bytes;
    bool isWhole;
  };
  const std::vector<Last> fields = {
      {"10", false},
      {"10 01", false},
      {"10 01 00", false},
      {"10 01 00 01", false},
      {"10 01 00 01 00", true},
      {"10 01 00 02 00", false},
      {"10 01 00 02 00 00", true},
      {"10 01 00 03 00 00 00", false},  // of three bytes, four are read
      {"10 01 00 03 00 00 00 00", true},
      {"10 01 00 04 00 00 00", false},
      {"10 01 00 04 00 00 00 00", true},
      {"10 01 00 00", false},  // of none, four are read
      {"10 01 00 00 00 00 00", false},
      {"10 01 00 00 00 00 00 00", true},
      {"10 01 FF FF 00 00 00 00", true},  // of 65,535, four are read
  };
  for (const Last& last : fields) {
    EXPECT_EQ(
        fieldsOf({field(1, hex("0A")), hex(last.bytes)}),
        json(last.isWhole ? R"({"Fixed ID": 10, "Current Level": 0})" : R"({"Fixed ID": 10})"))
        << last.bytes;
  }
}

TEST(SuppliesTable, ReadsALastDescriptionOnlyWhole) {
  EXPECT_EQ(fieldsOf({hex("03 01 00 02 41 42")}), json(R"({"Description": "AB"})"));
  EXPECT_EQ(fieldsOf({hex("03 01 00 02 41")}), "{}");
  EXPECT_EQ(fieldsOf({hex("03 01 00 02 00")}), "{}");
  EXPECT_EQ(fieldsOf({hex("03 01 00 00")}), json(R"({"Description": ""})"));
  EXPECT_EQ(fieldsOf({hex("03 01 00")}), "{}");
}

// A field that broke off ends the reading of its supply, and not of the table: the next supply may
// lie anywhere before it. Here it lies inside the first supply's description, which is cut.
TEST(SuppliesTable, GoesOnToASupplyThatLiesBeforeTheBreak) {
  const Bytes second = supply(2, {description("Second")});
  Bytes first = supply(1, {joined({hex("03 01 FF FF"), second}), field(17, {})});
  put(first, 4, u16(16 - 6));  // the second supply begins 16 bytes on
  EXPECT_EQ(shown(extract(suppliesRecord({first}))),
            json(R"({"Supplies Count": 1, "Supply 1": {}})"));
  EXPECT_EQ(shown(extract(suppliesRecord(2, {first}))),
            json(R"({"Supplies Count": 2, "Supply 1": {},
                     "Supply 2": {"Description": "Second"}})"));
}

// Of a field that is skipped, only its form and length must be there; its value may break off, and
// then nothing follows.
TEST(SuppliesTable, SkipsALastFieldWhoseHeadIsThere) {
  for (const char* last :
       {"05", "05 01", "05 01 00", "05 01 00 05", "05 01 00 05 EE", "05 00 00 00", "05 00 00 00 00",
        "05 00 00 00 00 05", "05 00 00 00 FF FF EE"}) {
    EXPECT_EQ(fieldsOf({field(1, hex("0A")), hex(last)}), json(R"({"Fixed ID": 10})")) << last;
  }
}

// A record whose fields begin at 73, its end, and may lead back to 44 in a step of 65,536 - 29: an
// element stands there that reads as a field 15.
std::string withALevelAt44(const Bytes& fields) {
  Bytes entry = supply(1, {});
  put(entry, 8, u16(9));  // so many fields may be skipped
  const Bytes record = joined({recordHead(2), field(15, hex("25")), hex("02 00 00 01 EE EE"),
                               hex("08 00 00 01 EE EE"), entry});
  EXPECT_EQ(record.size(), kFieldsOfOneSupply);
  return shown(*extract(joined({record, fields}))->get<Dictionary>({"Supply", 1}));
}

// Of a skipped field no more than its form and length must be there.
TEST(SuppliesTable, FollowsASkippedFieldOfWhichOnlyTheHeadIsThere) {
  const Bytes shortForm = joined({hex("05 01"), u16(65536 - 29 - 4)});
  const Bytes longForm = joined({hex("05 00 EE EE"), u16(65536 - 29 - 6)});
  const std::string level = json(R"({"Max Level": 37})");
  EXPECT_EQ(withALevelAt44(shortForm), level);
  EXPECT_EQ(withALevelAt44(firstBytes(shortForm, 3)), "{}");
  EXPECT_EQ(withALevelAt44(longForm), level);
  EXPECT_EQ(withALevelAt44(firstBytes(longForm, 5)), "{}");
}

// A known field that breaks off ends the reading of its supply. It is not skipped, nor passed by
// its length, though that would lead to another field.
TEST(SuppliesTable, DoesNotFollowAKnownFieldThatBreaksOff) {
  for (const std::uint32_t tag : {1U, 2U, 3U, 7U}) {
    const Bytes head = joined({u8(tag), hex("01"), u16(65536 - 29 - 4)});
    EXPECT_EQ(withALevelAt44(head), "{}") << tag;
    EXPECT_EQ(withALevelAt44(joined({head, hex("00 00 07")})), "{}") << tag;
  }
  const Bytes whole = joined({hex("01 01"), u16(65536 - 29 - 4), hex("00 00 00 07")});
  EXPECT_EQ(withALevelAt44(whole), json(R"({"Fixed ID": 7, "Max Level": 37})"));
}

// --- Records of more than 65,536 bytes: a position that the walk holds wraps at 65,536, what is
// looked at from there does not. In each, "right" stands where the wrap leads, "wrong" behind it.

struct Piece {
  std::size_t offset;
  Bytes bytes;
};

// 70,000 bytes: the head, the pieces, and zeros. The 36 bytes of the head that nobody looks at, 2
// to 37, have room for the end of a walk.
Bytes largeRecord(const std::vector<Piece>& pieces) {
  Bytes record = repeated(0x00, 70'000);
  put(record, 0, recordHead(2));
  put(record, 2, repeated(0x00, 36));
  for (const auto& [offset, bytes] : pieces) put(record, offset, bytes);
  return record;
}

constexpr std::size_t kWrap = 65'536;

// An element or field at `from` that is skipped, long form, and leads to `to`.
Piece leap(std::uint8_t tag, std::size_t from, std::size_t to) {
  const std::size_t distance = (to + kWrap - from) % kWrap;
  return {from, joined({u8(tag), hex("00 EE EE"), u16(static_cast<std::uint32_t>(distance - 6))})};
}
Piece shortLeap(std::uint8_t tag, std::size_t from, std::size_t to) {
  const std::size_t distance = (to + kWrap - from) % kWrap;
  return {from, joined({u8(tag), hex("01"), u16(static_cast<std::uint32_t>(distance - 4))})};
}

Bytes group(std::uint16_t children) { return joined({hex("02 00"), u16(children), hex("00 00")}); }
Bytes table(std::uint16_t supplies) { return joined({hex("08 00"), u16(supplies), hex("00 00")}); }
Bytes named(const char* name) { return supply(1, {description(name)}); }

constexpr const char* kRight = R"({"Supplies Count": 1, "Supply 1": {"Description": "right"}})";

TEST(LargeSuppliesTable, WrapsOnTheWayToTheGroup) {
  const Bytes right = joined({group(0), table(1), named("right")});
  const Bytes wrong = joined({group(0), table(1), named("wrong")});
  for (const Piece& first : {leap(9, 44, 4), shortLeap(9, 44, 4)}) {
    EXPECT_EQ(shown(extract(largeRecord({first, {4, right}, {kWrap + 4, wrong}}))), json(kRight));
  }
}

TEST(LargeSuppliesTable, WrapsFromTheGroupToItsFirstChild) {
  EXPECT_EQ(shown(extract(largeRecord({leap(9, 44, 65'532),
                                       {65'532, group(0)},
                                       {2, joined({table(1), named("right")})},
                                       {kWrap + 2, joined({table(1), named("wrong")})}}))),
            json(kRight));
}

TEST(LargeSuppliesTable, WrapsOnTheWayToTheTable) {
  const Bytes right = joined({table(1), named("right")});
  const Bytes wrong = joined({table(1), named("wrong")});
  for (const Piece& child : {leap(9, 50, 4), shortLeap(9, 50, 4)}) {
    EXPECT_EQ(shown(extract(largeRecord({{44, group(1)}, child, {4, right}, {kWrap + 4, wrong}}))),
              json(kRight));
  }
}

TEST(LargeSuppliesTable, WrapsFromTheTableToItsFirstSupply) {
  EXPECT_EQ(shown(extract(largeRecord({{44, group(1)},
                                       leap(9, 50, 65'532),
                                       {65'532, table(1)},
                                       {2, named("right")},
                                       {kWrap + 2, named("wrong")}}))),
            json(kRight));
}

TEST(LargeSuppliesTable, WrapsFromASupplyToTheNext) {
  Bytes first = supply(2, {});
  put(first, 4, u16(kWrap + 4 - 56 - 6));
  EXPECT_EQ(shown(extract(largeRecord({{44, group(0)},
                                       {50, table(2)},
                                       {56, first},
                                       {4, named("right")},
                                       {kWrap + 4, named("wrong")}}))),
            json(R"({"Supplies Count": 2, "Supply 2": {}, "Supply 1": {"Description": "right"}})"));
}

TEST(LargeSuppliesTable, WrapsFromTheHeadOfASupplyToItsFields) {
  EXPECT_EQ(shown(extract(largeRecord({{44, group(1)},
                                       leap(9, 50, 65'524),
                                       {65'524, table(1)},
                                       {65'530, supply(1, {})},
                                       {6, description("right")},
                                       {kWrap + 6, description("wrong")}}))),
            json(kRight));
}

// Fields begin at 68 here.
Bytes recordWithFields(const std::vector<Piece>& fields) {
  Bytes head = supply(1, {});
  put(head, 8, u16(100));  // enough fields may be skipped
  std::vector<Piece> pieces = {{44, group(0)}, {50, table(1)}, {56, head}};
  pieces.insert(pieces.end(), fields.begin(), fields.end());
  return largeRecord(pieces);
}

TEST(LargeSuppliesTable, WrapsFromAFieldToTheNext) {
  const auto shownFields = [](const std::vector<Piece>& fields) {
    return shown(*extract(recordWithFields(fields))->get<Dictionary>({"Supply", 1}));
  };
  // Known fields of a length that leads to 4 are read at their places.
  const Bytes far = u16(kWrap + 4 - 68 - 4);
  EXPECT_EQ(shownFields({{68, joined({hex("01 01"), far, hex("00 00 00 07")})},
                         {4, description("right")},
                         {kWrap + 4, description("wrong")}}),
            json(R"({"Fixed ID": 7, "Description": "right"})"));
  EXPECT_EQ(shownFields({{68, joined({hex("02 01"), far, hex("00 00 00 07")})},
                         {4, description("right")},
                         {kWrap + 4, description("wrong")}}),
            json(R"({"Installed ID": 7, "Description": "right"})"));
  EXPECT_EQ(shownFields({{68, joined({hex("03 01"), far, bytesOf("long")})},
                         {4, field(7, hex("01"))},
                         {kWrap + 4, field(7, hex("02"))}}),
            json(R"({"Description": "long", "Supply Type": 1})"));
  EXPECT_EQ(shownFields({{68, joined({hex("07 01"), far, hex("00 00 00 07")})},
                         {4, maxLevel(1)},
                         {kWrap + 4, maxLevel(2)}}),
            json(R"({"Supply Type": 7, "Max Level": 1})"));
  EXPECT_EQ(shownFields({{68, joined({hex("0F 01"), far, hex("00 00 00 07")})},
                         {4, field(16, hex("01"))},
                         {kWrap + 4, field(16, hex("02"))}}),
            json(R"({"Max Level": 7, "Current Level": 1})"));
  // Fields that are skipped, in both stages and both forms.
  for (const std::uint8_t tag : {std::uint8_t{5}, std::uint8_t{9}}) {
    for (const Piece& first : {leap(tag, 68, 4), shortLeap(tag, 68, 4)}) {
      EXPECT_EQ(shownFields({first, {4, maxLevel(1)}, {kWrap + 4, maxLevel(2)}}),
                json(R"({"Max Level": 1})"));
    }
  }
}

// Numbers that are looked at from a position before 65,536 lie behind it, and not at the front,
// where the marker reads 1234.
TEST(LargeSuppliesTable, DoesNotWrapWhatItLooksAtFromAPosition) {
  // A group at 65,534: its count of children, at 65,536, is 0, so that no child is skipped.
  EXPECT_EQ(
      shown(extract(largeRecord(
          {leap(9, 44, 65'534), {65'534, group(0)}, {4, joined({hex("09 01 00 00"), table(1)})}}))),
      "null");
  // A table there: its count of supplies.
  EXPECT_EQ(shown(extract(largeRecord(
                {{44, group(1)}, leap(9, 50, 65'534), {65'534, table(1)}, {4, named("right")}}))),
            json(kRight));
  // Elements and fields that are skipped there, with their forms and lengths.
  for (std::size_t place = 65'530; place <= 65'535; ++place) {
    for (const Piece& skipped : {leap(9, place, 4), shortLeap(9, place, 4)}) {
      EXPECT_EQ(
          shown(extract(largeRecord(
              {leap(9, 44, place), skipped, {4, joined({group(0), table(1), named("right")})}}))),
          json(kRight))
          << place;
      EXPECT_EQ(shown(extract(recordWithFields({leap(5, 68, place), skipped, {4, maxLevel(37)}}))),
                json(R"({"Supplies Count": 1, "Supply 1": {"Max Level": 37}})"))
          << place;
    }
  }
  // Fields there, at each place where a part of their heads is behind 65,536.
  for (const std::size_t place : {65'532U, 65'533U, 65'534U, 65'535U}) {
    EXPECT_EQ(shown(extract(recordWithFields({leap(5, 68, place), {place, maxLevel(37)}}))),
              json(R"({"Supplies Count": 1, "Supply 1": {"Max Level": 37}})"))
        << place;
  }
  for (const std::size_t place : {65'532U, 65'533U, 65'534U, 65'535U}) {
    // By way of a fixed id, since nothing is skipped before a description.
    const Bytes id = joined({hex("01 01"), u16(static_cast<std::uint32_t>(place - 68 - 4))});
    EXPECT_EQ(shown(extract(recordWithFields({{68, id}, {place, description("right")}}))),
              json(R"({"Supplies Count": 1, "Supply 1": {"Fixed ID": 0, "Description": "right"}})"))
        << place;
  }
}

TEST(LargeSuppliesTable, DoesNotWrapTheHeadOfASupply) {
  for (std::size_t place = 65'526; place <= 65'535; ++place) {
    Bytes head = supply(1, {});
    put(head, 4, u16(static_cast<std::uint32_t>(kWrap + 22 - place - 6)));  // leads to 22
    put(head, 8, u16(1));  // one field may be skipped
    Bytes record = largeRecord({{44, group(1)},
                                leap(9, 50, place - 6),
                                {place - 6, table(2)},
                                {place, head},
                                {place + 12 - kWrap, joined({field(5, {}), maxLevel(37)})},
                                {22, supply(2, {})}});
    Bytes marked = record;
    marked[place + 6] = 1;
    marked[22 + 6] = 1;
    EXPECT_EQ(shown(extract(record, 0)),
              json(R"({"Supplies Count": 2, "Supply 1": {"Max Level": 37}, "Supply 2": {}})"))
        << place;
    EXPECT_EQ(record, marked) << place;
  }
}

// --- Walks that would never end

TEST(EndlessSuppliesTable, EndsAfterAsManyElementsAsAreCounted) {
  const Bytes circle = hex("09 01 FF FC");  // 65,536 bytes long: the next element is this one
  EXPECT_EQ(shown(extract(joined({recordHead(0xFFFF), circle}))), "null");
  EXPECT_EQ(shown(extract(joined({recordHead(2), group(0xFFFF), circle}))), "null");
}

// A supply whose successor is itself is read as often as supplies are counted.
TEST(EndlessSuppliesTable, EndsAfterAsManySuppliesAsAreCounted) {
  for (const int count : {1, 254, 255, 256, 65'535}) {
    Bytes circle = supply(1, {description("x")});
    put(circle, 4, u16(kWrap - 6));
    const auto result = extract(suppliesRecord(static_cast<std::uint16_t>(count), {circle}));
    EXPECT_EQ(shown(result), json(R"({"Supplies Count": )" + std::to_string(count) +
                                  R"(, "Supply 1": {"Description": "x"}})"));
  }
}

// Fields that are skipped for ever, 65,535 times in a supply that is read 65,535 times: 77 bytes
// ask for four thousand million skips.
TEST(EndlessSuppliesTable, EndsASupplyWhoseFieldsGoInCircles) {
  Bytes circle = supply(1, {hex("05 01 FF FC")});
  put(circle, 4, u16(kWrap - 6));
  put(circle, 8, hex("FF FF"));
  EXPECT_EQ(shown(extract(suppliesRecord(0xFFFF, {circle}))),
            json(R"({"Supplies Count": 65535, "Supply 1": {}})"));
}

// 256 supplies skip 65,535 fields each, which leaves 256 of the 16,777,216 that are allowed. The
// field of tag 5 that each of them has leads to itself.
std::vector<Bytes> suppliesThatLeave256Skips() {
  Bytes circle = supply(0, {hex("05 01 FF FC")});
  put(circle, 8, hex("FF FF"));
  return {256, circle};
}

Bytes supplyThatSkips(std::uint8_t number, int count) {
  std::vector<Bytes> fields(static_cast<std::size_t>(count), field(5, {}));
  fields.insert(fields.begin(), field(1, u8(number)));
  fields.push_back(maxLevel(5));
  return supply(number, fields);
}

TEST(EndlessSuppliesTable, Skips16777216FieldsOfARecord) {
  std::vector<Bytes> supplies = suppliesThatLeave256Skips();
  supplies.push_back(supplyThatSkips(1, 256));  // the last ones that are allowed
  supplies.push_back(supplyThatSkips(2, 0));    // needs none
  supplies.push_back(supplyThatSkips(3, 1));    // one too many
  supplies.push_back(supplyThatSkips(4, 0));    // is not reached
  EXPECT_EQ(shown(extract(suppliesRecord(supplies))),
            json(R"({"Supplies Count": 260, "Supply 0": {},
                     "Supply 1": {"Fixed ID": 1, "Max Level": 5},
                     "Supply 2": {"Fixed ID": 2, "Max Level": 5},
                     "Supply 3": {"Fixed ID": 3}})"));
}

TEST(EndlessSuppliesTable, CountsSkipsBehindTheSupplyTypeToo) {
  Bytes circle = supply(0, {hex("09 01 FF FC")});
  put(circle, 8, hex("FF FF"));
  std::vector<Bytes> supplies(256, circle);
  supplies.push_back(supplyThatSkips(1, 257));
  supplies.push_back(supplyThatSkips(2, 0));
  EXPECT_EQ(shown(extract(suppliesRecord(supplies))),
            json(R"({"Supplies Count": 258, "Supply 0": {}, "Supply 1": {"Fixed ID": 1}})"));
}

}  // namespace
}  // namespace moxsupply::testing
