#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "monitoring/PrinterList.h"
#include "tests/support/TemporaryFolder.h"

namespace moxsupply::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

PrinterList listOf(std::string_view json) {
  const auto list = parsePrinterList(json, "list");
  if (!list) ADD_FAILURE() << list.error().what;
  return list.value_or(PrinterList());
}

std::string mistakeIn(std::string_view json) {
  const auto list = parsePrinterList(json, "list");
  if (list) return "nothing is wrong";
  EXPECT_TRUE(list.error().isMisuse);
  EXPECT_EQ(list.error().what.find('\n'), std::string::npos);
  return list.error().what;
}

TEST(AListOfPrinters, HasTheirLabels) {
  const PrinterList list = listOf(R"([
    {"targets": ["socket://192.0.2.7"],
     "labels": {"printer_type": "laser", "name": "Office", "place": "2nd floor", "team": "blue"}},
    {"targets": ["usb://Example/Printer?serial=1"]}])");
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[0], (ListedPrinter{"socket://192.0.2.7",
                                    "socket://192.0.2.7",
                                    PrinterKind::kLaser,
                                    "Office",
                                    "2nd floor",
                                    false,
                                    {{"printer_type", "laser"},
                                     {"name", "Office"},
                                     {"place", "2nd floor"},
                                     {"team", "blue"}}}));
  EXPECT_EQ(list[1],
            (ListedPrinter{"usb://Example/Printer?serial=1", "usb://Example/Printer?serial=1",
                           std::nullopt, "usb://Example/Printer?serial=1", ""}));
}

TEST(AListOfPrinters, MayNameHostsOnly) {
  const PrinterList list =
      listOf(R"([{"targets": ["192.0.2.7", "printer.example:9101", "[2001:db8::7]:9100"]}])");
  ASSERT_EQ(list.size(), 3U);
  EXPECT_EQ(list[0].target, "192.0.2.7");
  EXPECT_EQ(list[0].uri, "socket://192.0.2.7");
  EXPECT_EQ(list[1].uri, "socket://printer.example:9101");
  EXPECT_EQ(list[2].uri, "socket://[2001:db8::7]:9100");
}

TEST(AListOfPrinters, MayBeEmpty) {
  EXPECT_TRUE(listOf("[]").empty());
  EXPECT_TRUE(listOf(R"([{"targets": [], "labels": {}}])").empty());
}

