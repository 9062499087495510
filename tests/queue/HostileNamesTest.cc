// A printer's supplies may be called anything. Every name must arrive as one harmless name: for
// those who ask the print server, for the print server when it reads its own files again, and on a
// terminal.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/queue/QueueTest.h"
#include "tests/support/Models.h"
#include "tests/support/SimulatedPrinter.h"

namespace moxsupply::testing {
namespace {

using namespace std::string_literals;

struct Name {
  std::string sent;
  std::string published;
};

// The supplies of one printer, in the order of its table.
struct Names {
  const char* name;
  std::vector<Name> list;
};

std::string times(int count, const std::string& text) {
  std::string all;
  for (int i = 0; i < count; ++i) all += text;
  return all;
}

const std::array kPrinters = std::to_array<Names>({
    {"LineEnds",
     {{"Black\nATTR: marker-levels=0", "Black ATTR: marker-levels=0"},
      {"Cyan\r\nSTATE: +paused", "Cyan STATE: +paused"},
      {"Magenta\rPAGE: 1 1", "Magenta PAGE: 1 1"},
      {"Yellow\vToner\fCartridge", "Yellow Toner Cartridge"},
      {"\nERROR: on fire\n", "ERROR: on fire"},
      {"Next\u0085line", "Next line"},
      {"Line\u2028separator", "Line separator"},
      {"Paragraph\u2029separator", "Paragraph separator"}}},
    {"WordsOfThePrintServer",
     {{"ATTR: x=y", "ATTR: x=y"},
      {"STATE: +paused", "STATE: +paused"},
      {"STATE: paused", "STATE: paused"},
      {"EMERG: stop", "EMERG: stop"},
      {"PPD: cupsSNMPSupplies=True", "PPD: cupsSNMPSupplies=True"},
      {"marker-levels=0", "marker-levels=0"},
      {"none", "none"},
      {"</Printer>", "\u2039/Printer\u203A"},
      {"<Printer root>", "\u2039Printer root\u203A"},
      {"#CUPS-COMMAND", "#CUPS-COMMAND"}}},
    {"QuotesAndSeparators",
     {{"Black, High Yield", "Black / High Yield"},
      {",", "/"},
      {"It's", "It\u2019s"},
      {"'", "\u2019"},
      {R"(Say "hi" 5)", "Say \u201Dhi\u201D 5"},
      {R"(")", "\u201D"},
      {R"(C:\TONER\)", "C:/TONER/"},
      {R"(\\\)", "///"},
      {R"(\'\",\)", "/\u2019/\u201D //"},
      {R"('a','b','c')", "\u2019a\u2019 /\u2019b\u2019 /\u2019c\u2019"}}},
    {"SignsOfOtherSyntaxes",
     {{"{}", "{}"},
      {"{a=1 b=2}", "{a=1 b=2}"},
      {"a=b", "a=b"},
      {"=", "="},
      {"# 5", "# 5"},
      {"-1", "-1"},
      {"%s%n%d", "%s%n%d"},
      {"$(reboot) `reboot`", "$(reboot) `reboot`"},
      {"<b>&amp;</b>", "\u2039b\u203A+amp;\u2039/b\u203A"},
      {"*cupsFilter: x", "*cupsFilter: x"},
      {"index=9;class=other;", "index=9;class=other;"}}},
    {"ControlCharacters",
     {{"\x1B[2J\x1B[HGone", "[2J [HGone"},
      {"\x1B]0;title\x07"s + "Black", "]0;title Black"},
      {"\x1BP1$r\x1B\\Black", "P1$r /Black"},
      {"\u009B2JBlack", "2JBlack"},
      {"Black\b\b\b\b\bWhite", "Black White"},
      {"Black\x7F", "Black"},
      {"\x01\x02\x03", "Supply 7"},
      {"Tab\tbed", "Tab bed"},
      {"Black\0Hidden"s, "Black"}}},
    {"HiddenCharacters",
     {{"\u202EkcalB", "kcalB"},  // NOLINT(*-bidirectional): written so, it misleads nobody
      {"a\u2066b\u2069c", "a b c"},
      {"\u200FRight to left", "Right to left"},
      {"\u061CArabic mark", "Arabic mark"},
      {"Zero\u200Bwidth", "Zero width"},
      {"Word\u2060joiner", "Word joiner"},
      {"\uFEFF"s + "Byte order", "Byte order"},
      {"\U000E0041\U000E0042", "Supply 8"}}},
    {"Blanks",
     {{"", "Supply 1"},
      {"   ", "Supply 2"},
      {"  leading", "leading"},
      {"trailing  ", "trailing"},
      {"in    between", "in between"},
      {"\t \n", "Supply 6"},
      {"twice", "twice"},
      {"twice", "twice"}}},
    {"OtherScripts",
     {{"青色トナー", "青色トナー"},
      {"Čierny toner", "Čierny toner"},
      {"🖨 Toner", "🖨 Toner"},
      {"نافتا", "نافتا"},
      {"क्‍ष", "क्‍ष"}}},  // the joiner in it is part of the script
    {"LongNames",
     {{times(255, "x"), times(40, "x")},
      {"x" + times(127, "é"), "x" + times(39, "é")},
      {times(255, "'"), times(40, "\u2019")},
      {times(60, "e\u0301"), times(40, "e\u0301")},
      {"High Yield Return Program Magenta Toner Cartridge",
       "High Yield Return Program Magenta Toner"},
      {times(85, "\u2028"), "Supply 6"},
      {"High Yield Return Program Magenta Toner in a box", "High Yield Return Program Magenta 2"}}},
});

class HostileNames : public QueueTest, public ::testing::WithParamInterface<Names> {
 protected:
  [[nodiscard]] static simulator::Model printerModel() {
    std::vector<Toner> toners;
    for (const Name& name : GetParam().list) toners.push_back({name.sent, 5});
    return laserPrinter(toners);
  }

