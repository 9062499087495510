#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <utf8.h>

#include <algorithm>
#include <array>
#include <map>
#include <random>
#include <string>

#include "renderings/MarkerAttributes.h"
#include "tests/support/MadeSupply.h"
#include "tests/support/ServerQueue.h"
#include "text/HarmlessText.h"

namespace moxsupply::testing {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::SizeIs;
using ::testing::StartsWith;

constexpr std::size_t kLongestLine = 2000;  // with its newline
constexpr std::size_t kLongestName = 255;
constexpr std::size_t kMostCharacters = 40;
constexpr std::array<const char*, 6> kLists = {"marker-names",      "marker-types",
                                               "marker-colors",     "marker-levels",
                                               "marker-low-levels", "marker-high-levels"};

Supply toner(const std::string& name, std::optional<int> level = 50) {
  return madeSupply({.name = name, .color = "Black", .level = level});
}

Supply tonerThatIs(const std::string& status, std::optional<int> level = 50) {
  return madeSupply({.name = "Cyan", .color = "Black", .status = status, .level = level});
}

Supplies suppliesOf(std::vector<Supply> list) {
  Supplies supplies;
  supplies.list = std::move(list);
  return supplies;
}

MarkerAttributes attributesOf(std::vector<Supply> list) {
  return markerAttributes(suppliesOf(std::move(list)));
}

std::vector<std::string> linesOf(const std::vector<Supply>& list) {
  return markerLines(attributesOf(list));
}

// The queue after these lines alone.
ServerQueue queueAfter(const std::vector<std::string>& lines) {
  ServerQueue queue;
  std::string text;
  for (const std::string& line : lines) text += line;
  queue.hear(text);
  return queue;
}

std::string nameOf(const std::string& name) { return markerName(name); }

std::string repeated(std::string_view text, int count) {
  std::string whole;
  for (int i = 0; i < count; ++i) whole += text;
  return whole;
}

// What must hold of the lines of any printer. Returns the queue that has heard them.
ServerQueue expectSixListsOf(const std::vector<std::string>& lines, std::size_t count) {
  EXPECT_THAT(lines, SizeIs(kLists.size()));
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const std::string& line = lines[i];
    EXPECT_THAT(line, StartsWith(std::string("ATTR: ") + kLists.at(i) + "='"));
    EXPECT_THAT(line, EndsWith("'\n"));
    EXPECT_EQ(std::ranges::count(line, '\n'), 1) << line;
    EXPECT_LE(line.size(), kLongestLine);
  }
  ServerQueue queue = queueAfter(lines);
  EXPECT_THAT(queue.messages(), SizeIs(kLists.size()));
  EXPECT_THAT(queue.messages("ATTR"), SizeIs(kLists.size()));
  for (const char* list : kLists) EXPECT_THAT(queue.values(list), SizeIs(count)) << list;
  return queue;
}

// The model of the print server, measured by what a real one was seen to do.
TEST(ModelOfThePrintServer, TakesNamesApartInTwoSteps) {
  const auto namesOf = [](const std::string& line) {
    return queueAfter({line}).values("marker-names");
  };
  EXPECT_THAT(namesOf("ATTR: marker-names='Black\\\\, HY,It\\\\\\'s'\n"),
              ElementsAre("Black, HY", "It's"));
  EXPECT_THAT(namesOf("ATTR: marker-names='\"Say \\\\\\\"hi\\\\\\\" 5\",\"Next\"'\n"),
              ElementsAre("Say \\"));
  EXPECT_THAT(namesOf("ATTR: marker-names=Black,Cyan\n"), ElementsAre("Black", "Cyan"));
  EXPECT_THAT(namesOf("ATTR: marker-names=\n"), ElementsAre());
  EXPECT_THAT(namesOf("STATE: marker-names=Black\n"), ElementsAre());
}

