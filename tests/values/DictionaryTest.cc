#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "tests/support/DictionaryJson.h"
#include "values/Dictionary.h"

namespace moxsupply::testing {
namespace {

TEST(Key, OfAWordReadsAsTheWord) { EXPECT_EQ(Key("Supplies Count").text(), "Supplies Count"); }

TEST(Key, OfAWordAndANumberReadsAsBothWithASpaceBetween) {
  EXPECT_EQ(Key("Supply", 1).text(), "Supply 1");
  EXPECT_EQ(Key("Supply", 255).text(), "Supply 255");
  EXPECT_EQ(Key("Supply", -1).text(), "Supply -1");
}

TEST(Key, OfANumberReadsAsTheNumber) {
  EXPECT_EQ(Key(3).text(), "3");
  EXPECT_EQ(Key(0).text(), "0");
  EXPECT_EQ(Key(std::numeric_limits<std::int32_t>::min()).text(), "-2147483648");
}

TEST(Key, FromATableEqualsTheLiteral) {
  const std::string_view word = "kPrintHead";
  EXPECT_EQ(Key::fromTable(word), Key("kPrintHead"));
  EXPECT_EQ(Key::fromTable(word).text(), "kPrintHead");
}

TEST(Key, ComparesTheLettersAndNotThePlaceOfTheWord) {
  const std::string one = "Description";
  const std::string other = "Description";
  EXPECT_EQ(Key::fromTable(one), Key::fromTable(other));
}

TEST(Key, DiffersInWordNumberAndKind) {
  EXPECT_NE(Key("Supply", 1), Key("Supply", 2));
  EXPECT_NE(Key("Supply", 1), Key("Cartridge", 1));
  EXPECT_NE(Key("Supply", 1), Key(1));
  EXPECT_NE(Key("Supply", 0), Key("Supply"));
  EXPECT_NE(Key("Supply"), Key("supply"));
  EXPECT_NE(Key(0), Key(1));
  EXPECT_NE(Key(0), Key::fromTable(""));
}

TEST(Dictionary, IsEmptyAtFirst) {
  const Dictionary dictionary;
  EXPECT_TRUE(dictionary.empty());
  EXPECT_EQ(dictionary.size(), 0U);
  EXPECT_EQ(dictionary.begin(), dictionary.end());
  EXPECT_EQ(dictionary.find("SupplyCount"), nullptr);
}

TEST(Dictionary, GivesBackEachTypeOfValue) {
  Dictionary nested;
  nested.set("SupplyName", "Black");
  Dictionary dictionary;
  dictionary.set("Max Level", -5);
  dictionary.set("Description", "Toner");
  dictionary.set("kPrintHead", Bytes{0x02, 0x00});
  dictionary.set({"Supply", 1}, nested);

  EXPECT_EQ(*dictionary.get<std::int32_t>("Max Level"), -5);
  EXPECT_EQ(*dictionary.get<std::string>("Description"), "Toner");
  EXPECT_EQ(*dictionary.get<Bytes>("kPrintHead"), (Bytes{0x02, 0x00}));
  EXPECT_EQ(*dictionary.get<Dictionary>({"Supply", 1}), nested);
  EXPECT_EQ(dictionary.size(), 4U);
  EXPECT_FALSE(dictionary.empty());
}

TEST(Dictionary, GivesNothingForAnotherType) {
  Dictionary dictionary;
  dictionary.set("Max Level", 7);
  EXPECT_EQ(dictionary.get<std::string>("Max Level"), nullptr);
  EXPECT_EQ(dictionary.get<Bytes>("Max Level"), nullptr);
  EXPECT_EQ(dictionary.get<Dictionary>("Max Level"), nullptr);
  EXPECT_TRUE(dictionary.contains("Max Level"));
}

TEST(Dictionary, GivesNothingForAKeyThatIsNotThere) {
  Dictionary dictionary;
  dictionary.set({"Supply", 1}, 7);
  EXPECT_EQ(dictionary.get<std::int32_t>({"Supply", 2}), nullptr);
  EXPECT_EQ(dictionary.get<std::int32_t>("Supply"), nullptr);
  EXPECT_EQ(dictionary.get<std::int32_t>(Key(1)), nullptr);
  EXPECT_FALSE(dictionary.contains("Supply"));
}

TEST(Dictionary, CountsAsZeroWhatIsNoNumber) {
  Dictionary dictionary;
  dictionary.set("Current Level", 12);
  dictionary.set("Description", "12");
  EXPECT_EQ(dictionary.number("Current Level"), 12);
  EXPECT_EQ(dictionary.number("Description"), 0);
  EXPECT_EQ(dictionary.number("Max Level"), 0);
}

TEST(Dictionary, ReplacesAValueAlsoByOneOfAnotherType) {
  Dictionary dictionary;
  dictionary.set("kFirstCartID", Bytes{0x30});
  dictionary.set("kPrintHead", Bytes{0x00});
  dictionary.set("kFirstCartID", 4);
  EXPECT_EQ(shown(dictionary), json(R"({"kFirstCartID": 4, "kPrintHead": ["00"]})"));
}

TEST(Dictionary, KeepsTheOrderInWhichKeysWereFirstSet) {
  Dictionary dictionary;
  dictionary.set("b", 1);
  dictionary.set("a", 2);
  dictionary.set("c", 3);
  dictionary.set("b", 4);
  std::vector<std::string> keys;
  for (const auto& entry : dictionary) keys.push_back(entry.key.text());
  EXPECT_THAT(keys, ::testing::ElementsAre("b", "a", "c"));
}

TEST(Dictionary, TakesWhatIsAddedAsWhatIsSet) {
  Dictionary added;
  added.add("Description", std::string("Black"));
  added.add({"Supply", 3}, std::int32_t{7});
  Dictionary set;
  set.set("Description", std::string("Black"));
  set.set({"Supply", 3}, std::int32_t{7});
  EXPECT_EQ(added, set);
  EXPECT_EQ(added.begin()->key, Key("Description"));
}

#ifndef NDEBUG
TEST(DictionaryDeathTest, AddsNoKeyTwice) {
  Dictionary dictionary;
  dictionary.add("Description", std::int32_t{1});
  EXPECT_DEATH(dictionary.add("Description", std::int32_t{2}), "contains");
}
#endif

TEST(Dictionary, ChangesThroughAPointer) {
  Dictionary dictionary;
  dictionary.set(Key(3), Dictionary());
  dictionary.get<Dictionary>(Key(3))->set("Max Level", 9);
  dictionary.set("Supplies Count", 1);
  *dictionary.find("Supplies Count") = "one";
  EXPECT_EQ(shown(dictionary), json(R"({"#3": {"Max Level": 9}, "Supplies Count": "one"})"));
}

TEST(Dictionary, LosesARemovedEntryAndNoOther) {
  Dictionary dictionary;
  dictionary.set("kFirstCartID", 1);
  dictionary.set("kSecondCartID", 2);
  dictionary.set("kThirdCartID", 3);
  dictionary.remove("kSecondCartID");
  dictionary.remove("kFourthCartID");
  EXPECT_EQ(shown(dictionary), json(R"({"kFirstCartID": 1, "kThirdCartID": 3})"));
  EXPECT_EQ(dictionary.size(), 2U);
}

TEST(Dictionary, TakesAnEntryAgainAfterItsRemoval) {
  Dictionary dictionary;
  dictionary.set("a", 1);
  dictionary.remove("a");
  dictionary.set("a", 2);
  EXPECT_EQ(dictionary.number("a"), 2);
  EXPECT_EQ(dictionary.size(), 1U);
}

TEST(Dictionary, StoresACopyOfOneOfItsOwnValues) {
  Dictionary dictionary;
  dictionary.set("a", std::string(100, 'x'));
  dictionary.set("b", *dictionary.find("a"));
  EXPECT_EQ(*dictionary.get<std::string>("b"), std::string(100, 'x'));
}

TEST(Dictionary, DoesNotMoveItsEntriesAfterMakingRoom) {
  Dictionary dictionary;
  dictionary.reserve(3);
  dictionary.set("a", 1);
  const Value* first = dictionary.find("a");
  dictionary.set("b", 2);
  dictionary.set("c", 3);
  EXPECT_EQ(dictionary.find("a"), first);
  EXPECT_EQ(dictionary.size(), 3U);
}

TEST(Dictionary, IsACopyOfItsOwn) {
  Dictionary one;
  one.set("a", 1);
  Dictionary other = one;
  other.set("a", 2);
  EXPECT_EQ(one.number("a"), 1);
}

TEST(Dictionary, EqualsOneThatWasSetInAnotherOrder) {
  Dictionary one;
  one.set("a", 1);
  one.set("b", "2");
  Dictionary other;
  other.set("b", "2");
  other.set("a", 1);
  EXPECT_EQ(one, other);
}

TEST(Dictionary, DiffersInAValueAKeyOrASize) {
  Dictionary one;
  one.set("a", 1);
  Dictionary otherValue;
  otherValue.set("a", 2);
  Dictionary otherType;
  otherType.set("a", "1");
  Dictionary otherKey;
  otherKey.set("b", 1);
  Dictionary larger = one;
  larger.set("b", 1);
  EXPECT_NE(one, otherValue);
  EXPECT_NE(one, otherType);
  EXPECT_NE(one, otherKey);
  EXPECT_NE(one, larger);
  EXPECT_NE(larger, one);
}

TEST(Dictionary, DiffersInANestedValue) {
  Dictionary one;
  one.set({"Supply", 1}, Dictionary());
  one.get<Dictionary>({"Supply", 1})->set("Max Level", 1);
  Dictionary other = one;
  EXPECT_EQ(one, other);
  other.get<Dictionary>({"Supply", 1})->set("Max Level", 2);
  EXPECT_NE(one, other);
}

}  // namespace
}  // namespace moxsupply::testing
