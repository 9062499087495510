#include <cups/file.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

#include "filter/CommandFile.h"
#include "system/Pipe.h"
#include "tests/support/FilterProcess.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TextFile.h"

namespace moxsupply::testing {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using Names = std::vector<std::string>;

Names namesOf(const moxsupply::CommandFile& file) {
  Names names;
  for (const auto& command : file.commands) names.push_back(command.name);
  return names;
}

class CommandFile : public ::testing::Test {
 protected:
  // The names in a command file of this text.
  std::optional<Names> read(const std::string& text) {
    const auto file = readAll(text);
    if (!file) return std::nullopt;
    EXPECT_FALSE(file->isTooLong);
    return namesOf(*file);
  }

  std::optional<moxsupply::CommandFile> readAll(const std::string& text) {
    std::ofstream(path(), std::ios::binary) << text;
    return readCommandFile(path());
  }

  [[nodiscard]] std::string path() const { return mFolder.path() / "command"; }

 private:
  TemporaryFolder mFolder;
};

TEST_F(CommandFile, NamesItsCommandsInTheirOrder) {
  EXPECT_THAT(*read("#CUPS-COMMAND\nReportLevels\nReportStatus\nReportLevels\n"),
              ElementsAre("ReportLevels", "ReportStatus", "ReportLevels"));
}

TEST_F(CommandFile, KeepsTheNamesAsTheyAreWritten) {
  EXPECT_THAT(*read("reportlevels\nREPORTSTATUS\ncom.example.Foo-Bar_1\n"),
              ElementsAre("reportlevels", "REPORTSTATUS", "com.example.Foo-Bar_1"));
}

TEST_F(CommandFile, IsWrittenAsItIsRead) {
  for (const char* text : {"#CUPS-COMMAND\n", "#CUPS-COMMAND\nClean all\nSetAlignment 1 2\n",
                           "#CUPS-COMMAND\nA\\#B C # \\# \\\nAutoConfigure\n"}) {
    EXPECT_EQ(textOf(readAll(text)->commands), text);
  }
  EXPECT_EQ(textOf(readAll(" Clean\t all  # now\r\n\nReportLevels")->commands),
            "#CUPS-COMMAND\nClean all\nReportLevels\n");
}

TEST_F(CommandFile, HasValuesThatAreNoNames) {
  EXPECT_THAT(*read("Clean all\nSetAlignment 1 ReportLevels\nAutoConfigure\t2\n"),
              ElementsAre("Clean", "SetAlignment", "AutoConfigure"));
}

TEST_F(CommandFile, MayHaveBlanksAroundACommand) {
  EXPECT_THAT(*read("  ReportLevels  \n\tReportStatus\t\n"),
              ElementsAre("ReportLevels", "ReportStatus"));
}

TEST_F(CommandFile, MayHaveComments) {
  EXPECT_THAT(*read("# ReportLevels\nReportStatus # and more\nReportLevels#x\n   # none\n"),
              ElementsAre("ReportStatus", "ReportLevels"));
}

TEST_F(CommandFile, KeepsANumberSignBehindABackslash) {
  EXPECT_THAT(*read("Report\\#Levels\n"), ElementsAre("Report#Levels"));
}

TEST_F(CommandFile, MayEndItsLinesInAnyWayAndTheLastOneNot) {
  EXPECT_THAT(*read("#CUPS-COMMAND\r\nReportLevels\r\nReportStatus"),
              ElementsAre("ReportLevels", "ReportStatus"));
  EXPECT_THAT(*read("#CUPS-COMMAND\rReportLevels\r"), ElementsAre("ReportLevels"));
}

TEST_F(CommandFile, MayHoldNoCommand) {
  EXPECT_THAT(*read(""), IsEmpty());
  EXPECT_THAT(*read("#CUPS-COMMAND\n"), IsEmpty());
  EXPECT_THAT(*read("\n \n\t\n\r\n"), IsEmpty());
}

TEST_F(CommandFile, HasNamesOfAtMost1023Bytes) {
  const std::string longest(1023, 'x');
  EXPECT_THAT(*read(longest + "\n"), ElementsAre(longest));
  // The rest of a longer line is a line.
  EXPECT_THAT(*read(longest + "ReportLevels\n"), ElementsAre(longest, "ReportLevels"));
  const auto names = *read(std::string(30'000, 'x') + "\nReportLevels\n");
  EXPECT_EQ(names.back(), "ReportLevels");
  for (const std::string& name : names) EXPECT_LE(name.size(), 1023U);
}

TEST_F(CommandFile, MayHoldAnyBytes) {
  std::string bytes;
  for (int byte = 255; byte >= 0; --byte) bytes += static_cast<char>(byte);
  const auto names = read(bytes + "\nReportLevels\n");
  ASSERT_TRUE(names);
  EXPECT_EQ(names->back(), "ReportLevels");
}

TEST_F(CommandFile, IsReadUpTo64KiB) {
  const std::string longest = std::string(65534 - 12, '#') + "\nReportLevels\n";
  ASSERT_EQ(longest.size(), 65536U);
  EXPECT_THAT(*read(longest), ElementsAre("ReportLevels"));
  for (const char* more : {"\n", "x", "ReportStatus\n"}) {
    const auto file = readAll(longest + more);
    EXPECT_TRUE(file->isTooLong);
    EXPECT_THAT(namesOf(*file), ElementsAre("ReportLevels"));
  }
  // What is cut off might make it another command.
  const auto file = readAll("ReportStatus\n" + std::string(65510, '#') + "\nReportLevelsX\n");
  EXPECT_TRUE(file->isTooLong);
  EXPECT_THAT(namesOf(*file), ElementsAre("ReportStatus"));
  EXPECT_THAT(namesOf(*readAll(std::string(65537, 'x'))), IsEmpty());
}

TEST_F(CommandFile, HasUpTo32Commands) {
  std::string commands;
  for (int i = 0; i < 32; ++i) commands += "ReportLevels\n";
  EXPECT_EQ(read(commands + "# and no more\n")->size(), 32U);
  const auto file = readAll(commands + "ReportStatus\n");
  EXPECT_TRUE(file->isTooLong);
  EXPECT_EQ(namesOf(*file), Names(32, "ReportLevels"));
}

std::string packed(const std::string& text, const std::string& path) {
  cups_file_t* file = cupsFileOpen(path.c_str(), "w9");
  cupsFileWrite(file, text.data(), text.size());
  cupsFileClose(file);
  return contentOf(path);
}

TEST_F(CommandFile, MayBePackedOnce) {
  const std::string once = packed("ReportLevels\n", path());
  EXPECT_THAT(*read(once), ElementsAre("ReportLevels"));
  EXPECT_THAT(*read(packed(once, path())), Not(Contains("ReportLevels")));
}

TEST_F(CommandFile, ThatIsNotThereIsNone) { EXPECT_EQ(readCommandFile(path()), std::nullopt); }

// What a filter reads when there is no file argument. libcups reads standard input once in a
// process, so each is a process of its own.
std::string namesFromStandardInput(const std::string& text) {
  Pipe input = makePipe(Blocking::kYes);
  EXPECT_EQ(writeAll(input.writeEnd.get(), text), 0);
  input.writeEnd = FileDescriptor();
  FilterProcess filter(BackChannel::kClosed, [&] {
    ::dup2(input.readEnd.get(), STDIN_FILENO);
    const auto file = readCommandFile("");
    if (!file) return std::string("none");
    std::string joined;
    for (const std::string& name : namesOf(*file)) joined += name + ';';
    return joined;
  });
  return filter.wait().result;
}

TEST(CommandsOnStandardInput, AreReadToTheEnd) {
  EXPECT_EQ(namesFromStandardInput("#CUPS-COMMAND\nReportLevels\nReportStatus"),
            "ReportLevels;ReportStatus;");
  EXPECT_EQ(namesFromStandardInput(""), "");
}

}  // namespace
}  // namespace moxsupply::testing
