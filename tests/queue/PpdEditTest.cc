#include <cups/ppd.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <memory>

#include "queue/PpdEdit.h"
#include "queue/PpdFile.h"
#include "queue/QueueSettings.h"
#include "renderings/StateReasons.h"
#include "tests/support/SmallPpd.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TextFile.h"

// The whole PPD interface is marked deprecated; CUPS 2 has no other.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace moxsupply::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

const PpdSettings kLaser = {.kind = PrinterKind::kLaser, .timeout = 2};
const PpdSettings kInkjet = {.kind = PrinterKind::kInkjet, .timeout = 30};

constexpr const char* kCommandFilter = "application/vnd.cups-command 0 commandtomox";
constexpr const char* kAllCommands =
    "ReportLevels ReportStatus AutoConfigure Clean PrintSelfTestPage";

std::string withLineEnds(std::string text, std::string_view lineEnd) {
  for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += lineEnd.size()) {
    text.replace(at, 1, lineEnd);
  }
  return text;
}

struct ClosePpd {
  void operator()(ppd_file_t* ppd) const { ppdClose(ppd); }
};

// A PPD file as libcups reads it.
class ReadPpd {
 public:
  explicit ReadPpd(const std::string& text) {
    std::ofstream(path()) << text;
    mPpd.reset(ppdOpenFile(path().c_str()));
    if (mPpd == nullptr) ADD_FAILURE() << "libcups cannot read\n" << text;
  }

  // The values of all lines with this keyword, without their star.
  [[nodiscard]] std::vector<std::string> values(const char* keyword) const {
    std::vector<std::string> values;
    const ppd_attr_t* attribute = mPpd ? ppdFindAttr(mPpd.get(), keyword, nullptr) : nullptr;
    for (; attribute != nullptr; attribute = ppdFindNextAttr(mPpd.get(), keyword, nullptr)) {
      values.emplace_back(attribute->value == nullptr ? "" : attribute->value);
    }
    return values;
  }

  [[nodiscard]] QueueSettings settings() const {
    const auto settings = queueSettings(path(), "", "usb://x");
    if (!settings) ADD_FAILURE() << settings.error().what;
    return settings.value_or(QueueSettings());
  }

 private:
  [[nodiscard]] std::string path() const { return mFolder.path() / "queue.ppd"; }

  TemporaryFolder mFolder;
  std::unique_ptr<ppd_file_t, ClosePpd> mPpd;
};

struct Ppd {
  std::string name;
  std::string text;
};

const std::string kWithFilters = smallPpd(
    "*cupsFilter: \"application/vnd.cups-raster 100 rastertoexample\"\n"
    "*cupsFilter: \"application/vnd.cups-postscript 0 -\"\n");
const std::string kWithFilters2 = smallPpd(
    "*cupsFilter: \"application/vnd.cups-raster 100 rastertoold\"\n"
    "*cupsFilter2: \"application/vnd.cups-raster application/vnd.example 100 rastertoexample\"\n");
const std::string kContradicting = smallPpd(
    "*cupsFilter: \"application/vnd.cups-raster 100 rastertoexample\"\n"
    "*cupsFilter: \"application/vnd.cups-command 0 commandtops\"\n"
    "*cupsCommands: \"AutoConfigure Clean PrintSelfTestPage\"\n"
    "*cupsSNMPSupplies: True\n"
    "*moxPrinterType: \"Plotter\"\n"
    "*moxTimeout: \"99\"\n"
    "*moxDeadline: \"1\"\n"
    "*cupsModelNumber: 7\n");
const std::string kContradicting2 = smallPpd(
    "*cupsFilter2: \"application/vnd.cups-raster application/vnd.example 100 rastertoexample\"\n"
    "*cupsFilter2: \"application/vnd.cups-command application/vnd.cups-command 0 commandtops\"\n");
const std::string kValueOfSeveralLines = smallPpd(
    "*cupsCommands: \"AutoConfigure\n"
    "Clean\n"
    "*moxTimeout: 5\n"
    "PrintSelfTestPage\"\n"
    "*End\n"
    "*cupsModelNumber: 7\n"
    "*cupsFilter: \"application/vnd.cups-raster 100 rastertoexample\"\n");
