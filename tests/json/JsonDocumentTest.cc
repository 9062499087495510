#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "json/JsonDocument.h"
#include "json/JsonMistake.h"

namespace moxsupply::testing {
namespace {

// What is wrong with a text: "LINE:COLUMN: WHAT" where it is no JSON, or the mistake; "" for
// nothing.
std::string wrongWith(std::string_view text) {
  try {
    static_cast<void>(parseJsonDocument(text));
    return "";
  } catch (const JsonSyntaxMistake& mistake) {
    return fmt::format("{}:{}: {}", mistake.line(), mistake.column(), mistake.what());
  } catch (const JsonMistake& mistake) {
    return mistake.what();
  }
}

// Its place alone.
std::string placeOfMistake(std::string_view text) {
  const std::string wrong = wrongWith(text);
  return wrong.substr(0, wrong.find(": "));
}

TEST(JsonDocument, HoldsWhatIsWritten) {
  EXPECT_EQ(parseJsonDocument(R"({"a": [1, -2, true, null, "\u00e4\n"], "b": {}})").dump(),
            "{\"a\":[1,-2,true,null,\"\u00e4\\n\"],\"b\":{}}");
  EXPECT_EQ(parseJsonDocument(" 7 \n").dump(), "7");
}

TEST(JsonDocument, TellsTheLineAndTheColumnAtWhichItIsNoJson) {
  EXPECT_EQ(placeOfMistake("x"), "1:1");
  EXPECT_EQ(placeOfMistake("[1 2]"), "1:4");
  EXPECT_EQ(placeOfMistake("[1,\n  2,\n  ?]"), "3:3");
  EXPECT_EQ(placeOfMistake("{\"a\": 1,\n}"), "2:1");
  EXPECT_EQ(placeOfMistake("{\n\"a\" 1}"), "2:5");
  EXPECT_EQ(placeOfMistake("[1]\n[2]"), "2:1");    // more than one document
  EXPECT_EQ(placeOfMistake("[\r\n\t01]"), "2:3");  // a line ends with its line feed
  EXPECT_EQ(placeOfMistake("[\"\xC3\"]"), "1:4");  // no UTF-8
  EXPECT_EQ(placeOfMistake("[\"a\nb\"]"), "1:4");  // a text does not go over a line's end
  EXPECT_EQ(placeOfMistake("[1] // why"), "1:5");  // no comments
}

TEST(JsonDocument, TellsWhereItEndsTooEarly) {
  EXPECT_EQ(placeOfMistake(""), "1:1");
  EXPECT_EQ(placeOfMistake("[1,\n"), "2:1");
  EXPECT_EQ(placeOfMistake("{\"a"), "1:4");
}

TEST(JsonDocument, SaysWhatItFoundWithoutThePlaceOfTheLibrary) {
  EXPECT_EQ(wrongWith("[1 2]").find("1:4: "), 0U);
  EXPECT_EQ(wrongWith("[1 2]").find("parse error"), std::string::npos) << wrongWith("[1 2]");
  EXPECT_NE(wrongWith("[1 2]").find("unexpected number"), std::string::npos) << wrongWith("[1 2]");
}

TEST(JsonDocument, HasNoKeyTwiceInAnObject) {
  EXPECT_EQ(wrongWith(R"({"a": 1, "b": 2, "a": 3})"), "/a: this key stands twice");
  EXPECT_EQ(wrongWith(R"({"a": {}, "\u0061": 3})"), "/a: this key stands twice");
  EXPECT_EQ(wrongWith(R"({"list": [1, {"b": {"c": [], "c": []}}]})"),
            "/list/1/b/c: this key stands twice");
  EXPECT_EQ(wrongWith(R"([[], [], {"x": 1, "x": 1}])"), "/2/x: this key stands twice");
  EXPECT_EQ(wrongWith(R"({"a/b": 1, "a/b": 1})"), "/a~1b: this key stands twice");
}

TEST(JsonDocument, MayHaveAKeyInEachOfItsObjects) {
  EXPECT_EQ(wrongWith(R"({"a": {"a": [{"a": 1}, {"a": 2}]}, "b": {"a": 3}})"), "");
}

TEST(JsonDocument, KeepsTheDigitsOfEveryNumber) {
  const std::string numbers =
      "[0,-0,7,-7,1.10,1e400,-1E-400,0.0,18446744073709551615,18446744073709551616,"
      "-9223372036854775809,123456789012345678901234567890]";
  EXPECT_EQ(documentAsJson(parseJsonDocument(numbers)), numbers);
  EXPECT_TRUE(parseJsonDocument("18446744073709551615").is_number_unsigned());
}

TEST(JsonDocument, IsWrittenAsAsciiOnOneLine) {
  EXPECT_EQ(
      documentAsJson(parseJsonDocument("{\"\u00e4\": [1.0, {}, [], \"\\n\"],\n \"b\": null}")),
      R"({"b":null,"\u00e4":[1.0,{},[],"\n"]})");
}

TEST(JsonDocument, HasNoKeyTwiceHoweverDeepAndLate) {
  std::string deep;
  for (std::size_t level = 1; level < kMostJsonDepth; ++level) deep += R"({"k": )";
  std::string members;
  for (int i = 0; i < 20'000; ++i) members += fmt::format("\"key{}\":{},", i, i);
  const std::string text = deep + '{' + members + R"("key0":0})" + std::string(31, '}');
  EXPECT_GT(text.size(), 200'000U);
  EXPECT_EQ(wrongWith(text),
            "/k/k/k/k/k/k/k/k/k/k/k/k/k/k/k/k/k/k/k/k/k/k/k/k/k/k/k/k/k/k/k/key0: "
            "this key stands twice");
}

TEST(JsonDocument, QuotesAtMost80CharactersOfAPlace) {
  const std::string key(8'000'000, 'k');
  const std::string twice = '"' + key + "\":1";
  EXPECT_EQ(wrongWith('{' + twice + ',' + twice + '}'),
            '/' + std::string(76, 'k') + "...: this key stands twice");
}

TEST(JsonDocument, QuotesAtMost80CharactersOfWhatItReadLast) {
  EXPECT_EQ(wrongWith("[\"" + std::string(1'000'000, 'x') + '\n'),
            "1:1000003: syntax error while parsing value - invalid string: control character "
            "U+000A (LF) must be escaped to \\u000A or \\n; last read: '..." +
                std::string(69, 'x') + "<U+000A>'");
}

TEST(JsonDocument, HasAMillionValuesAtMost) {
  const auto listOf = [](std::size_t values) {
    std::string text = "[";
    for (std::size_t i = 0; i < values; ++i) text += i == 0 ? "1" : ",1";
    return text + ']';
  };
  EXPECT_EQ(wrongWith(listOf(kMostJsonValues - 1)), "");  // the list is one, too
  EXPECT_EQ(wrongWith(listOf(kMostJsonValues)),
            "more than 1000000 values, the most that there may be");
}

TEST(JsonDocument, Nests32LevelsAtMost) {
  const auto listsOf = [](std::size_t depth) {
    return std::string(depth, '[') + std::string(depth, ']');
  };
  EXPECT_EQ(wrongWith(listsOf(32)), "");
  std::string place;
  for (int level = 0; level < 32; ++level) place += "/0";
  EXPECT_EQ(wrongWith(listsOf(33)), place + ": deeper than 32 levels, the most that there may be");
  EXPECT_EQ(wrongWith(std::string(8'000'000, '[')),
            place + ": deeper than 32 levels, the most that there may be");
  std::string objects;
  for (int level = 0; level < 33; ++level) objects += R"({"a":)";
  EXPECT_THAT(wrongWith(objects),
              ::testing::EndsWith("/a/a: deeper than 32 levels, the most that there may be"));
}

TEST(JsonDocument, MayNest) {
  const std::string nested = std::string(20, '[') + std::string(20, ']');
  EXPECT_EQ(wrongWith(nested), "");
  EXPECT_EQ(placeOfMistake(nested.substr(0, 39)), "1:40");
}

}  // namespace
}  // namespace moxsupply::testing