TEST(ModelOfThePrintServer, LosesNamesWithCommasAndQuotesWhenItStartsAgain) {
  ServerQueue queue = queueAfter({"ATTR: marker-names='Black\\\\, HY,#1 Cyan,It\\\\\\'s,Drum'\n"});
  EXPECT_THAT(queue.values("marker-names"), ElementsAre("Black, HY", "#1 Cyan", "It's", "Drum"));
  queue.restart();
  EXPECT_THAT(queue.values("marker-names"), ElementsAre("Black", " HY", "#1 Cyan", "Its,Drum"));
}

TEST(ModelOfThePrintServer, CutsALineAt2047Bytes) {
  const std::string names(2100, 'n');
  const ServerQueue queue = queueAfter({"ATTR: marker-names=" + names + "\n"});
  EXPECT_EQ(queue.values("marker-names").at(0).size(), 2047 - 19);
  EXPECT_THAT(queue.messages("DEBUG"), ElementsAre(std::string(2100 - (2047 - 19), 'n')));
}

TEST(MarkerName, IsAnOrdinaryNameAsItStands) {
  for (const char* name : {"Black Toner", "Réceptacle à toner usagé", "トナー (Cyan)",
                           "Toner #1 {HY} = 50%", "Cartridge 1; 2: 3", "`$(x)`"}) {
    EXPECT_EQ(nameOf(name), name);
  }
}