const std::string kLooksContradicting = smallPpd(
    "*% *cupsCommands: \"none\"\n"
    "*JCLBegin: \"@PJL\n"
    "*cupsCommands: none\n"
    "*cupsFilter2: x\n"
    "\"\n"
    "*End\n"
    "*% moreover: a disk of 3.5\"\n"
    "*cupsCommandsOfOthers: \"Clean\"\n"
    "*cupsFilterNote: \"application/vnd.cups-command\"\n"
    "*% a disk of 3.5\"\n"
    "*cupsModelNumber: 7\n");

// A contradicting line of `size` bytes, without its newline.
std::string lineOfSize(std::size_t size) {
  const std::string line = "*cupsCommands: \"";
  return line + std::string(size - line.size() - 1, 'x') + "\"\n";
}

// Each also with carriage returns, and each of these also without its last line end.
std::vector<Ppd> ppds() {
  std::vector<Ppd> ppds = {
      {"Small", smallPpd("")},
      {"WithFilters", kWithFilters},
      {"WithFilters2", kWithFilters2},
      {"Contradicting", kContradicting},
      {"Contradicting2", kContradicting2},
      {"ValueOfSeveralLines", kValueOfSeveralLines},
      {"LooksContradicting", kLooksContradicting},
      {"EndsWithAContradiction", smallPpd("*cupsSNMPSupplies: True\n")},
      {"EndsWithinAContradictingValue", smallPpd("*cupsCommands: \"Clean\n*moxTimeout: 5\n")},
      {"EndsWithinAValue", smallPpd("*JCLBegin: \"x\n")},
      {"EndsWithEmptyLines", smallPpd("\n\n\n")},
      {"Latin1", smallPpd("*Location: \"Caf\xE9\"\n")},
      {"Empty", ""},
      {"OneEmptyLine", "\n"},
      {"OneContradictingLine", "*cupsCommands: none\n"},
  };
  for (std::size_t i = 0, count = ppds.size(); i < count; ++i) {
    ppds.push_back({ppds[i].name + "WithReturns", withLineEnds(ppds[i].text, "\r\n")});
  }
  for (std::size_t i = 0, count = ppds.size(); i < count; ++i) {
    const std::string& text = ppds[i].text;
    ppds.push_back(
        {ppds[i].name + "Unfinished", text.substr(0, text.find_last_not_of("\r\n") + 1)});
  }
  const std::string small = smallPpd("*cupsSNMPSupplies: True");
  ppds.push_back({"MixedLineEnds", small + "\n*Other: 1\r\n*cupsCommands: none\r\n*Last: 1\n"});
  ppds.push_back({"MixedLineEndsTheOtherWay", "*First: 1\r\n" + small + "\n*Last: 1"});
  ppds.push_back({"EndsWithAReturn", small + "\r"});
  ppds.push_back({"BeginsWithReturnsAndEndsWithOne", "*First: 1\r\n" + small + "\r"});
  ppds.push_back({"ReturnsAlone", withLineEnds(smallPpd("*Last: 1\n"), "\r")});
  ppds.push_back({"ReturnsAloneAndAContradiction", withLineEnds(kContradicting, "\r")});
  ppds.push_back({"EndsWithControlZ", small + "\r\n\x1A"});
  ppds.push_back({"WithAZeroByte", smallPpd("*Other: 1\n") + std::string("\0\n", 2)});
  return ppds;
}

TEST(EachPpd, IsTheSameToTheByteWithoutWhatWasAdded) {
  for (const auto& [name, ppd] : ppds()) {
    SCOPED_TRACE(name);
    const std::string edited = withSupplyReports(ppd, kInkjet);
    EXPECT_NE(edited, ppd);
    EXPECT_TRUE(hasSupplyReports(edited));
    EXPECT_EQ(withoutSupplyReports(edited), ppd);
  }
}

TEST(EachPpd, TakesOtherSettingsInPlaceOfTheFormer) {
  for (const auto& [name, ppd] : ppds()) {
    SCOPED_TRACE(name);
    const std::string once = withSupplyReports(ppd, kInkjet);
    EXPECT_EQ(withSupplyReports(withSupplyReports(ppd, kLaser), kInkjet), once);
    EXPECT_EQ(withSupplyReports(once, kInkjet), once);
    EXPECT_EQ(withoutSupplyReports(withSupplyReports(once, kLaser)), ppd);
  }
}

TEST(EachPpd, IsLeftAloneWhereNothingWasAdded) {
  for (const auto& [name, ppd] : ppds()) {
    EXPECT_FALSE(hasSupplyReports(ppd)) << name;
    EXPECT_EQ(withoutSupplyReports(ppd), ppd) << name;
  }
}

