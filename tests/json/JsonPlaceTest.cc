#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <string>
#include <string_view>

#include "json/JsonMistake.h"
#include "json/JsonPlace.h"
#include "tests/support/Hex.h"

namespace moxsupply::testing {
namespace {

using Json = nlohmann::json;

// What a reader of a document is told; "" when nothing is wrong.
std::string complaintAbout(const Json& document,
                           const std::function<void(const JsonPlace& place)>& read) {
  try {
    read(JsonPlace(document));
    return "";
  } catch (const JsonMistake& mistake) {
    return mistake.what();
  }
}

std::string expectingNumber(const Json& value, std::uint32_t least, std::uint32_t most) {
  return complaintAbout(
      value, [&](const JsonPlace& place) { static_cast<void>(place.number(least, most)); });
}

std::string expectingText(const Json& value, std::size_t longest) {
  return complaintAbout(value,
                        [&](const JsonPlace& place) { static_cast<void>(place.text(longest)); });
}

std::string expectingHex(const Json& value, std::size_t longest = 100) {
  return complaintAbout(value,
                        [&](const JsonPlace& place) { static_cast<void>(place.hex(longest)); });
}

TEST(JsonPlace, GivesTheValuesThatAreThere) {
  const Json document = Json::parse(R"({"n": 7, "t": "x", "yes": true, "list": [1, 2], "o": {}})");
  const JsonPlace place(document);
  EXPECT_EQ(place.at("n").number(0, 10), 7U);
  EXPECT_EQ(place.at("t").text(), "x");
  EXPECT_TRUE(place.at("yes").truth());
  EXPECT_EQ(place.at("list").elements().at(1).number(0, 10), 2U);
  EXPECT_FALSE(place.find("nothing"));
  EXPECT_TRUE(place.at("n").isNumber());
  EXPECT_TRUE(place.at("t").isText());
  EXPECT_TRUE(place.at("o").isObject());
  EXPECT_FALSE(place.at("list").isObject());
}

TEST(JsonPlace, IsNamedInEachComplaint) {
  const Json document = Json::parse(R"({"list": [0, {"key": "x"}], "a/b": "x", "~": "x"})");
  EXPECT_EQ(
      complaintAbout(document,
                     [](const JsonPlace& place) {
                       static_cast<void>(place.at("list").elements().at(1).at("key").number(1, 2));
                     }),
      "/list/1/key: expected a whole number from 1 to 2, not \"x\"");
  EXPECT_EQ(
      complaintAbout(document,
                     [](const JsonPlace& place) { static_cast<void>(place.at("a/b").truth()); }),
      "/a~1b: expected true or false, not \"x\"");
  EXPECT_EQ(
      complaintAbout(document, [](const JsonPlace& place) { place.at("~").expected("a pause"); }),
      "/~0: expected a pause, not \"x\"");
}

TEST(JsonPlace, OfTheWholeDocumentHasNoName) {
  EXPECT_EQ(expectingText(7, 1), "expected a text, not 7");
}

TEST(JsonPlace, ShowsWhatStandsThereInShort) {
  EXPECT_EQ(expectingText(Json::parse(R"({"a": 1})"), 1), "expected a text, not an object");
  EXPECT_EQ(expectingText(Json::parse("[1, 2]"), 1), "expected a text, not a list");
  EXPECT_EQ(expectingText(nullptr, 1), "expected a text, not null");
  EXPECT_EQ(expectingNumber(std::string(58, 'x'), 0, 1),
            "expected a whole number from 0 to 1, not \"" + std::string(58, 'x') + '"');
  EXPECT_EQ(expectingNumber(std::string(59, 'x'), 0, 1),
            "expected a whole number from 0 to 1, not \"" + std::string(59, 'x') + "...");
  EXPECT_EQ(expectingNumber("\x1B[2J\n\xFF", 0, 1),
            "expected a whole number from 0 to 1, not \"\\u001b[2J\\n\\ufffd\"");
}

TEST(JsonPlace, KnowsTheKeysThatMayBeThere) {
  const auto expectAOrB = [](const JsonPlace& place) {
    constexpr std::array<std::string_view, 2> kKeys = {"a", "b"};
    place.expectKeys(kKeys);
  };
  EXPECT_EQ(complaintAbout(Json::parse(R"({"a": 1})"), expectAOrB), "");
  EXPECT_EQ(complaintAbout(Json::parse("{}"), expectAOrB), "");
  EXPECT_EQ(complaintAbout(Json::parse(R"({"a": 1, "c": 2})"), expectAOrB),
            "/c: unknown key; expected one of: a, b");
  EXPECT_EQ(complaintAbout(Json::parse("[]"), expectAOrB), "expected an object, not a list");
}

TEST(JsonPlace, MissesAKeyThatMustBeThere) {
  const auto expectKey = [](const JsonPlace& place) { static_cast<void>(place.at("key")); };
  EXPECT_EQ(complaintAbout(Json::parse("{}"), expectKey), "expected the key \"key\"");
  EXPECT_EQ(complaintAbout(Json("text"), expectKey), "expected an object, not \"text\"");
}

TEST(JsonPlace, HasElementsOnlyInAList) {
  EXPECT_EQ(complaintAbout(Json::parse("{}"),
                           [](const JsonPlace& place) { static_cast<void>(place.elements()); }),
            "expected a list, not an object");
}

TEST(NumberInJson, IsAWholeOneWithinItsBounds) {
  for (const std::uint32_t number : {5U, 6U, 4294967295U}) {
    EXPECT_EQ(expectingNumber(number, 5, 4294967295U), "") << number;
  }
  EXPECT_EQ(expectingNumber(4, 5, 9), "expected a whole number from 5 to 9, not 4");
  EXPECT_EQ(expectingNumber(10, 5, 9), "expected a whole number from 5 to 9, not 10");
  for (const char* other : {"-1", "-0", "1.0", "1e0", "0.5", "4294967296", "18446744073709551616",
                            "\"1\"", "true", "null"}) {
    EXPECT_NE(expectingNumber(Json::parse(other), 0, 4294967295U), "") << other;
  }
}

TEST(TextInJson, IsAtMostSoLong) {
  EXPECT_EQ(expectingText("", 0), "");
  EXPECT_EQ(expectingText("abc", 3), "");
  EXPECT_EQ(expectingText("abcd", 3), "expected a text of at most 3 bytes, not \"abcd\"");
  EXPECT_EQ(expectingText("\u00e4\u00e4", 3),
            "expected a text of at most 3 bytes, not \"\\u00e4\\u00e4\"");
}

TEST(HexInJson, IsPairsOfDigitsWithBlanksBetween) {
  const auto bytesIn = [](const char* text) {
    const Json value = text;
    return hexText(JsonPlace(value).hex(100));
  };
  EXPECT_EQ(bytesIn("A5 00 fF"), "A5 00 FF");
  EXPECT_EQ(bytesIn("A500fF"), "A5 00 FF");
  EXPECT_EQ(bytesIn("  A5   00 "), "A5 00");
  EXPECT_EQ(bytesIn(""), "");
}

TEST(HexInJson, IsNothingElse) {
  for (const char* text : {"A", "A5 0", "A 5", "A5 0 0", "0x05", "G0", "0G", "+5", "-5", "A5,00",
                           "A5\n00", "A5\t00"}) {
    EXPECT_EQ(expectingHex(text),
              "expected bytes as pairs of hex digits, such as \"A5 00\", not " + Json(text).dump());
  }
  EXPECT_EQ(expectingHex(5), "expected bytes as pairs of hex digits, such as \"A5 00\", not 5");
}

TEST(HexInJson, IsAtMostSoManyBytes) {
  EXPECT_EQ(expectingHex("A5 00", 2), "");
  EXPECT_EQ(expectingHex("A5 00 01", 2), "expected at most 2 bytes, not \"A5 00 01\"");
}

TEST(OneLine, HasNothingButPrintableAscii) {
  EXPECT_EQ(asOneLine("a b~"), "a b~");
  EXPECT_EQ(asOneLine("a\nb\x1B[2J\x7F\u00e4"), "a?b?[2J???");
  EXPECT_EQ(asOneLine(std::string("a\0b", 3)), "a?b");
}

}  // namespace
}  // namespace moxsupply::testing
