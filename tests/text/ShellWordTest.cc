#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <clocale>
#include <random>

#include "tests/support/Run.h"
#include "text/ShellWord.h"
#include "text/TerminalText.h"

namespace moxsupply::testing {
namespace {

class ShellWord : public ::testing::Test {
 protected:
  void SetUp() override { std::setlocale(LC_CTYPE, "C.UTF-8"); }
  void TearDown() override { std::setlocale(LC_CTYPE, "C"); }
};

TEST_F(ShellWord, IsItselfWhereItIsPlain) {
  for (const char* plain : {"office", "Office_2-b", "usb://Example/Small", "a@b%20c+d=e:f,g./-"}) {
    EXPECT_EQ(shellWord(plain), plain);
  }
}

TEST_F(ShellWord, IsQuotedWhereAShellWouldTakeItApart) {
  EXPECT_EQ(shellWord("usb://A/B?serial=1&x"), "'usb://A/B?serial=1&x'");
  EXPECT_EQ(shellWord("it's"), R"('it'\''s')");
  EXPECT_EQ(shellWord("-x"), "'-x'");
  EXPECT_EQ(shellWord(""), "''");
  EXPECT_EQ(shellWord("~"), "'~'");
  EXPECT_EQ(shellWord("B\u00FCro"), "'B\u00FCro'");
}

TEST_F(ShellWord, HasNumbersForWhatATerminalWouldNotShow) {
  EXPECT_EQ(shellWord("a\x1B[2J-%"), R"!("$(printf 'a\033\1332J\055\045')")!");
  EXPECT_EQ(shellWord("\xFF"), R"!("$(printf '\377')")!");
  std::setlocale(LC_CTYPE, "C");
  EXPECT_EQ(shellWord("B\u00FCro"), R"!("$(printf 'B\303\274ro')")!");
}

// Bytes of any value, but those that no word can have and the newlines that a shell takes away.
TEST_F(ShellWord, IsTheVeryTextToEveryShell) {
  std::mt19937 random(17);  // NOLINT(cert-msc51-cpp): the same texts each time
  std::string command = "printf '%s\\0'";
  std::string texts;
  for (int i = 0; i < 2000; ++i) {
    std::string text;
    const bool isAscii = i % 2 == 0;
    for (auto size = random() % 12; size > 0; --size) {
      text += static_cast<char>(1 + random() % (isAscii ? 126 : 255));
    }
    while (text.ends_with('\n')) text.pop_back();
    const std::string word = shellWord(text);
    EXPECT_EQ(forTerminal(word), word);
    command += ' ' + word;
    texts += text + '\0';
  }
  for (const char* shell : {"/bin/sh", "/bin/bash"}) {
    const Ran ran = run({shell, "-c", command});
    EXPECT_EQ(ran.output, texts) << shell << ran.errors;
  }
}

}  // namespace
}  // namespace moxsupply::testing