std::string lineEndOf(const std::string& text) {
  const std::size_t end = text.find_first_of("\r\n");
  if (end == std::string::npos) return "\n";
  return text.substr(end, text.compare(end, 2, "\r\n") == 0 ? 2 : 1);
}

TEST(EachPpd, GetsLinesThatEndAsItsFirstLine) {
  for (const auto& [name, ppd] : ppds()) {
    SCOPED_TRACE(name);
    const std::string edited = withSupplyReports(ppd, kLaser);
    std::string block = edited.substr(edited.find("*% moxsupply: supply reports begin"));
    const std::string lineEnd = lineEndOf(ppd);
    EXPECT_TRUE(block.ends_with(lineEnd));
    for (std::size_t at = 0; (at = block.find(lineEnd)) != std::string::npos;) {
      block.erase(at, lineEnd.size());
    }
    EXPECT_EQ(block.find_first_of("\r\n"), std::string::npos);
  }
}

TEST(PpdWithSupplyReports, HasABlockOfLinesAtItsEnd) {
  EXPECT_EQ(withSupplyReports(kWithFilters, kLaser),
            kWithFilters +
                "*% moxsupply: supply reports begin\n"
                "*cupsFilter: \"application/vnd.cups-command 0 commandtomox\"\n"
                "*cupsCommands: \"ReportLevels ReportStatus AutoConfigure Clean "
                "PrintSelfTestPage\"\n"
                "*moxCommandFilter: \"application/vnd.cups-command application/postscript 0 "
                "commandtops\"\n"
                "*cupsSNMPSupplies: False\n"
                "*moxPrinterType: \"Laser\"\n"
                "*moxTimeout: \"2\"\n"
                "*moxDeadline: \"45\"\n"
                "*cupsIPPReason toner-low-report/Toner is low: \"\"\n"
                "*cupsIPPReason toner-empty-warning/Toner is empty: \"\"\n"
                "*cupsIPPReason marker-supply-low-report/Ink is low: \"\"\n"
                "*cupsIPPReason marker-supply-empty-warning/Ink is empty: \"\"\n"
                "*cupsIPPReason marker-supply-missing-warning/A cartridge is missing: \"\"\n"
                "*cupsIPPReason subunit-recoverable-failure-warning/A cartridge is the wrong one: "
                "\"\"\n"
                "*cupsIPPReason timed-out-report/The printer gives no levels: \"\"\n"
                "*% moxsupply: supply reports end\n");
}

TEST(PpdWithSupplyReports, EndsAnUnfinishedLineFirstAndRemembersIt) {
  EXPECT_THAT(withSupplyReports("*Last: 1", kLaser),
              StartsWith("*Last: 1\n"
                         "*% moxsupply: supply reports begin, after an unfinished line\n"));
}

TEST(PpdWithSupplyReports, IsReadByThePrintServerAsItIsMeant) {
  const ReadPpd ppd(withSupplyReports(kWithFilters, kInkjet));
  EXPECT_THAT(ppd.values("cupsFilter"),
              ElementsAre("application/vnd.cups-raster 100 rastertoexample",
                          "application/vnd.cups-postscript 0 -", kCommandFilter));
  EXPECT_THAT(ppd.values("cupsFilter2"), IsEmpty());
  EXPECT_THAT(ppd.values("cupsCommands"), ElementsAre(kAllCommands));
  EXPECT_THAT(ppd.values("cupsSNMPSupplies"), ElementsAre("False"));
  EXPECT_EQ(ppd.settings().kind, PrinterKind::kInkjet);
  EXPECT_EQ(ppd.settings().timeout, 30U);
}

// With one such line in the file, the print server looks at no line of the older form.
TEST(PpdWithSupplyReports, HasAFilterOfTheNewerFormWhereThereIsOne) {
  const ReadPpd ppd(withSupplyReports(kWithFilters2, kLaser));
  EXPECT_THAT(
      ppd.values("cupsFilter2"),
      ElementsAre("application/vnd.cups-raster application/vnd.example 100 rastertoexample",
                  "application/vnd.cups-command application/vnd.cups-command 0 commandtomox"));
  EXPECT_THAT(ppd.values("cupsFilter"), ElementsAre("application/vnd.cups-raster 100 rastertoold"));
}

