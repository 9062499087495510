#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include "system/LineReader.h"
#include "system/MemoryFile.h"

namespace moxsupply::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::vector<std::string> linesOf(const std::string& text, std::size_t mostBytes = 100) {
  const FileDescriptor file = memoryFile(text);
  LineReader reader(file.get(), mostBytes);
  std::vector<std::string> lines;
  while (const auto line = reader.next()) lines.push_back(*line);
  EXPECT_EQ(reader.error(), 0);
  return lines;
}

TEST(LineReader, GivesLinesWithoutTheirEnds) {
  EXPECT_THAT(linesOf(""), IsEmpty());
  EXPECT_THAT(linesOf("\n"), ElementsAre(""));
  EXPECT_THAT(linesOf("one\n\ntwo\r\nthree"), ElementsAre("one", "", "two\r", "three"));
  EXPECT_THAT(linesOf(std::string("a\0b\n", 4)), ElementsAre(std::string("a\0b", 3)));
}

TEST(LineReader, GivesLinesHoweverTheyAreRead) {
  std::vector<std::string> lines;
  std::string text;
  for (std::size_t i = 0; i < 300; ++i) {
    lines.emplace_back(i * 11, static_cast<char>('a' + i % 26));
    text += lines.back() + '\n';
  }
  EXPECT_EQ(linesOf(text, 3300), lines);
}

TEST(LineReader, CutsWhatIsTooLong) {
  EXPECT_THAT(linesOf("1234\n12345\n123456\n", 5), ElementsAre("1234", "12345", "123456"));
  EXPECT_THAT(linesOf("1234567\n8", 5), ElementsAre("123456", "7", "8"));
  const auto lines = linesOf(std::string(1'000'000, 'x'), 5);
  EXPECT_EQ(lines.at(0), "xxxxxx");
}

TEST(LineReader, TellsWhyItEnded) {
  LineReader reader(-1, 5);
  EXPECT_EQ(reader.next(), std::nullopt);
  EXPECT_EQ(reader.error(), EBADF);
}

}  // namespace
}  // namespace moxsupply::testing