TEST(AListOfPrinters, HasHarmlessNames) {
  const PrinterList list =
      listOf(R"([{"targets": ["a"], "labels": {"name": "A\u001b[2J\nB", "place": "\u202e"}}])");
  EXPECT_EQ(list.at(0).name, "A [2J B");
  EXPECT_EQ(list.at(0).place, "");
}

TEST(AMistakeInAList, SaysWhereItIs) {
  EXPECT_THAT(mistakeIn("[\n  {]"), StartsWith("list:2:4: "));
  EXPECT_EQ(mistakeIn("{}"), "list: expected a list, not an object");
  EXPECT_EQ(mistakeIn("[7]"), "list: /0: expected an object, not 7");
  EXPECT_EQ(mistakeIn("[{}]"), "list: /0: expected the key \"targets\"");
  EXPECT_EQ(mistakeIn(R"([{"targets": "a"}])"), "list: /0/targets: expected a list, not \"a\"");
  EXPECT_EQ(mistakeIn(R"([{"targets": ["a", 7]}])"), "list: /0/targets/1: expected a text, not 7");
  EXPECT_EQ(mistakeIn(R"([{"targets": [], "label": {}}])"),
            "list: /0/label: unknown key; expected one of: targets, labels");
  EXPECT_EQ(mistakeIn(R"([{"targets": [], "labels": []}])"),
            "list: /0/labels: expected an object, not a list");
  EXPECT_EQ(mistakeIn(R"([{"targets": [], "labels": {"printer_type": "Laser"}}])"),
            R"(list: /0/labels/printer_type: expected "laser", "inkjet" or "auto", not "Laser")");
  EXPECT_EQ(mistakeIn(R"([{"targets": [], "labels": {"name": 7}}])"),
            "list: /0/labels/name: expected a text, not 7");
  EXPECT_EQ(mistakeIn(R"([{"targets": [], "targets": []}])"),
            "list: /0/targets: this key stands twice");
}

TEST(AMistakeInAList, CanBeATarget) {
  for (const char* target : {"", "a b", "http://[", "socket://", "--record=x:/y", "-x:/y",
                             "a\\u0000b", "a\\nb", "\\u00e4"}) {
    const std::string json = std::string(R"([{"targets": [")") + target + R"("]}])";
    EXPECT_THAT(mistakeIn(json), StartsWith("list: /0/targets/0: expected a device URI")) << target;
  }
  EXPECT_THAT(mistakeIn(R"([{"targets": [")" + std::string(600, 'a') + R"("]}])"),
              HasSubstr("a text of at most 512 bytes"));
}

TEST(AMistakeInAList, IsATargetThatStandsTwice) {
  EXPECT_EQ(mistakeIn(R"([{"targets": ["a", "b"]}, {"targets": ["c", "a"]}])"),
            "list: /1/targets/1: expected each target once, not \"a\"");
  EXPECT_EQ(mistakeIn(R"([{"targets": ["Printer.example", "socket://printer.example:9100/"]}])"),
            "list: /0/targets/1: expected each printer once; it stands before as "
            "\"Printer.example\", not \"socket://printer.example:9100/\"");
}

TEST(AMistakeInAList, QuotesAtMost80CharactersOfIt) {
  const std::string host(400, 'a');
  EXPECT_EQ(mistakeIn(R"([{"targets": [")" + host + R"(", "socket://)" + host + R"("]}])"),
            "list: /0/targets/1: expected each printer once; it stands before as \"" +
                std::string(77, 'a') + "...\", not \"socket://" + std::string(50, 'a') + "...");
  const std::string key(8'000'000, 'k');
  EXPECT_EQ(
      mistakeIn(R"([{"targets": [], ")" + key + R"(": 1}])"),
      "list: /0/" + std::string(74, 'k') + "...: unknown key; expected one of: targets, labels");
  EXPECT_EQ(mistakeIn(R"([{"targets": [], "labels": {"printer_type": ")" + host + R"("}}])"),
            R"(list: /0/labels/printer_type: expected "laser", "inkjet" or "auto", not ")" +
                std::string(59, 'a') + "...");
}

TEST(AListOfPrinters, ShowsNoPasswords) {
  const auto list = listOf(
      R"([{"targets": ["ipp://jane:w0rd@a/ipp/print", "jane:w0rd@b:9101", "usb://c/d?e=f@g"]}])");
  ASSERT_EQ(list.size(), 3U);
  EXPECT_EQ(list[0].name, "ipp://a/ipp/print");
  EXPECT_EQ(list[0].uri, "ipp://jane:w0rd@a/ipp/print");
  EXPECT_EQ(list[1].name, "b:9101");
  EXPECT_EQ(list[1].target, "jane:w0rd@b:9101");
  EXPECT_EQ(list[2].name, "usb://c/d?e=f@g");
}

TEST(AMistakeInAList, ShowsNoPasswords) {
  for (const std::string targets : {
           R"("ipp://jane:w0rd@a/", "ipp://jane:w0rd@a/")",
           R"("jane:w0rd@a", "socket://jane:w0rd@a:9100")",
           R"("ipp://jane:w0rd@a:port/")",
           R"("ipp://jane:w0 rd@a/")",
           R"("ipp://jane:w0rd\u0007@a/")",
       }) {
    const std::string mistake = mistakeIn(R"([{"targets": [)" + targets + "]}]");
    EXPECT_THAT(mistake, HasSubstr("expected"));
    EXPECT_EQ(mistake.find("jane"), std::string::npos) << mistake;
    EXPECT_EQ(mistake.find("w0"), std::string::npos) << mistake;
  }
  EXPECT_EQ(
      mistakeIn(R"([{"targets": ["jane:w0rd@)" + std::string(600, 'a') + R"("]}])").find("w0"),
      std::string::npos);
}

TEST(AMistakeInAList, IsToHaveTooManyPrinters) {
  std::string json = R"([{"targets": ["printer0")";
  for (std::size_t i = 1; i <= kMostPrinters; ++i) json += ",\"printer" + std::to_string(i) + '"';
  EXPECT_THAT(mistakeIn(json + "]}]"),
              HasSubstr("/0/targets/10000: expected at most 10000 targets"));
}

TEST(AListInAFile, IsReadOrItIsSaidWhyNot) {
  const TemporaryFolder folder;
  const std::string path = folder.path() / "list.json";
  const auto problem = [](const std::string& file) { return readPrinterList(file).error().what; };
  EXPECT_EQ(problem(path), path + ": No such file or directory");
  EXPECT_EQ(problem(folder.path()), folder.path().string() + ": Is a directory");
  std::ofstream(path) << R"([{"targets": ["a"]}])";
  EXPECT_EQ(readPrinterList(path)->size(), 1U);
  std::filesystem::resize_file(path, kLongestList + 1);
  EXPECT_EQ(problem(path), path + ": longer than 16777216 bytes, the most that a list may have");
}

TEST(AListOfPrinters, MayNameQueues) {
  const auto list = parsePrinterList(
      R"([{"targets": ["ipp://server/printers/office", "ipp://printer/ipp/print", "a"]}])", "list");
  ASSERT_TRUE(list);
  EXPECT_TRUE(list->at(0).isQueue);
  EXPECT_FALSE(list->at(1).isQueue);
  EXPECT_FALSE(list->at(2).isQueue);
  const auto twice = parsePrinterList(
      R"([{"targets": ["ipp://server/printers/office", "ipp://SERVER:631/printers/office"]}])",
      "list");
  ASSERT_FALSE(twice);
  EXPECT_EQ(twice.error().what,
            "list: /0/targets/1: expected each printer once; it stands before as "
            "\"ipp://server/printers/office\", not \"ipp://SERVER:631/printers/office\"");
}

}  // namespace
}  // namespace moxsupply::testing
