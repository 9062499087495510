#include <gtest/gtest.h>

#include <clocale>
#include <string>

#include "text/TerminalText.h"

namespace moxsupply::testing {
namespace {

class TerminalText : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr); }
  void TearDown() override { std::setlocale(LC_CTYPE, "C"); }
};

TEST_F(TerminalText, LeavesOrdinaryTextAlone) {
  EXPECT_EQ(forTerminal("Cyan Cartridge 100 %, \"XL\" \\ 'y'"),
            "Cyan Cartridge 100 %, \"XL\" \\ 'y'");
  EXPECT_EQ(forTerminal("Encre noire, Schwarz für Größe, 黑色墨盒, Çok"),
            "Encre noire, Schwarz für Größe, 黑色墨盒, Çok");
}

TEST_F(TerminalText, ShowsControlCharactersInsteadOfObeyingThem) {
  EXPECT_EQ(forTerminal("a\nb\rc\td"), "a\\u000ab\\u000dc\\u0009d");
  EXPECT_EQ(forTerminal("\x1B[2J\x1B]0;title\x07"), "\\u001b[2J\\u001b]0;title\\u0007");
  EXPECT_EQ(forTerminal("\x7F"), "\\u007f");
  EXPECT_EQ(forTerminal("\xC2\x9B"), "\\u009b");  // an 8-bit control sequence introducer
  EXPECT_EQ(forTerminal(std::string_view("\0x", 2)), "\\u0000x");
}

TEST_F(TerminalText, ShowsWhatTurnsOrHidesText) {
  EXPECT_EQ(forTerminal("\u202Etxt\u202C"), "\\u202etxt\\u202c");
  EXPECT_EQ(forTerminal("\u2066\u2069\u200E\u200F\u061C"), "\\u2066\\u2069\\u200e\\u200f\\u061c");
  EXPECT_EQ(forTerminal("\u2028\u2029"), "\\u2028\\u2029");
  EXPECT_EQ(forTerminal("\u200B\uFEFF\u2060"), "\\u200b\\ufeff\\u2060");
  EXPECT_EQ(forTerminal("\U000E0041"), "\\ue0041");
}

TEST_F(TerminalText, ReplacesWhatIsNotUtf8) {
  EXPECT_EQ(forTerminal("a\xFFz"), "a\uFFFDz");
  EXPECT_EQ(forTerminal("\xC3"), "\uFFFD");
}

TEST_F(TerminalText, CountsColumns) {
  EXPECT_EQ(columnsOf("abc"), 3);
  EXPECT_EQ(columnsOf("für"), 3);
  EXPECT_EQ(columnsOf("黑色"), 4);
  EXPECT_EQ(columnsOf("e\u0301"), 1);  // a letter and a combining accent
}

TEST_F(TerminalText, CutsAtAColumnWithAnEllipsis) {
  EXPECT_EQ(cutToColumns("abcdef", 6), "abcdef");
  EXPECT_EQ(cutToColumns("abcdefg", 6), "abcde…");
  EXPECT_EQ(cutToColumns("黑色墨盒", 6), "黑色…");
}

TEST_F(TerminalText, FallsBackToAsciiWhereTheLocaleHasNoMore) {
  ASSERT_NE(std::setlocale(LC_CTYPE, "C"), nullptr);
  EXPECT_FALSE(localeIsUtf8());
  EXPECT_EQ(forTerminal("für 黑"), "f?r ?");
  EXPECT_EQ(cutToColumns("abcdefgh", 6), "abc...");
}

}  // namespace
}  // namespace moxsupply::testing