// Such a printer takes its data as they are; with the command filter as its only one, it would
// take nothing else.
TEST(PpdWithSupplyReports, LetsAPostScriptPrinterWithoutFiltersPrint) {
  for (const std::string& text :
       {smallPpd(""), smallPpd("*cupsFilter: \"application/vnd.cups-command 0 commandtops\"\n")}) {
    const ReadPpd ppd(withSupplyReports(text, kLaser));
    EXPECT_THAT(ppd.values("cupsFilter"),
                ElementsAre(kCommandFilter, "application/vnd.cups-postscript 0 -"));
  }
}

TEST(PpdWithSupplyReports, SetsAsideWhatContradictsIt) {
  const std::string text = withSupplyReports(kContradicting, kLaser);
  EXPECT_THAT(text, HasSubstr("*% moxsupply set aside: *cupsSNMPSupplies: True\n"));
  const ReadPpd ppd(text);
  EXPECT_THAT(ppd.values("cupsFilter"),
              ElementsAre("application/vnd.cups-raster 100 rastertoexample", kCommandFilter));
  EXPECT_THAT(ppd.values("cupsCommands"), ElementsAre(kAllCommands));
  EXPECT_THAT(ppd.values("cupsSNMPSupplies"), ElementsAre("False"));
  EXPECT_THAT(ppd.values("moxPrinterType"), ElementsAre("Laser"));
  EXPECT_THAT(ppd.values("moxTimeout"), ElementsAre("2"));
  EXPECT_THAT(ppd.values("moxDeadline"), ElementsAre("45"));
  EXPECT_THAT(ppd.values("cupsModelNumber"), ElementsAre("7"));
}

// libcups takes blanks before the colon, and what stands between them and the keyword.
TEST(PpdWithSupplyReports, SetsAsideAlsoWhatHasBlanksOrAnOption) {
  for (const char* line :
       {"*cupsSNMPSupplies : True\n", "*cupsSNMPSupplies\t: True\n",
        "*cupsSNMPSupplies Any: True\n", "*cupsSNMPSupplies Any/Of it: True\n"}) {
    EXPECT_THAT(ReadPpd(smallPpd(line)).values("cupsSNMPSupplies"), ElementsAre("True"));
    const ReadPpd ppd(withSupplyReports(smallPpd(line), kLaser));
    EXPECT_THAT(ppd.values("cupsSNMPSupplies"), ElementsAre("False")) << line;
  }
}

TEST(PpdWithSupplyReports, SetsAsideInAFileWithReturnsAlone) {
  const ReadPpd ppd(withSupplyReports(withLineEnds(kContradicting, "\r"), kLaser));
  EXPECT_THAT(ppd.values("cupsCommands"), ElementsAre(kAllCommands));
  EXPECT_THAT(ppd.values("cupsSNMPSupplies"), ElementsAre("False"));
  EXPECT_THAT(ppd.values("moxTimeout"), ElementsAre("2"));
  EXPECT_THAT(ppd.values("cupsModelNumber"), ElementsAre("7"));
}

// A line of more than 255 bytes, be it a comment, makes the whole PPD unreadable.
TEST(PpdWithSupplyReports, StaysReadableWhenALongLineIsSetAside) {
  for (std::size_t size = 190; size <= 255; ++size) {
    const std::string text = smallPpd(lineOfSize(size));
    ASSERT_THAT(ReadPpd(text).values("cupsCommands"), ::testing::SizeIs(1));
    const ReadPpd ppd(withSupplyReports(text, kLaser));
    ASSERT_THAT(ppd.values("cupsCommands"), ElementsAre("ReportLevels ReportStatus")) << size;
  }
}

TEST(PpdWithSupplyReports, SaysWhereItsPrinterIsNotAskedAfterJobs) {
  const std::string asked = withSupplyReports(kWithFilters, kLaser);
  EXPECT_TRUE(asksAfterJobs(asked));
  EXPECT_FALSE(asksAfterJobs(kWithFilters));
  PpdSettings settings = kLaser;
  settings.afterJobs = false;
  const std::string unasked = withSupplyReports(asked, settings);
  EXPECT_FALSE(asksAfterJobs(unasked));
  EXPECT_THAT(ReadPpd(unasked).values("moxAfterJobs"), ElementsAre("False"));
  EXPECT_EQ(withSupplyReports(unasked, kLaser), asked);
  EXPECT_EQ(withoutSupplyReports(unasked), kWithFilters);
}

