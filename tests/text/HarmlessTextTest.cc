#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "text/HarmlessText.h"

namespace moxsupply::testing {
namespace {

constexpr std::size_t kLong = 1000;

std::string harmless(std::string_view text) { return harmlessLine(text, kLong); }

struct Range {
  char32_t first;
  char32_t last;
};
// All characters that are harmful, in their order.
constexpr std::array<Range, 11> kHarmful = {{
    {0x00, 0x1F},        // control characters
    {0x7F, 0x9F},        // delete, and the control characters with the eighth bit
    {0x061C, 0x061C},    // Arabic letter mark
    {0x200B, 0x200B},    // zero width space
    {0x200E, 0x200F},    // left-to-right and right-to-left mark
    {0x2028, 0x202E},    // line and paragraph separator; embeddings and overrides of the direction
    {0x2060, 0x2064},    // word joiner, invisible operators
    {0x2066, 0x2069},    // isolates
    {0xFEFF, 0xFEFF},    // zero width no-break space
    {0xE0000, 0xE007F},  // tags
    {0x110000, 0x110000},
}};

TEST(HarmfulCharacters, AreTheseAndNoOthers) {
  const Range* range = kHarmful.data();
  for (char32_t c = 0; c <= 0x10FFFF; ++c) {
    if (c > range->last) ++range;
    ASSERT_EQ(isHarmful(c), c >= range->first) << std::hex << static_cast<std::uint32_t>(c);
  }
}

TEST(HarmfulCharacters, ShowNothing) {
  for (char32_t c = 0; c <= 0x10FFFF; ++c) {
    ASSERT_TRUE(!isHarmful(c) || showsNothing(c)) << std::hex << static_cast<std::uint32_t>(c);
  }
}

TEST(CharactersThatShowNothing, AreAlsoBlanksFillersAndJoiners) {
  for (const char32_t c : std::u32string_view(U" \u00A0\u00AD\u034F\u115F\u1680\u180E\u2003\u200D"
                                              "\u202F\u205F\u2800\u3000\u3164\uFE0F\uFFA0"
                                              "\U000E0100")) {
    EXPECT_TRUE(showsNothing(c)) << std::hex << static_cast<std::uint32_t>(c);
  }
  for (const char32_t c :
       std::u32string_view(U"!~\u00A1é\u0301\u0647\u2010\u2801ト\uFFFD\U0001F5A8")) {
    EXPECT_FALSE(showsNothing(c)) << std::hex << static_cast<std::uint32_t>(c);
  }
}

TEST(HarmlessLine, IsOrdinaryTextAsItStands) {
  for (const char* text :
       {"Black Toner", R"(Cyan Cartridge 100 %, "XL" \ 'y')", "Réceptacle à toner usagé",
        "Schwarz für Größe", "トナー (Cyan)", "黑色墨盒", "\U0001F5A8", "e\u0301",
        "\u0645\u06CC\u200C\u062E\u0648\u0627\u0647\u0645",  // joined by a zero width non-joiner
        ""}) {
    EXPECT_EQ(harmless(text), text);
  }
}

TEST(HarmlessLine, HasABlankForEachHarmfulCharacter) {
  EXPECT_EQ(harmless("a\nb\rc\td"), "a b c d");
  EXPECT_EQ(harmless("a\x1B[2Jb"), "a [2Jb");
  EXPECT_EQ(harmless("a\x7F"
                     "b\u009Bc"),
            "a b c");
  EXPECT_EQ(harmless("a\u2028b\u202Ec\u202Cd\u200Be\uFEFFf\U000E0041g"), "a b c d e f g");
  EXPECT_EQ(harmless(std::string_view("a\0b", 3)), "a b");
}

TEST(HarmlessLine, HasOneBlankForSeveralAndNoneAtItsEnds) {
  EXPECT_EQ(harmless("  a   b  "), "a b");
  EXPECT_EQ(harmless("\n\r\na \x1B\n b\u202C\n"), "a b");
  EXPECT_EQ(harmless(" \n "), "");
}

TEST(HarmlessLine, IsUtf8WhateverTheTextIs) {
  EXPECT_EQ(harmless("a\xFFz"), "a\uFFFDz");
  EXPECT_EQ(harmless("a\xC3"), "a\uFFFD");            // cut within a character
  EXPECT_EQ(harmless("a\xE2\x82z"), "a\uFFFDz");      // the same, in the middle
  EXPECT_EQ(harmless("\xE9t\xE9"), "\uFFFDt\uFFFD");  // Latin-1
  EXPECT_NE(harmless("a\xC0\x8Az").find('a'), std::string::npos);
  EXPECT_EQ(harmless("a\xC0\x8Az").find('\n'), std::string::npos);  // an overlong newline
  EXPECT_EQ(harmless("\xED\xA0\x80").find("\xED\xA0\x80"), std::string::npos);  // a surrogate
}

TEST(HarmlessLine, IsCutAfterAWholeCharacter) {
  EXPECT_EQ(harmlessLine("abc", 3), "abc");
  EXPECT_EQ(harmlessLine("abcd", 3), "abc");
  EXPECT_EQ(harmlessLine("äöü", 6), "äöü");
  EXPECT_EQ(harmlessLine("äöü", 5), "äö");
  EXPECT_EQ(harmlessLine("äöü", 4), "äö");
  EXPECT_EQ(harmlessLine("黑色", 5), "黑");
  EXPECT_EQ(harmlessLine("\U0001F5A8", 3), "");
  EXPECT_EQ(harmlessLine("abc", 0), "");
  // Nothing that is shorter takes the place of what did not fit.
  EXPECT_EQ(harmlessLine("ab黑c", 4), "ab");
}

TEST(HarmlessLine, IsNotCutBehindABlank) {
  EXPECT_EQ(harmlessLine("ab cd", 3), "ab");
  EXPECT_EQ(harmlessLine("   abc", 3), "abc");  // blanks that are dropped take no room
}

TEST(HarmlessLine, OfAHarmlessLineIsTheSame) {
  for (const char* text : {"\x1B[31mred\x1B[0m", " a\xFF\xFE\n\n b ", "\u202E1, 2\u202C"}) {
    EXPECT_EQ(harmless(harmless(text)), harmless(text));
  }
}

}  // namespace
}  // namespace moxsupply::testing