  [[nodiscard]] static Values published() {
    Values names;
    for (const Name& name : GetParam().list) names.push_back(name.published);
    return names;
  }

  void expectPublished() const {
    const Attributes attributes = this->attributes();
    const std::size_t count = GetParam().list.size();
    EXPECT_EQ(attributes["marker-names"], published());
    EXPECT_EQ(attributes["marker-types"], Values(count, "toner"));
    EXPECT_EQ(attributes["marker-colors"].size(), count);
    EXPECT_EQ(attributes["marker-levels"], Values(count, "5"));
    EXPECT_EQ(attributes["marker-low-levels"], Values(count, "10"));
    EXPECT_EQ(attributes["marker-high-levels"], Values(count, "100"));
    EXPECT_EQ(attributes["printer-state"], Values{"3"});  // idle
    EXPECT_EQ(attributes["printer-state-reasons"], Values{"toner-low-report"});
    EXPECT_EQ(attributes["marker-message"].size(), 1U);
    EXPECT_EQ(harmIn(attributes["marker-message"].at(0)), "");
    EXPECT_EQ(optionOf(server(), queue(), "marker-names"), published());
    EXPECT_EQ(optionOf(server(), queue(), "marker-levels"), Values(count, "5"));
  }

  // The first thing in a text that can do harm on a terminal, as hex digits; empty when there is
  // none.
  static std::string harmIn(std::string_view text) {
    // NOLINTBEGIN(*-bidirectional): written so, they mislead nobody
    constexpr std::array kHidden = std::to_array<std::string_view>(
        {"\u061C", "\u200B", "\u200E", "\u200F", "\u2028", "\u2029", "\u202A", "\u202B", "\u202C",
         "\u202D", "\u202E", "\u2060", "\u2066", "\u2067", "\u2068", "\u2069", "\uFEFF",
         "\U000E0041", "\U000E0042"});
    // NOLINTEND(*-bidirectional)
    for (std::size_t at = 0; at < text.size(); ++at) {
      const auto byte = static_cast<unsigned char>(text[at]);
      const bool isSecondOfC1 = at > 0 && text[at - 1] == '\xC2' && byte >= 0x80 && byte < 0xA0;
      if ((byte < 0x20 && byte != '\n') || byte == 0x7F || isSecondOfC1) {
        return fmt::format("{:02X} in {}", byte, text);
      }
    }
    for (const std::string_view hidden : kHidden) {
      if (text.find(hidden) != std::string_view::npos) return fmt::format("{} in {}", hidden, text);
    }
    return {};
  }
};

INSTANTIATE_TEST_SUITE_P(Printers, HostileNames, ::testing::ValuesIn(kPrinters),
                         [](const auto& names) { return names.param.name; });

TEST_P(HostileNames, ArePublishedAsHarmlessOnesForGood) {
  const SimulatedPrinter printer(port(), printerModel());
  addEnabledQueue("laser");
  report();
  expectPublished();
  const Values message = attributes()["marker-message"];
  server().restart();
  expectPublished();
  EXPECT_EQ(attributes()["marker-message"], message);
}

TEST_P(HostileNames, DoNothingOnATerminal) {
  const SimulatedPrinter printer(port(), printerModel());
  addEnabledQueue("laser");
  for (const std::string command : {"levels", "refresh", "doctor"}) {
    const Ran ran = server().moxsupply({command, queue()});
    EXPECT_EQ(ran.exitStatus, 0) << ran.errors;
    EXPECT_EQ(ran.errors, "");
    EXPECT_EQ(harmIn(ran.output), "") << command;
  }
  // `script` gives the program a terminal, and writes down what appears on it. There, lines end
  // with two characters, and the line that tells what is being waited for goes again.
  const Ran ran = server().run(
      {"script", "--quiet", "--return", "--command",
       fmt::format("{} levels {} --color never", MOXSUPPLY_PROGRAM, queue()), "/dev/null"},
      {"TERM=xterm"});
  EXPECT_EQ(ran.exitStatus, 0);
  std::string shown = ran.output;
  for (const std::string_view ours : {"\r\n", "\r\x1B[K"}) {
    for (std::size_t at = 0; (at = shown.find(ours, at)) != std::string::npos;) {
      shown.replace(at, ours.size(), "\n");
    }
  }
  EXPECT_EQ(harmIn(shown), "");
}

class NamesThatAreNoText : public QueueTest {};

// A name that cannot be read takes the report with it, and nothing else.
TEST_F(NamesThatAreNoText, LeaveTheLastReport) {
  addEnabledQueue("laser");
  {
    const SimulatedPrinter printer(port(), laserPrinter({{"Black", 50}}));
    report();
  }
  for (const std::string name : {"\xFF\xFE", "\xC3", "Cut \xE2\x82", "\xED\xA0\x80", "\xC0\xAF"}) {
    const SimulatedPrinter printer(port(), laserPrinter({{name, 40}}));
    const int job = submit(server(), queue(), "ReportLevels");
    EXPECT_EQ(endOf(server(), queue(), job), "canceled");
    EXPECT_EQ(attributes()["marker-names"], Values{"Black"});
    EXPECT_EQ(attributes()["marker-levels"], Values{"50"});
    EXPECT_EQ(attributes()["marker-message"].at(0).find(
                  "The printer answered but its supplies cannot be read. The levels shown are "
                  "those of its last report (20"),
              0U);
  }
  EXPECT_EQ(attributes()["printer-state-reasons"], Values{"timed-out-report"});
}

}  // namespace
}  // namespace moxsupply::testing