TEST(PpdWithSupplyReports, HasALowLevelWhereItIsNotTheUsual) {
  const std::string usual = withSupplyReports(kWithFilters, kLaser);
  EXPECT_THAT(ReadPpd(usual).values("moxLowLevel"), IsEmpty());
  EXPECT_EQ(ReadPpd(usual).settings().lowLevel, 10);
  PpdSettings settings = kLaser;
  settings.lowLevel = 25;
  const std::string higher = withSupplyReports(usual, settings);
  EXPECT_EQ(ReadPpd(higher).settings().lowLevel, 25);
  EXPECT_EQ(withSupplyReports(higher, kLaser), usual);
  EXPECT_EQ(withoutSupplyReports(higher), kWithFilters);
}

// As desktops look for them.
TEST(PpdWithSupplyReports, HasWordsForTheStateReasons) {
  const TemporaryFolder folder;
  const std::string path = folder.path() / "queue.ppd";
  write(path, withSupplyReports(kWithFilters, kLaser));
  const std::unique_ptr<ppd_file_t, ClosePpd> ppd(ppdOpenFile(path.c_str()));
  ASSERT_NE(ppd, nullptr);
  for (const auto& [reason, words] : kReasonWords) {
    std::array<char, 200> shown{};
    ppdLocalizeIPPReason(ppd.get(), std::string(reason).c_str(), "text", shown.data(),
                         shown.size());
    EXPECT_EQ(shown.data(), words);
  }
}

TEST(PpdWithoutSupplyReports, KeepsTheWordsOfOthers) {
  const std::string others =
      "*cupsIPPReason toner-low-report/Buy toner: \"\"\n*cupsIPPReason example/Example: \"\"\n";
  const std::string ppd = smallPpd(others);
  EXPECT_EQ(withoutSupplyReports(withSupplyReports(ppd, kLaser)), ppd);
  std::string edited = withSupplyReports(smallPpd(""), kLaser);
  edited.insert(edited.find("*% moxsupply: supply reports end"), others);
  EXPECT_EQ(withoutSupplyReports(edited), smallPpd("") + others);
}

TEST(PpdWithNoSupplyReports, TellsTheFilterHowManyLevelsToForget) {
  for (const std::string& former : {kWithFilters, withSupplyReports(kContradicting, kInkjet)}) {
    const ReadPpd ppd(withNoSupplyReports(former, 3));
    EXPECT_THAT(ppd.values("moxForget"), ElementsAre("3"));
    EXPECT_EQ(PpdFile::fromText(withNoSupplyReports(former, 3))->commandFilter(), "commandtomox");
  }
}

TEST(PpdWithNoSupplyReports, LosesThatWithTheRest) {
  for (const Ppd& ppd : ppds()) {
    SCOPED_TRACE(ppd.name);
    for (const std::string& former : {ppd.text, withSupplyReports(ppd.text, kInkjet)}) {
      const std::string text = withNoSupplyReports(former, 3);
      EXPECT_EQ(withoutSupplyReports(text), ppd.text);
      EXPECT_EQ(withSupplyReports(text, kInkjet), withSupplyReports(ppd.text, kInkjet));
    }
  }
}

TEST(PpdWithoutSupplyReports, PutsALongLineTogetherAgain) {
  for (std::size_t size = 190; size < 610; ++size) {
    const std::string line = lineOfSize(size);
    for (const std::string& ppd :
         {line, line + "*Last: 1\n", withLineEnds(line, "\r\n"), line.substr(0, size)}) {
      ASSERT_EQ(withoutSupplyReports(withSupplyReports(ppd, kLaser)), ppd);
    }
  }
}

TEST(PpdWithSupplyReports, SetsAsideACommandFilterOfTheNewerForm) {
  const ReadPpd ppd(withSupplyReports(kContradicting2, kLaser));
  EXPECT_THAT(
      ppd.values("cupsFilter2"),
      ElementsAre("application/vnd.cups-raster application/vnd.example 100 rastertoexample",
                  "application/vnd.cups-command application/vnd.cups-command 0 commandtomox"));
}