TEST(MarkerName, HasStandInsForWhatThePrintServerWouldTakeApart) {
  EXPECT_EQ(nameOf("Kit, 110V"), "Kit / 110V");
  EXPECT_EQ(nameOf("a,b"), "a /b");
  EXPECT_EQ(nameOf("5\" Roll"), "5\u201D Roll");
  EXPECT_EQ(nameOf("It's"), "It\u2019s");
  EXPECT_EQ(nameOf("C:\\toner"), "C:/toner");
  EXPECT_EQ(nameOf(R"('"\,)"), "\u2019\u201D/ /");
}

TEST(MarkerName, HasStandInsForWhatDesktopsTakeForMarkup) {
  EXPECT_EQ(nameOf("<b>Black</b> & Cyan"), "\u2039b\u203ABlack\u2039/b\u203A + Cyan");
  EXPECT_EQ(nameOf("&lt;img&gt;"), "+lt;img+gt;");
}

TEST(MarkerName, IsOneHarmlessLine) {
  EXPECT_EQ(nameOf("Toner\nATTR: marker-names=x"), "Toner ATTR: marker-names=x");
  EXPECT_EQ(nameOf("Toner\r\nSTATE: paused"), "Toner STATE: paused");
  EXPECT_EQ(nameOf("\x1B[2J\x1B]0;title\x07Toner"), "[2J ]0;title Toner");
  EXPECT_EQ(nameOf("\u202Erenot\u202C \u2066x\u2069"), "renot x");
  EXPECT_EQ(nameOf("a\xFFz"), "a\uFFFDz");
  EXPECT_EQ(nameOf("  Toner  "), "Toner");
  EXPECT_EQ(nameOf(", Toner"), "/ Toner");  // no blank at its beginning from the comma either
}

TEST(MarkerName, IsNeverEmpty) {
  for (const char* name : {"", "   ", "\n", "\u200B\uFEFF", "\x1B"}) EXPECT_EQ(nameOf(name), "?");
}

TEST(MarkerName, IsCutTo40Characters) {
  EXPECT_EQ(nameOf(std::string(40, 'n')), std::string(40, 'n'));
  EXPECT_EQ(nameOf(std::string(41, 'n')), std::string(40, 'n'));
  EXPECT_EQ(nameOf(repeated("\U0001F5A8", 41)), repeated("\U0001F5A8", 40));
  EXPECT_EQ(nameOf(repeated("\"", 255)), repeated("\u201D", 40));  // as they are published
}

TEST(MarkerName, IsCutAfterAWord) {
  EXPECT_EQ(nameOf("High Yield Return Program Magenta Toner Cartridge"),
            "High Yield Return Program Magenta Toner");
  EXPECT_EQ(nameOf("High Yield Return Program Black Cartridges"),
            "High Yield Return Program Black");
  EXPECT_EQ(nameOf("A " + std::string(50, 'n')), "A " + std::string(38, 'n'));
}

// An accent is no character of its own.
TEST(MarkerName, CountsCharactersAsPeopleDo) {
  const std::string letter = "e\u0301";
  EXPECT_EQ(nameOf(repeated(letter, 40)), repeated(letter, 40));
  EXPECT_EQ(nameOf(repeated(letter, 41)), repeated(letter, 40));
  const std::string pile = "Black" + repeated("\u0301", 1000);
  EXPECT_EQ(nameOf(pile), "Black" + repeated("\u0301", 125));
}

// Where the rest tells them apart.
TEST(MarkerNames, StayApartThatTheCutWouldMakeEqual) {
  const std::string program = "Extra High Yield Return Program Toner of";
  const auto names = attributesOf({toner(program + " Cyan"), toner(program + " Magenta"),
                                   toner(program + " Cyan")})
                         .names;
  EXPECT_THAT(names, ElementsAre(program, "Extra High Yield Return Program Toner 2", program));
  const std::string n(50, 'n');
  EXPECT_THAT(attributesOf({toner(n), toner(n + "a")}).names,
              ElementsAre(std::string(40, 'n'), std::string(38, 'n') + " 2"));
}

TEST(MarkerNames, ThatThePrinterGaveTwiceStayTheSame) {
  EXPECT_THAT(attributesOf({toner("Drum"), toner("Drum"), toner("")}).names,
              ElementsAre("Drum", "Drum", "?"));
  EXPECT_THAT(attributesOf({toner("?"), toner("")}).names, ElementsAre("?", "?"));
}

TEST(MarkerAttributes, HoldEachSupplyInItsOrder) {
  Supply fuser = toner("Fuser", 93);
  fuser.kind = SupplyKind::kFuser;
  fuser.color = Color::kNone;
  const MarkerAttributes attributes = attributesOf({toner("Black Toner", 37), fuser});
  EXPECT_THAT(attributes.names, ElementsAre("Black Toner", "Fuser"));
  EXPECT_THAT(attributes.types, ElementsAre("toner", "fuser"));
  EXPECT_THAT(attributes.colors, ElementsAre("#000000", "none"));
  EXPECT_THAT(attributes.levels, ElementsAre(37, 93));
  EXPECT_THAT(attributes.lowLevels, ElementsAre(10, 10));
  EXPECT_THAT(attributes.highLevels, ElementsAre(100, 100));
  EXPECT_EQ(attributes.message, "");
}

TEST(MarkerAttributes, OfNoSuppliesAreEmpty) { EXPECT_EQ(attributesOf({}), MarkerAttributes()); }

TEST(MarkerColors, AreThoseOfTheInkOrToner) {
  const auto colorOf = [](Color color) {
    Supply supply = toner("Name");
    supply.color = color;
    return attributesOf({supply}).colors.at(0);
  };
  EXPECT_EQ(colorOf(Color::kCyan), "#00FFFF");
  EXPECT_EQ(colorOf(Color::kMagenta), "#FF00FF");
  EXPECT_EQ(colorOf(Color::kYellow), "#FFFF00");
  EXPECT_EQ(colorOf(Color::kBlack), "#000000");
  EXPECT_EQ(colorOf(Color::kThreeColors), "#00FFFF#FF00FF#FFFF00");
  EXPECT_EQ(colorOf(Color::kPhoto), "#000000#E0FFFF#FF77FF");
  EXPECT_EQ(colorOf(Color::kNone), "none");
}

TEST(MarkerColors, AreReadAsTheyArePublished) {
  for (const auto& [color, text] : kColors) {
    Supply supply = toner("Name");
    supply.color = color;
    EXPECT_EQ(colorPublishedAs(attributesOf({supply}).colors.at(0)), color) << text;
  }
  EXPECT_EQ(colorPublishedAs("#123456"), Color::kNone);
}

TEST(MarkerLevels, AreWhatIsKnown) {
  const auto levelOf = [](const Supply& supply) { return attributesOf({supply}).levels.at(0); };
  EXPECT_EQ(levelOf(toner("Name", 0)), 0);
  EXPECT_EQ(levelOf(toner("Name", 1)), 1);
  EXPECT_EQ(levelOf(toner("Name", 100)), 100);
  EXPECT_EQ(levelOf(toner("Name", std::nullopt)), -2);
  EXPECT_EQ(levelOf(tonerThatIs("Missing", std::nullopt)), -1);
}

TEST(MarkerMessage, NamesWhatNeedsAttention) {
  const auto messageOf = [](const Supply& supply) { return attributesOf({supply}).message; };
  EXPECT_EQ(messageOf(tonerThatIs("Missing", std::nullopt)), "Cyan is missing");
  EXPECT_EQ(messageOf(tonerThatIs("Invalid")), "Cyan is not valid in this printer");
  EXPECT_EQ(messageOf(tonerThatIs("Incorrect", 0)), "Cyan is the wrong cartridge");
  EXPECT_EQ(messageOf(toner("Cyan", 0)), "Cyan is empty");
  EXPECT_EQ(messageOf(tonerThatIs("Empty", 0)), "Cyan is empty");
  EXPECT_EQ(messageOf(tonerThatIs("Empty", std::nullopt)), "Cyan is empty");
  EXPECT_EQ(messageOf(toner("Cyan", 1)), "Cyan is low (1 %)");
  EXPECT_EQ(messageOf(toner("Cyan", 10)), "Cyan is low (10 %)");
  EXPECT_EQ(messageOf(toner("Cyan", 11)), "");
}

// What desktops draw as empty.
TEST(MarkerMessage, NamesTheSuppliesWithoutALevel) {
  EXPECT_EQ(attributesOf({toner("Cyan", 7), toner("Fuser", std::nullopt), toner("Drum", 50),
                          toner("Waste", std::nullopt), tonerThatIs("Missing", std::nullopt)})
                .message,
            "Cyan is low (7 %); Cyan is missing; Level unknown even where drawn as empty (see: man "
            "commandtomox): Fuser; Waste");
}

TEST(MarkerMessage, SaysThatThePrinterTellsNoLevels) {
  const auto unknown = suppliesOf({toner("Cyan", std::nullopt), toner("Drum", std::nullopt)});
  EXPECT_FALSE(tellsLevels(unknown));
  EXPECT_EQ(markerAttributes(unknown).message,
            "The printer tells no levels (see: man commandtomox)");
  for (const Supply& known : {toner("Cyan", 0), tonerThatIs("Missing", std::nullopt),
                              tonerThatIs("Empty", std::nullopt)}) {
    EXPECT_TRUE(tellsLevels(suppliesOf({toner("Drum", std::nullopt), known})));
  }
}

TEST(RemarkOnLevels, TellsWhenTheyWereReported) {
  const std::chrono::sys_seconds time(std::chrono::seconds(1'795'350'123));
  const std::string remark = remarkOnLevelsOf(time);
  EXPECT_EQ(remark, "The levels shown are those of its last report (2026-11-22 12:22 UTC).");
  const std::string message = "The printer did not answer. " + remark;
  EXPECT_EQ(reportTimeToldBy(message), std::chrono::floor<std::chrono::minutes>(time));
  EXPECT_EQ(queueAfter({markerMessageLine(message)}).message(), message);
}

TEST(RemarkOnLevels, TellsAnyYear) {
  for (const auto& [time, text] : std::map<std::int64_t, std::string>{
           {4'102'488'120, "(2100-01-01 12:02 UTC)"}, {-2'208'988'800, "(1900-01-01 00:00 UTC)"}}) {
    const std::chrono::sys_seconds reported{std::chrono::seconds(time)};
    EXPECT_THAT(remarkOnLevelsOf(reported), EndsWith(text + "."));
    EXPECT_EQ(reportTimeToldBy(text), reported) << text;
  }
}

TEST(RemarkOnLevels, TellsNoTimeThatIsNotKnown) {
  EXPECT_EQ(remarkOnLevelsOf(std::nullopt), "The levels shown are those of its last report.");
  for (const std::string message :
       {"", "The levels shown are those of its last report.",
        "The levels shown are those of its last report (yesterday).", "Cyan is empty"}) {
    EXPECT_EQ(reportTimeToldBy(message), std::nullopt) << message;
  }
}

TEST(MarkerMessage, SaysNothingOfTheLevelOfAFuserOrAContainer) {
  for (const char* kind : {"fuser", "other"}) {
    for (const int level : {0, 5}) {
      EXPECT_EQ(attributesOf({supplyOf(kind, level)}).message, "") << kind;
    }
  }
}

TEST(MarkerMessage, JoinsSeveral) {
  EXPECT_EQ(attributesOf({toner("Cyan", 0), toner("Drum", 40), toner("Kit, 110V", 7)}).message,
            "Cyan is empty; Kit / 110V is low (7 %)");
}

// What a message tells of each supply can be read from it again.
TEST(MarkerMessage, TellsTheStatusOfEachSupply) {
  std::vector<Supply> list;
  for (const char* status : {"Missing", "Invalid", "Incorrect", "Empty", "Correct"}) {
    list.push_back(
        madeSupply({.name = std::string("Ink, ") + status, .status = status, .level = 3}));
  }
  const MarkerAttributes attributes = attributesOf(list);
  for (std::size_t i = 0; i < list.size(); ++i) {
    EXPECT_EQ(statusToldBy(attributes.message, attributes.names[i]), list[i].status)
        << attributes.message;
  }
}

// As each catalog has it, and as it is published.
TEST(MarkerMessage, TellsTheStatusInWhateverLanguageItWasPublished) {
  EXPECT_EQ(statusToldBy("Gelb ist fast leer (5 %); Cyan fehlt", "Cyan"), SupplyStatus::kMissing);
  EXPECT_EQ(statusToldBy("Cyan ist die falsche Patrone", "Cyan"), SupplyStatus::kIncorrect);
  EXPECT_EQ(statusToldBy("Cyan n\u2019est pas valide dans cette imprimante", "Cyan"),
            SupplyStatus::kInvalid);
  EXPECT_EQ(statusToldBy("Cyan está vacío", "Cyan"), SupplyStatus::kEmpty);
  EXPECT_EQ(statusToldBy("シアンが装着されていません", "シアン"), SupplyStatus::kMissing);
  EXPECT_EQ(statusToldBy("Gelb fehlt", "Cyan"), SupplyStatus::kCorrect);
}

TEST(MarkerMessage, TellsNothingOfASupplyThatItDoesNotName) {
  EXPECT_EQ(statusToldBy("", "Cyan"), SupplyStatus::kCorrect);
  EXPECT_EQ(statusToldBy("Light Cyan is missing", "Cyan"), SupplyStatus::kCorrect);
  EXPECT_EQ(statusToldBy("Cyan is missing a lid", "Cyan"), SupplyStatus::kCorrect);
  EXPECT_EQ(statusToldBy("The printer is missing", "Cyan"), SupplyStatus::kCorrect);
}

TEST(MarkerLines, AreSixListsOfTheSameLength) {
  const Supply missing = tonerThatIs("Missing", std::nullopt);
  EXPECT_THAT(
      linesOf({toner("Black Toner", 37), toner("Waste", std::nullopt), missing}),
      ElementsAre("ATTR: marker-names='Black Toner,Waste,Cyan'\n",
                  "ATTR: marker-types='toner,toner,toner'\n",
                  "ATTR: marker-colors='#000000,#000000,#000000'\n",
                  "ATTR: marker-levels='37,-2,-1'\n", "ATTR: marker-low-levels='10,10,10'\n",
                  "ATTR: marker-high-levels='100,100,100'\n"));
}

TEST(MarkerLines, OfOneSupplyAreListsOfOne) {
  const ServerQueue queue = expectSixListsOf(linesOf({toner("Toner, \"HY\"", 12)}), 1);
  EXPECT_THAT(queue.values("marker-names"), ElementsAre("Toner / \u201DHY\u201D"));
  EXPECT_THAT(queue.numbers("marker-levels"), ElementsAre(12));
}

// Each fills its list's line to the last byte that it may have, or just does not.
TEST(MarkerLines, ShortenNamesOnlyWhereALineWouldBeTooLong) {
  // Names of 40 bytes, their commas, and one name more.
  constexpr std::size_t kCount = 48;
  const auto namesWithLast = [](std::size_t size) {
    std::vector<Supply> list(kCount, toner(std::string(kMostCharacters, 'n')));
    list.push_back(toner(std::string(size, 'z')));
    return list;
  };
  const std::size_t around = std::string("ATTR: marker-names=''\n").size();
  const std::size_t fits = kLongestLine - around - kCount * (kMostCharacters + 1);
  std::size_t longestUncut = 0;
  for (std::size_t size = 1; size <= fits + 1; ++size) {
    const ServerQueue queue = expectSixListsOf(linesOf(namesWithLast(size)), kCount + 1);
    const auto names = queue.values("marker-names");
    const bool isUncut = names.at(0).size() == kMostCharacters && names.at(kCount).size() == size;
    if (isUncut) longestUncut = size;
    EXPECT_TRUE(isUncut || names.at(0).size() < kMostCharacters);
  }
  // A few bytes of the line may stay unused, since all six lists get the same room.
  EXPECT_GE(longestUncut, std::max<std::size_t>(fits, 11) - 10);
  EXPECT_LE(longestUncut, fits);
}

TEST(MarkerLines, ShareTheRoomAmongLongNames) {
  std::vector<Supply> list(60, toner(""));
  for (std::size_t i = 0; i < 60; ++i)
    list[i].name = std::to_string(10 + i) + std::string(253, 'n');
  const ServerQueue queue = expectSixListsOf(linesOf(list), 60);
  const auto names = queue.values("marker-names");
  for (std::size_t i = 0; i < 60; ++i) {
    EXPECT_THAT(names[i], StartsWith(std::to_string(10 + i) + "nnnnnnnnnnnnnnnnnnnn"));
  }
}

TEST(MarkerLines, CutLongNamesBetweenCharacters) {
  for (const char* letter : {"ä", "黑", "\U0001F5A8", "\"", ",", "\\", "'"}) {
    for (int before = 0; before < 4; ++before) {
      const std::string whole = repeated("n", before) + repeated(letter, 255);
      const std::vector<Supply> list(60, toner(whole));
      const ServerQueue queue = expectSixListsOf(linesOf(list), 60);
      for (const std::string& name : queue.values("marker-names")) {
        EXPECT_TRUE(utf8::is_valid(name)) << name;
        EXPECT_GE(name.size(), 20U) << name;
        EXPECT_THAT(nameOf(whole), StartsWith(name));
      }
    }
  }
}

// A laser printer can count up to 255 supplies.
TEST(MarkerLines, LeaveOutOfAllListsWhatOneHasNoRoomFor) {
  struct Row {
    Color color;
    std::size_t published;
  };
  // With its comma a colour takes 8 bytes, three of them 22, none 5.
  for (const Row& row : {Row{Color::kBlack, 246}, Row{Color::kPhoto, 89}, Row{Color::kNone, 255}}) {
    std::vector<Supply> list(255, toner("Toner", 42));
    for (Supply& supply : list) supply.color = row.color;
    const ServerQueue queue = expectSixListsOf(linesOf(list), row.published);
    EXPECT_THAT(queue.numbers("marker-levels"), Each(42));
    for (const std::string& name : queue.values("marker-names")) {
      EXPECT_THAT(std::string("Toner"), StartsWith(name));
    }
  }
}

TEST(MarkerLines, HoldAnyNumberOfSuppliesWithTheLongestOfEverything) {
  Supply supply = toner(std::string(255, 'n'), 100);
  supply.color = Color::kThreeColors;
  for (std::size_t count = 1; count <= 100; ++count) {
    expectSixListsOf(linesOf(std::vector<Supply>(count, supply)), std::min<std::size_t>(count, 89));
  }
}

TEST(MarkerMessageLine, PublishesTheMessage) {
  EXPECT_EQ(markerMessageLine("Cyan is low (5 %); Drum is missing"),
            "ATTR: marker-message='Cyan is low (5 %); Drum is missing'\n");
}

TEST(MarkerMessageLine, OfNoneTakesTheFormerAway) {
  EXPECT_EQ(markerMessageLine(""), "ATTR: marker-message=\n");
  ServerQueue queue = queueAfter({markerMessageLine("Cyan is empty")});
  EXPECT_EQ(queue.message(), "Cyan is empty");
  queue.hear(markerMessageLine(""));
  EXPECT_EQ(queue.message(), "");
}

TEST(MarkerMessageLine, IsOneTextWhateverItSays) {
  for (const char* message : {"One, two, and three", "It's \"empty\"", "C:\\toner",
                              "a\nATTR: marker-names=x", "'", "\"", "\\", ",", "\x1B[2J"}) {
    ServerQueue queue = queueAfter({markerMessageLine(message)});
    ASSERT_THAT(queue.messages(), SizeIs(1)) << message;
    EXPECT_THAT(queue.values("marker-message"), ElementsAre(nameOf(message))) << message;
    queue.restart();
    EXPECT_THAT(queue.values("marker-message"), ElementsAre(nameOf(message))) << message;
  }
}

TEST(MarkerMessageLine, IsShortEnoughHoweverMuchNeedsAttention) {
  const MarkerAttributes attributes =
      attributesOf(std::vector<Supply>(60, toner(repeated("ä", 127), 0)));
  const std::string line = markerMessageLine(attributes.message);
  EXPECT_LE(line.size(), kLongestLine);
  ServerQueue queue = queueAfter({line});
  EXPECT_TRUE(utf8::is_valid(queue.message()));
  EXPECT_LE(queue.message().size(), 255U);
  EXPECT_GE(queue.message().size(), 250U);
  EXPECT_THAT(attributes.message, StartsWith(queue.message()));
}

// Names that were made to do harm, each beside an ordinary one, which must come through.
TEST(HostileNames, ReachThePrintServerAsOneHarmlessNameAndOutliveIt) {
  const std::vector<std::string> hostile = {
      "a\nATTR: marker-levels=100",
      "a\nSTATE: paused",
      "\nERROR: fire",
      "ATTR: marker-names=x",
      "STATE: +media-jam",
      "a\r\nb",
      "a' marker-levels='100",
      "a\" marker-levels=\"100",
      "'; marker-types='x",
      "\\",
      "\\\\",
      "\\'",
      "\\\"",
      "'",
      "\"",
      "''",
      "\"\"",
      ",",
      ",,",
      "a,b,c",
      "a\\,b",
      "{a=1 b={c}}",
      "{",
      "}",
      "#",
      "\\#",
      "a#b#c",
      "=",
      "a=b c=d",
      " lead",
      "trail ",
      "",
      " ",
      "\t",
      "\x1B[31mred\x1B[0m",
      "\x1B]0;owned\x07",
      "\u009B[2J",
      "\u202Egnp.exe\u202C",
      "\u2066\u2069",
      "\u200B",
      "\uFEFF",
      "\u2028",
      "\u2029x",
      "\xFF\xFE",
      "\xC3",
      "\xC0\xAF",
      "\xED\xA0\x80",
      "\xF4\x90\x80\x80",
      "%s%n%d",
      "$(reboot)",
      "`reboot`",
      "<script>",
      "/Supply",
      "-1",
      "none",
      std::string(255, 'n'),
      std::string(255, ','),
      std::string(255, '\''),
      std::string(255, '"'),
      std::string(255, '\\'),
      std::string(254, ' ') + "x",
      std::string(300, '\n'),
      std::string("nul\0nul", 7),
  };
  for (const std::string& name : hostile) {
    const std::vector<Supply> list = {toner("Before", 1), toner(name, 2), toner("After", 3)};
    ServerQueue queue = expectSixListsOf(linesOf(list), 3);
    const auto expected = ElementsAre("Before", nameOf(name), "After");
    EXPECT_THAT(queue.values("marker-names"), expected) << name;
    EXPECT_THAT(queue.numbers("marker-levels"), ElementsAre(1, 2, 3)) << name;
    queue.restart();
    EXPECT_THAT(queue.values("marker-names"), expected) << name;
    EXPECT_THAT(queue.values("marker-colors"), Each("#000000"));
  }
}

std::string character(char32_t c) {
  std::string text;
  utf8::append(c, text);
  return text;
}

// What means something to one reader or another, or to several.
const std::array<std::string, 34> kPieces = {
    ",",
    "\"",
    "'",
    "\\",
    "\\,",
    "\\\\'",
    "' x='",
    "#",
    "{",
    "}",
    "=",
    "%s",
    "marker-names=",
    "ATTR: ",
    "STATE:",
    "\nATTR:",
    "\n+",
    "\n",
    "\r",
    "\t",
    " ",
    "  ",
    "\x1B[",
    "\u200B",
    character(0x202E),  // turns the direction of writing
    character(0x2066),  // isolates a direction
    "\u0301",
    "ä",
    "黑",
    "\U0001F5A8",
    "\xFF",
    "\xC3",
    "\xED\xA0\x80",
    "Toner",
};

// Random names of such pieces.
class NameMaker {
 public:
  std::string name() {
    std::string name;
    for (std::size_t pieces = below(8); pieces > 0; --pieces) name += piece();
    return name;
  }

  std::size_t below(std::size_t bound) { return mRandom() % bound; }

 private:
  std::string piece() {
    switch (below(4)) {
      case 0:
        return {static_cast<char>(below(256))};
      case 1:
        return character(anyCharacter());
      case 2:
        return repeated(kPieces[below(kPieces.size())], static_cast<int>(below(80)));
      default:
        return kPieces[below(kPieces.size())];
    }
  }

  char32_t anyCharacter() {
    const auto c = static_cast<char32_t>(below(0x110000));
    return c >= 0xD800 && c < 0xE000 ? U'x' : c;
  }

  std::mt19937 mRandom{20240229};  // the same names in every run
};

bool isHarmlessName(const std::string& name) {
  if (name.empty() || !utf8::is_valid(name) || name.front() == ' ' || name.back() == ' ') {
    return false;
  }
  for (auto at = name.begin(); at != name.end();) {
    const char32_t c = utf8::next(at, name.end());
    if (isHarmful(c) || c == ',' || c == '"' || c == '\'' || c == '\\' || c == '<' || c == '>' ||
        c == '&') {
      return false;
    }
  }
  return true;
}

TEST(HostileNames, ComeBackAsTheyWereMadeHarmless) {
  NameMaker make;
  for (int round = 0; round < 2000; ++round) {
    std::vector<Supply> list;
    std::size_t bytes = 0;
    for (std::size_t count = 1 + make.below(8); count > 0; --count) {
      const std::string name = make.name();
      list.push_back(toner(name, static_cast<int>(make.below(101))));
    }
    const std::vector<std::string> harmless = attributesOf(list).names;
    for (const std::string& name : harmless) {
      bytes += name.size() + 1;
      ASSERT_TRUE(isHarmlessName(name)) << ::testing::PrintToString(name);
      ASSERT_LE(name.size(), kLongestName);
    }
    ServerQueue queue = expectSixListsOf(linesOf(list), list.size());
    const auto names = queue.values("marker-names");
    if (bytes < 1900) {
      ASSERT_EQ(names, harmless);
    } else {
      for (std::size_t i = 0; i < names.size(); ++i) {
        ASSERT_TRUE(isHarmlessName(names[i]));
        ASSERT_THAT(harmless[i], StartsWith(names[i]));
      }
    }
    queue.restart();
    ASSERT_EQ(queue.values("marker-names"), names);

    queue.hear(markerMessageLine(attributesOf(list).message));
    ASSERT_LE(queue.messages().size(), 1U);
    ASSERT_LE(queue.values("marker-message").size(), 1U);
  }
}

}  // namespace
}  // namespace moxsupply::testing