// The print server takes types in any letters, and so it does most keywords.
TEST(PpdWithSupplyReports, SetsAsideACommandFilterInAnyLetters) {
  for (const std::string type : {"APPLICATION/VND.CUPS-COMMAND", "Application/vnd.CUPS-Command"}) {
    const std::string old = smallPpd("*cupsFilter: \"" + type + " 0 commandtops\"\n");
    EXPECT_EQ(PpdFile::fromText(old)->commandFilter(), "commandtops");
    EXPECT_EQ(ReadPpd(withSupplyReports(old, kLaser)).values("cupsFilter").at(0), kCommandFilter);
    const std::string newer =
        smallPpd("*cupsFilter2: \"" + type + " application/vnd.cups-command 0 commandtops\"\n");
    EXPECT_EQ(PpdFile::fromText(newer)->commandFilter(), "commandtops");
    EXPECT_EQ(PpdFile::fromText(withSupplyReports(newer, kLaser))->commandFilter(), "commandtomox");
  }
}

TEST(PpdWithSupplyReports, SetsAsideKeywordsInAnyLetters) {
  const ReadPpd ppd(withSupplyReports(smallPpd("*CUPSCOMMANDS: \"Clean\"\n"
                                               "*cupssnmpsupplies: True\n"
                                               "*MoxPrinterType: \"Plotter\"\n"),
                                      kLaser));
  EXPECT_THAT(ppd.values("cupsCommands"), ElementsAre("ReportLevels ReportStatus Clean"));
  EXPECT_THAT(ppd.values("cupsSNMPSupplies"), ElementsAre("False"));
  EXPECT_THAT(ppd.values("moxPrinterType"), ElementsAre("Laser"));
  const std::string hidden = withSupplyReports(
      smallPpd("*CupsFilter2: \"application/vnd.cups-raster application/vnd.example 0 x\"\n"),
      kLaser);
  EXPECT_EQ(PpdFile::fromText(hidden)->commandFilter(), "commandtomox");
}

TEST(PpdWithSupplyReports, SetsAsideAWholeValueOfSeveralLines) {
  for (const std::string& text :
       {kValueOfSeveralLines, withLineEnds(kValueOfSeveralLines, "\r\n")}) {
    const ReadPpd ppd(withSupplyReports(text, kLaser));
    EXPECT_THAT(ppd.values("cupsCommands"), ElementsAre("ReportLevels ReportStatus"));
    EXPECT_THAT(ppd.values("moxTimeout"), ElementsAre("2"));
    EXPECT_THAT(ppd.values("cupsModelNumber"), ElementsAre("7"));
    EXPECT_THAT(ppd.values("cupsFilter"),
                ElementsAre("application/vnd.cups-raster 100 rastertoexample", kCommandFilter));
  }
}

TEST(PpdWithSupplyReports, LeavesAloneWhatOnlyLooksLikeAContradiction) {
  EXPECT_THAT(withSupplyReports(kLooksContradicting, kLaser), StartsWith(kLooksContradicting));
  EXPECT_THAT(withSupplyReports(kLooksContradicting, kLaser), Not(HasSubstr("set aside")));
  const ReadPpd before(kLooksContradicting);
  const ReadPpd after(withSupplyReports(kLooksContradicting, kLaser));
  EXPECT_EQ(after.values("JCLBegin"), before.values("JCLBegin"));
  EXPECT_THAT(after.values("cupsModelNumber"), ElementsAre("7"));
  EXPECT_THAT(after.values("cupsFilter"),
              ElementsAre(kCommandFilter, "application/vnd.cups-postscript 0 -"));
}

TEST(PpdWithSupplyReports, CountsNoQuotesInComments) {
  const ReadPpd ppd(
      withSupplyReports(smallPpd("*% Note: a disk of 3.5\"\n*cupsSNMPSupplies: True\n"), kLaser));
  EXPECT_THAT(ppd.values("cupsSNMPSupplies"), ElementsAre("False"));
}

// Others change the file too, as `lpadmin -o PageSize=Letter` does.
// The lines of a driver, and what they make of a queue's commands and of who answers those that are
// not ours.
struct FormerCommands {
  std::string lines;
  std::string commands;
  std::vector<std::string> filter = {};
};

TEST(PpdWithSupplyReports, KeepsTheCommandsOfAFormerFilter) {
  const std::string raster = "*cupsFilter: \"application/vnd.cups-raster 100 rastertoexample\"\n";
  const std::string command = "*cupsFilter: \"application/vnd.cups-command 33 commandtoexample\"\n";
  const std::string byItself = "application/vnd.cups-command application/postscript 0 commandtops";
  const std::string ofTheDriver = "application/vnd.cups-command 33 commandtoexample";
  for (const auto& [lines, commands, filter] : std::vector<FormerCommands>{
           // A PostScript printer gets a filter by itself, others not.
           {"", kAllCommands, {byItself}},
           {"*cupsFilter: \"Application/vnd.cups-PostScript 0 x\"\n", kAllCommands, {byItself}},
           {"*cupsCommands: \"NONE\"\n", "ReportLevels ReportStatus"},
           {raster, "ReportLevels ReportStatus"},
           {raster + "*cupsCommands: \"Clean\"\n", "ReportLevels ReportStatus"},
           // One of the driver's own.
           {raster + command, kAllCommands, {ofTheDriver}},
           {command + "*cupsCommands: \"\"\n", "ReportLevels ReportStatus", {ofTheDriver}},
           {command + "*cupsCommands: \"none\"\n", "ReportLevels ReportStatus", {ofTheDriver}},
           {command + "*cupsCommands: \"reportlevels Clean\n\tcom.example.Purge  CLEAN\"\n",
            "ReportLevels ReportStatus Clean com.example.Purge",
            {ofTheDriver}},
           {"*cupsFilter: \"application/vnd.cups-command 50 dear\"\n" + command +
                "*cupsFilter: \"application/vnd.cups-command 33 later\"\n",
            kAllCommands,
            {ofTheDriver}},
           {"*cupsFilter: \"application/vnd.cups-command 0 maxsize(9000) /usr/lib/x y\"\n",
            kAllCommands,
            {"application/vnd.cups-command 0 /usr/lib/x y"}},
           // What counts is of the newer form, where there is that.
           {command + "*cupsFilter2: \"application/vnd.cups-raster image/x 0 example\"\n",
            "ReportLevels ReportStatus"},
           {command + "*cupsFilter2: \"application/vnd.cups-command image/x 7 newer\"\n",
            kAllCommands,
            {"application/vnd.cups-command image/x 7 newer"}},
           // Nobody who could answer.
           {"*cupsFilter: \"application/vnd.cups-command 0 -\"\n", "ReportLevels ReportStatus"},
           {"*cupsFilter: \"application/vnd.cups-command 0 commandtomox\"\n"
            "*cupsCommands: \"ReportLevels Clean\"\n",
            "ReportLevels ReportStatus"},
       }) {
    const ReadPpd ppd(withSupplyReports(smallPpd(lines), kLaser));
    EXPECT_THAT(ppd.values("cupsCommands"), ElementsAre(commands)) << lines;
    EXPECT_EQ(ppd.values("moxCommandFilter"), filter) << lines;
  }
}

TEST(PpdWithSupplyReports, KeepsTheCommandsOfAFormerFilterWhenItIsReplaced) {
  const std::string once = withSupplyReports(kContradicting, kLaser);
  EXPECT_EQ(withSupplyReports(once, kLaser), once);
}

// A line of more than 255 bytes makes the whole PPD unreadable.
TEST(PpdWithSupplyReports, StaysReadableWithManyCommands) {
  std::string commands;
  for (int i = 0; i < 100; ++i) commands += "com.example.Command" + std::to_string(i) + '\n';
  const std::string path = '/' + std::string(200, 'x');
  for (const char* lineEnd : {"\n", "\r\n", "\r"}) {
    const std::string former =
        withLineEnds(smallPpd(fmt::format("*cupsFilter: \"application/vnd.cups-command 0 {}\"\n"
                                          "*cupsCommands: \"{}\"\n*cupsModelNumber: 7\n",
                                          path, commands)),
                     lineEnd);
    const std::string text = withSupplyReports(former, kLaser);
    const ReadPpd ppd(text);
    ASSERT_THAT(ppd.values("cupsCommands"), SizeIs(1));
    EXPECT_THAT(ppd.values("cupsCommands")[0], HasSubstr("com.example.Command99"));
    ASSERT_THAT(ppd.values("moxCommandFilter"), SizeIs(1));
    EXPECT_EQ(filterLineFrom(ppd.values("moxCommandFilter")[0])->program, path);
    EXPECT_THAT(ppd.values("cupsModelNumber"), ElementsAre("7"));
    EXPECT_EQ(ppd.settings().kind, PrinterKind::kLaser);
    EXPECT_EQ(withoutSupplyReports(text), former);
  }
}

TEST(PpdWithSupplyReports, KeepsNoCommandThatCouldBeSomethingElse) {
  const ReadPpd ppd(withSupplyReports(
      smallPpd(
          "*cupsFilter: \"application/vnd.cups-command 0 x\"\n*cupsCommands: \"Cl\x1B[2Jean A" +
          std::string(128, 'x') + " \xC3\xA4 Good\"\n"),
      kLaser));
  EXPECT_THAT(ppd.values("cupsCommands"), ElementsAre("ReportLevels ReportStatus Good"));
}

TEST(PpdWithoutSupplyReports, KeepsWhatWasChangedMeanwhile) {
  std::string text = withSupplyReports(kContradicting, kLaser);
  const auto size = text.find("*DefaultPageSize: A4");
  text.replace(size, 20, "*DefaultPageSize: Letter");
  text += "*Added: 1\n";
  std::string expected = kContradicting;
  expected.replace(expected.find("*DefaultPageSize: A4"), 20, "*DefaultPageSize: Letter");
  EXPECT_EQ(withoutSupplyReports(text), expected + "*Added: 1\n");
}

// As a PPD file is when the print server has rewritten it: newlines alone, and one at its end.
TEST(PpdWithoutSupplyReports, TakesTheBlockAwayAfterItsLineEndsWereChanged) {
  for (const std::string& ppd :
       {kContradicting, kContradicting.substr(0, kContradicting.size() - 1)}) {
    std::string text = withSupplyReports(withLineEnds(ppd, "\r\n"), kLaser);
    std::erase(text, '\r');
    EXPECT_EQ(withoutSupplyReports(text), ppd);
  }
}

TEST(PpdWithoutSupplyReports, KeepsWhatWasAddedBehindALineThatWasUnfinished) {
  const std::string text = withSupplyReports("*Last: 1", kLaser) + "*Added: 1\n";
  EXPECT_EQ(withoutSupplyReports(text), "*Last: 1\n*Added: 1\n");
}

TEST(PpdWithoutSupplyReports, KeepsWhatOthersPutIntoTheBlock) {
  std::string text = withSupplyReports(kWithFilters, kLaser);
  text.insert(text.find("*moxPrinterType"), "*cupsIPPSupplies: True\n");
  EXPECT_EQ(withoutSupplyReports(text), kWithFilters + "*cupsIPPSupplies: True\n");
}

TEST(PpdWithoutSupplyReports, KeepsWhatFollowsABlockThatHasLostItsEnd) {
  std::string text = withSupplyReports(kWithFilters, kLaser);
  const std::string end = "*% moxsupply: supply reports end\n";
  text.erase(text.find(end), end.size());
  EXPECT_EQ(withoutSupplyReports(text + "*Added: 1\n"), kWithFilters + "*Added: 1\n");
}

// The PPD files that came with the machine.
std::vector<std::string> installedPpds() {
  std::vector<std::string> paths;
  for (const char* folder : {"/usr/share/ppd", "/usr/share/cups/model"}) {
    std::error_code ignored;
    for (const auto& entry : fs::recursive_directory_iterator(folder, ignored)) {
      if (entry.is_regular_file() && entry.path().extension() == ".ppd") {
        paths.push_back(entry.path());
      }
    }
  }
  return paths;
}

TEST(InstalledPpds, GetTheCommandFilterAndLoseItAgain) {
  const auto paths = installedPpds();
  if (paths.empty()) GTEST_SKIP() << "this machine has no PPD files";
  for (const std::string& path : paths) {
    SCOPED_TRACE(path);
    const std::string text = contentOf(path);
    const std::string edited = withSupplyReports(text, kInkjet);
    EXPECT_EQ(withoutSupplyReports(edited), text);

    const ReadPpd before(text);
    const ReadPpd after(edited);
    EXPECT_THAT(after.values("cupsCommands"), ElementsAre(StartsWith("ReportLevels ReportStatus")));
    EXPECT_EQ(after.settings().kind, PrinterKind::kInkjet);
    for (const char* keyword : {"NickName", "PageSize", "cupsModelNumber", "Resolution"}) {
      EXPECT_EQ(after.values(keyword), before.values(keyword));
    }
    const bool isNewer = !before.values("cupsFilter2").empty();
    EXPECT_THAT(after.values(isNewer ? "cupsFilter2" : "cupsFilter"),
                ::testing::Contains(HasSubstr("commandtomox")));
  }
}

}  // namespace
}  // namespace moxsupply::testing
