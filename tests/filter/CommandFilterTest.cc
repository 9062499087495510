// `commandtomox` as the print server runs it: a process with a printer on standard output and a
// back channel on descriptor 3, whose messages on standard error are all that comes of it.

#include <cups/file.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <random>
#include <thread>

#include "tests/support/Depth.h"
#include "tests/support/FilterProcess.h"
#include "tests/support/Golden.h"
#include "tests/support/Hex.h"
#include "tests/support/InkjetReply.h"
#include "tests/support/LaserRecords.h"
#include "tests/support/Processes.h"
#include "tests/support/Requests.h"
#include "tests/support/ServerQueue.h"
#include "tests/support/SmallPpd.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TextFile.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;
using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;
using Texts = std::vector<std::string>;
using Clock = std::chrono::steady_clock;

constexpr const char* kReportLevels = "#CUPS-COMMAND\nReportLevels\n";
constexpr const char* kReportStatus = "#CUPS-COMMAND\nReportStatus\n";
// With a timeout that no test waits for.
constexpr const char* kLaser = "*moxPrinterType: \"Laser\"\n*moxTimeout: \"1000\"\n";
constexpr const char* kInkjet = "*moxPrinterType: \"Inkjet\"\n*moxTimeout: \"1000\"\n";
constexpr const char* kNoPatience = "moxTimeout=0";

constexpr const char* kSilence = "The printer did not answer.";
constexpr const char* kOldLevels = " The levels shown are those of its last report (20";

// A laser printer's answer: a toner.
Bytes tonerAt(std::uint32_t percent) {
  return deviceReply(suppliesRecord({supply(
      1, {description("Cyan Toner"), field(7, hex("01")), maxLevel(100), currentLevel(percent)})}));
}

// An inkjet printer's answer: a Lantern head with a three-colour cartridge and a black one.
Bytes cartridges(std::uint8_t black, std::uint8_t blackLevel) {
  return inkjetReply({inkjetItem(0x0019, hex("02")), inkjetItem(0x0110, hex("A0")),
                      inkjetItem(0x0120, {black}), inkjetItem(0x0428, hex("1E")),
                      inkjetItem(0x0429, hex("28")), inkjetItem(0x042A, hex("14")),
                      inkjetItem(0x0427, {blackLevel})});
}

// A queue and its printer. Each run of the filter is a job of its own.
class CommandFilter : public ::testing::Test {
 protected:
  CommandFilter() {
    std::filesystem::create_directory(pathOf("cache"));
    setPpd(kLaser);
  }

  void setPpd(std::string_view lines) { writeFile("queue.ppd", smallPpd(lines)); }
  void setUri(std::string uri) { mUri = std::move(uri); }
  void setJobOptions(std::string options) { mJobOptions = std::move(options); }

  // Starts the filter with these commands in a file.
  FilterProcess start(std::string_view commands, BackChannel back = BackChannel::kNonBlockingPipe) {
    return startWith(argumentsFor(commands), {}, back);
  }

  // The same after shell commands, of which the last is `exec "$@"`.
  FilterProcess startAfter(const std::string& shellCommands, std::string_view commands) {
    return startWith(argumentsFor(commands), {"/bin/sh", "-c", shellCommands, "sh"});
  }

  FilterProcess startWith(const Texts& arguments, const Texts& before = {},
                          BackChannel back = BackChannel::kNonBlockingPipe) {
    Texts command = before;
    // Whatever print server may run these tests, it has no part in them.
    command.insert(command.end(), {"env", "-u", "SOFTWARE", "-u", "CUPS_SERVER"});
    command.emplace_back(MOXSUPPLY_COMMAND_FILTER);
    command.insert(command.end(), arguments.begin(), arguments.end());
    mStart = Clock::now();
    return {back,
            command,
            {"LC_ALL=C", "PRINTER=lobby", "DEVICE_URI=" + mUri, "PPD=" + pathOf("queue.ppd"),
             "CUPS_CACHEDIR=" + pathOf("cache")}};
  }

  // Waits for the filter's end; the print server hears what it said.
  FilterProcess::Ending finish(FilterProcess& filter) {
    auto ending = filter.wait();
    mTime = Clock::now() - mStart;
    mQueue.hear(ending.result);
    return ending;
  }

  // A job in which the printer, once it is asked, sends these bytes and hangs up.
  FilterProcess::Ending finishWithReply(FilterProcess& filter, const Bytes& reply) {
    filter.receive(1);
    filter.send(reply);
    filter.endBackChannel();
    return finish(filter);
  }
  FilterProcess::Ending runWithReply(const Bytes& reply,
                                     std::string_view commands = kReportLevels) {
    FilterProcess filter = start(commands);
    auto ending = finishWithReply(filter, reply);
    EXPECT_EQ(ending.exitStatus, 0) << ending.result;
    return ending;
  }

  // A job in which the printer says nothing.
  FilterProcess::Ending runInSilence(std::string_view commands = kReportLevels,
                                     const char* jobOptions = kNoPatience) {
    setJobOptions(jobOptions);
    FilterProcess filter = start(commands);
    setJobOptions("");
    auto ending = finish(filter);
    EXPECT_EQ(ending.exitStatus, 0) << ending.result;
    return ending;
  }

  void expectEqualLists() const {
    const std::size_t count = mQueue.values("marker-names").size();
    for (const char* list : {"marker-types", "marker-colors", "marker-levels", "marker-low-levels",
                             "marker-high-levels"}) {
      EXPECT_THAT(mQueue.values(list), SizeIs(count)) << list;
    }
  }

  // One line that says what is wrong, perhaps one with advice; nothing is sent or published.
  void expectMisuse(FilterProcess& filter, const char* named) {
    const auto ending = finish(filter);
    EXPECT_EQ(ending.exitStatus, 1);
    EXPECT_TRUE(ending.written.empty());
    EXPECT_THAT(mQueue.messages("ERROR"), ElementsAre(HasSubstr(named)));
    EXPECT_EQ(mQueue.messages().size(), 1 + mQueue.messages("INFO").size());
    EXPECT_LT(mTime, 5s);
  }

  // What the last job published, but for the reasons.
  // What was published of the supplies.
  [[nodiscard]] Texts published() const {
    Texts texts = mQueue.messages("ATTR");
    std::erase_if(texts, [](const auto& text) { return !text.starts_with("marker-"); });
    return texts;
  }

  std::string writeFile(const char* name, std::string_view text) const {
    std::ofstream(pathOf(name)) << text;
    return pathOf(name);
  }
  [[nodiscard]] std::string pathOf(const char* name) const { return mFolder.path() / name; }

  ServerQueue mQueue;
  std::chrono::duration<double> mTime{};  // that the last job took

 private:
  Texts argumentsFor(std::string_view commands) {
    return {"17", "user", "title", "1", mJobOptions, writeFile("commands", commands)};
  }

  TemporaryFolder mFolder;
  std::string mUri = "socket://printer/";
  std::string mJobOptions;
  Clock::time_point mStart;
};

// What the print server has of a printer whose replies are in a golden file.
struct Published {
  const char* golden;
  Texts names;
  Texts types;
  Texts colors;
  std::vector<int> levels;
  std::string message;
  std::set<std::string> reasons;
};

class GoldenPrinter : public CommandFilter, public ::testing::WithParamInterface<Published> {};

INSTANTIATE_TEST_SUITE_P(
    CommandFilter, GoldenPrinter,
    ::testing::Values(
        Published{"laser-mono-toner", {"Black Toner"}, {"toner"}, {"#000000"}, {37}, "", {}},
        Published{"laser-several-packets",
                  {"Cyan Toner", "Fuser"},
                  {"toner", "other"},
                  {"#00FFFF", "none"},
                  {1, 50},
                  "Cyan Toner is low (1 %)",
                  {"toner-low-report"}},
        Published{"laser-colour-words",
                  {},
                  {},
                  {},
                  {},
                  "The printer tells no levels (see: man commandtomox)",
                  {}},
        Published{"laser-levels-out-of-range",
                  {"Over 1", "None 2", "Less 3", "Many 4"},
                  {"other", "other", "other", "other"},
                  {"none", "none", "none", "none"},
                  {100, -2, -2, 49},
                  "Level unknown even where drawn as empty (see: man commandtomox): None 2; Less 3",
                  {}},
        Published{"laser-accents",
                  {},
                  {},
                  {},
                  {},
                  "The printer tells no levels (see: man commandtomox)",
                  {}},
        Published{"laser-no-second-answer",
                  {"Black Toner", "Waste Bottle"},
                  {"toner", "other"},
                  {"#000000", "none"},
                  {56, -2},
                  "Level unknown even where drawn as empty (see: man commandtomox): Waste Bottle",
                  {}},
        Published{"inkjet-lantern",
                  {"Cyan Cartridge", "Black Cartridge", "Magenta Cartridge", "Yellow Cartridge"},
                  {"ink", "ink", "ink", "ink"},
                  {"#00FFFF", "#000000", "#FF00FF", "#FFFF00"},
                  {40, 0, 55, -2},
                  "Black Cartridge is empty; Level unknown even where drawn as empty (see: man "
                  "commandtomox): Yellow Cartridge",
                  {"marker-supply-empty-warning"}},
        Published{"inkjet-lantern-three-colour",
                  {"Color Cartridge", "Black Cartridge"},
                  {"ink", "ink"},
                  {"#00FFFF#FF00FF#FFFF00", "#000000"},
                  {20, 0},
                  "Black Cartridge is the wrong cartridge",
                  {"subunit-recoverable-failure-warning"}},
        Published{"inkjet-meadow-photo",
                  {"Color", "Photo"},
                  {"ink", "ink"},
                  {"#00FFFF#FF00FF#FFFF00", "#000000#E0FFFF#FF77FF"},
                  {100, 50},
                  "Color is not valid in this printer",
                  {"subunit-recoverable-failure-warning"}},
        Published{"inkjet-quarry",
                  {"Color", "Black"},
                  {"ink", "ink"},
                  {"#00FFFF#FF00FF#FFFF00", "#000000"},
                  {74, 75},
                  "",
                  {}}),
    [](const auto& printer) {
      std::string name = printer.param.golden;
      std::ranges::replace(name, '-', '_');
      return name;
    });

TEST_P(GoldenPrinter, HasItsSuppliesPublished) {
  const Golden golden = readGolden(GetParam().golden);
  const char* type = golden.kind == Golden::Kind::kLaser ? "Laser" : "Inkjet";
  setPpd(fmt::format("*moxPrinterType: \"{}\"\n*moxTimeout: \"5\"\n", type));
  setUri(golden.transport + "://printer/");

  FilterProcess filter = start(kReportLevels);
  // No printer answers before it was asked, also where the file does not hold the requests.
  if (golden.steps[0].what != Golden::What::kRequest) filter.receive(1);
  for (const Golden::Step& step : golden.steps) {
    if (step.what == Golden::What::kRequest) {
      EXPECT_EQ(filter.receive(step.bytes().size()), step.bytes());
    } else {
      filter.sendInPieces(step.packets);
    }
  }
  filter.endBackChannel();
  EXPECT_EQ(finish(filter).exitStatus, 0);

  EXPECT_EQ(mQueue.values("marker-names"), GetParam().names);
  EXPECT_EQ(mQueue.values("marker-types"), GetParam().types);
  EXPECT_EQ(mQueue.values("marker-colors"), GetParam().colors);
  EXPECT_EQ(mQueue.numbers("marker-levels"), GetParam().levels);
  EXPECT_THAT(mQueue.numbers("marker-low-levels"), Each(10));
  EXPECT_THAT(mQueue.numbers("marker-high-levels"), Each(100));
  expectEqualLists();
  EXPECT_EQ(mQueue.message(), GetParam().message);
  EXPECT_EQ(mQueue.reasons(), GetParam().reasons);
  for (const auto& message : mQueue.messages()) {
    EXPECT_TRUE(message.kind == "ATTR" || message.kind == "STATE") << message.text;
  }
}

TEST_F(CommandFilter, WritesNothingButItsRequestsToThePrinter) {
  FilterProcess filter = start(kReportLevels);
  EXPECT_EQ(filter.receive(kDeviceQuery.size()), kDeviceQuery);
  filter.send(tonerAt(37));
  filter.endBackChannel();
  EXPECT_EQ(finish(filter).written, kSuppliesQuery);
}

TEST_F(CommandFilter, ReadsItsCommandsFromStandardInputWithoutAFileArgument) {
  FilterProcess filter =
      startWith({"17", "user", "title", "1", ""},
                {"/bin/sh", "-c", R"(exec "$@" <"$0")", writeFile("commands", kReportLevels)});
  EXPECT_EQ(finishWithReply(filter, tonerAt(37)).exitStatus, 0);
  EXPECT_THAT(mQueue.numbers("marker-levels"), ElementsAre(37));
}

TEST_F(CommandFilter, TakesCommandsInAnyLetters) {
  runWithReply(tonerAt(37), "REPORTLEVELS\n");
  EXPECT_THAT(mQueue.numbers("marker-levels"), ElementsAre(37));
  runWithReply(tonerAt(0), "reportstatus\n");
  EXPECT_THAT(mQueue.reasons(), ElementsAre("toner-empty-warning"));
}

TEST_F(CommandFilter, AsksThePrinterOnceForSeveralCommands) {
  const auto ending = runWithReply(tonerAt(5), "ReportLevels\nReportStatus\nReportLevels\n");
  EXPECT_EQ(1 + ending.written.size(), kDeviceQuery.size() + kSuppliesQuery.size());
  EXPECT_THAT(mQueue.numbers("marker-levels"), ElementsAre(5));
  EXPECT_THAT(mQueue.reasons(), ElementsAre("toner-low-report"));
}

TEST_F(CommandFilter, DoesNothingWithoutACommand) {
  for (const char* commands : {"", "#CUPS-COMMAND\n", "\n\n# ReportLevels\n"}) {
    const auto ending = runInSilence(commands);
    EXPECT_EQ(ending.result, "");
    EXPECT_TRUE(ending.written.empty());
  }
}

TEST_F(CommandFilter, ReportsTheStatusByReasonsAlone) {
  runWithReply(tonerAt(0), kReportStatus);
  EXPECT_THAT(published(), IsEmpty());
  EXPECT_THAT(mQueue.reasons(), ElementsAre("toner-empty-warning"));
  // That does not count as a report of the levels.
  runWithReply(tonerAt(0));
  EXPECT_THAT(mQueue.numbers("marker-levels"), ElementsAre(0));
}

TEST_F(CommandFilter, PublishesNoListAgainWhileNothingChanges) {
  runWithReply(tonerAt(5));
  EXPECT_THAT(published(), SizeIs(7));
  for (int i = 0; i < 2; ++i) {
    runWithReply(tonerAt(5));
    EXPECT_THAT(published(), SizeIs(1));  // the message, which tells that there was a report
    EXPECT_EQ(mQueue.message(), "Cyan Toner is low (5 %)");
    EXPECT_THAT(mQueue.reasons(), ElementsAre("toner-low-report"));
  }
}

TEST_F(CommandFilter, PublishesTheLevelsAloneWhenTheyAloneChange) {
  runWithReply(tonerAt(50));
  runWithReply(tonerAt(49));
  EXPECT_THAT(published(), SizeIs(2));  // and the message
  EXPECT_THAT(mQueue.numbers("marker-levels"), ElementsAre(49));
  EXPECT_THAT(mQueue.values("marker-names"), ElementsAre("Cyan Toner"));
  runWithReply(tonerAt(5));
  EXPECT_THAT(published(), SizeIs(2));
  EXPECT_EQ(mQueue.message(), "Cyan Toner is low (5 %)");
}

TEST_F(CommandFilter, PublishesShorterListsWhenThereAreFewerSupplies) {
  const auto named = [](std::uint8_t number, std::string_view name) {
    return supply(number, {description(std::string(name)), maxLevel(100), currentLevel(50)});
  };
  runWithReply(deviceReply(suppliesRecord({named(1, "A"), named(2, "B"), named(3, "C")})));
  EXPECT_THAT(mQueue.values("marker-names"), ElementsAre("A", "B", "C"));
  runWithReply(tonerAt(50));
  EXPECT_THAT(mQueue.values("marker-names"), ElementsAre("Cyan Toner"));
  expectEqualLists();
}

TEST_F(CommandFilter, ClearsReasonsThatHoldNoLonger) {
  mQueue.hear("STATE: +media-empty-error\n");
  runWithReply(tonerAt(0));
  EXPECT_THAT(mQueue.reasons(), ElementsAre("media-empty-error", "toner-empty-warning"));
  runWithReply(tonerAt(4));
  EXPECT_THAT(mQueue.reasons(), ElementsAre("media-empty-error", "toner-low-report"));
  runWithReply(tonerAt(100));
  EXPECT_THAT(mQueue.reasons(), ElementsAre("media-empty-error"));
  EXPECT_EQ(mQueue.message(), "");
}

TEST_F(CommandFilter, ReportsACartridgeThatIsTakenOutAndPutBack) {
  setPpd(kInkjet);
  setUri("usb://Example/Small");
  runWithReply(cartridges(0x20, 70));
  EXPECT_THAT(mQueue.numbers("marker-levels"), ElementsAre(20, -1));
  EXPECT_THAT(mQueue.reasons(), ElementsAre("marker-supply-missing-warning"));
  EXPECT_EQ(mQueue.message(), "Black Cartridge is missing");
  runWithReply(cartridges(0x50, 70));
  EXPECT_THAT(mQueue.numbers("marker-levels"), ElementsAre(20, 70));
  EXPECT_THAT(mQueue.reasons(), IsEmpty());
  EXPECT_EQ(mQueue.message(), "");
}

TEST_F(CommandFilter, PublishesNoListsOfAPrinterWithoutSupplies) {
  runWithReply(deviceReply(suppliesRecord(256, {})));  // only the low 8 bits count
  EXPECT_THAT(mQueue.messages("WARNING"), ElementsAre("The printer reports no supplies."));
  EXPECT_THAT(published(), ElementsAre("marker-message="));
}

// A printer may send each of these, since it is UTF-8.
TEST_F(CommandFilter, PublishesHostileNamesAsHarmlessOnes) {
  const std::vector<std::pair<std::string, std::string>> names = {
      {"Toner\nSTATE: paused", "Toner STATE: paused"},
      {"\r\nATTR: marker-levels=100", "ATTR: marker-levels=100"},
      {"Kit, 110V, \"XL\"", "Kit / 110V / \u201DXL\u201D"},
      {"'It\\'s'", "\u2019It/\u2019s\u2019"},
      {"\x1B[2J\x07Toner\x7F", "[2J Toner"},
      {"\u202Ereno\u200BT\u202C", "reno T"},
      {"\n\n", "Supply 7"},
      {"   ", "Supply 8"},
      {std::string(255, '\\'), std::string(40, '/')},
      {std::string(254, 'n') + "ä", std::string(40, 'n')},
      {"<b>Black</b> & Cyan", "\u2039b\u203ABlack\u2039/b\u203A + Cyan"},
  };
  std::vector<Bytes> supplies;
  Texts harmlessNames;
  for (const auto& [name, harmless] : names) {
    supplies.push_back(supply(static_cast<std::uint8_t>(supplies.size() + 1),
                              {description(name), maxLevel(100), currentLevel(50)}));
    harmlessNames.push_back(harmless);
  }
  runWithReply(deviceReply(suppliesRecord(supplies)));
  EXPECT_EQ(mQueue.values("marker-names"), harmlessNames);
  expectEqualLists();
  EXPECT_THAT(mQueue.reasons(), IsEmpty());
  mQueue.restart();
  EXPECT_EQ(mQueue.values("marker-names"), harmlessNames);
}

TEST_F(CommandFilter, TakesShorterTimesFromItsJob) {
  setPpd("*moxPrinterType: \"Laser\"\n*moxTimeout: \"1000\"\n*moxDeadline: \"1000\"\n");
  runInSilence(kReportLevels, "job-uuid=urn:uuid:0 moxTimeout=0 moxDeadline=20 n=1");
  EXPECT_LT(mTime, 5s);
  EXPECT_THAT(mQueue.messages("WARNING"), ElementsAre("The printer did not answer."));
}

TEST_F(CommandFilter, TakesNothingElseFromItsJob) {
  setPpd("*moxPrinterType: \"Laser\"\n*moxTimeout: \"1000\"\n*moxDeadline: \"2\"\n");
  const auto ending =
      runInSilence(kReportLevels, "moxPrinterType=Inkjet moxTimeout=-1 moxDeadline=4294967295 n=1");
  EXPECT_EQ(ending.written, kDeviceQuery);
  EXPECT_LT(mTime, 3s);
  EXPECT_THAT(
      mQueue.messages("WARNING"),
      ElementsAre(HasSubstr("moxPrinterType=Inkjet is ignored"),
                  HasSubstr("moxTimeout=-1 is ignored"),
                  HasSubstr("moxDeadline=4294967295 is ignored"), "The printer did not answer."));
}

TEST_F(CommandFilter, SendsTheLoopBackRequestOnlyOverANetwork) {
  setPpd(kInkjet);
  for (const char* uri : {"dnssd://Small._pdl-datastream._tcp.local/", "socket://printer"}) {
    setUri(uri);
    EXPECT_EQ(runInSilence().written, joined({kLoopBack, kInkjetQuery})) << uri;
  }
  for (const char* uri : {"usb://Example/Small?serial=1", "mdns://Small/"}) {
    setUri(uri);
    EXPECT_EQ(runInSilence().written, kInkjetQuery) << uri;
  }
}

// It may be what the printer said to an earlier job.
TEST_F(CommandFilter, DropsWhatLiesOnACableBeforeItAsks) {
  setUri("usb://Example/Small");
  FilterProcess filter = startAfter(R"(sleep 0.3; exec "$@")", kReportLevels);
  filter.send(Bytes(5000, 0));  // more than one read takes
  filter.send(tonerAt(99));
  EXPECT_EQ(finishWithReply(filter, tonerAt(5)).exitStatus, 0);
  EXPECT_THAT(mQueue.numbers("marker-levels"), ElementsAre(5));
}

TEST_F(CommandFilter, SaysThatAPrinterIsSilentAndLeavesItsLevels) {
  runWithReply(tonerAt(5));
  mQueue.hear("STATE: +media-empty-error\n");
  runInSilence();
  EXPECT_THAT(mQueue.messages("WARNING"), ElementsAre("The printer did not answer."));
  EXPECT_THAT(published(), SizeIs(1));
  EXPECT_THAT(mQueue.message(), StartsWith(std::string(kSilence) + kOldLevels));
  EXPECT_THAT(mQueue.numbers("marker-levels"), ElementsAre(5));
  EXPECT_THAT(mQueue.reasons(),
              ElementsAre("media-empty-error", "timed-out-report", "toner-low-report"));

  runInSilence();
  EXPECT_THAT(published(), IsEmpty());

  runWithReply(tonerAt(5));
  EXPECT_THAT(published(), SizeIs(1));
  EXPECT_EQ(mQueue.message(), "Cyan Toner is low (5 %)");
  EXPECT_THAT(mQueue.reasons(), ElementsAre("media-empty-error", "toner-low-report"));
}

// The print server has the job's language in LANG, also one whose locale the machine does not have.
TEST_F(CommandFilter, GivesItsMessageInTheLanguageOfTheJob) {
  setPpd(kInkjet);
  setUri("usb://Example/Small");
  const auto reported = [&](const std::string& language) {
    FilterProcess filter = startAfter(
        fmt::format("unset LC_ALL LANGUAGE; export LANG={}; exec \"$@\"", language), kReportLevels);
    EXPECT_EQ(finishWithReply(filter, cartridges(0x20, 70)).exitStatus, 0);
    return mQueue.message();
  };
  EXPECT_EQ(reported("de_DE.UTF-8"), "Black Cartridge fehlt");
  const auto names = mQueue.values("marker-names");
  const auto colors = mQueue.values("marker-colors");
  EXPECT_EQ(reported("fr.UTF-8"), "Black Cartridge manque");
  EXPECT_EQ(reported("es_ES.UTF-8"), "Black Cartridge falta");
  EXPECT_EQ(reported("ja_JP.UTF-8"), "Black Cartridgeが装着されていません");
  EXPECT_EQ(reported("is_IS.UTF-8"), "Black Cartridge is missing");
  EXPECT_EQ(reported("C"), "Black Cartridge is missing");
  EXPECT_EQ(mQueue.values("marker-names"), names);
  EXPECT_EQ(mQueue.values("marker-colors"), colors);
  EXPECT_THAT(mQueue.reasons(), ElementsAre("marker-supply-missing-warning"));
}

TEST_F(CommandFilter, SaysThatAPrinterIsSilentInTheLanguageOfTheJob) {
  runWithReply(tonerAt(5));
  FilterProcess filter =
      startAfter("unset LC_ALL; export LANG=de_DE.UTF-8; exec \"$@\"", kReportLevels);
  EXPECT_EQ(finishWithReply(filter, {}).exitStatus, 0);
  EXPECT_THAT(mQueue.message(),
              StartsWith("Der Drucker hat nicht geantwortet. Die gezeigten Füllstände sind die "
                         "seines letzten Berichts (20"));
}

TEST_F(CommandFilter, SaysThatAPrinterIsSilentByAReasonAloneWhenAskedForTheStatus) {
  runInSilence(kReportStatus);
  EXPECT_THAT(published(), IsEmpty());
  EXPECT_THAT(mQueue.messages("WARNING"), ElementsAre("The printer did not answer."));
  EXPECT_THAT(mQueue.reasons(), ElementsAre("timed-out-report"));
}

TEST_F(CommandFilter, WaitsForASilentPrinterAsLongAsItsTimeoutsTake) {
  runInSilence(kReportLevels, "moxTimeout=1");
  EXPECT_GE(mTime, 4s);  // four times
  EXPECT_LT(mTime, 6s);
  EXPECT_EQ(mQueue.message(), kSilence);
}

TEST_F(CommandFilter, EndsAtOnceWhenThePrinterHangsUp) {
  runWithReply({});
  EXPECT_LT(mTime, 5s);
  EXPECT_EQ(mQueue.message(), kSilence);
}

TEST_F(CommandFilter, EndsAtOnceWithoutABackChannel) {
  FilterProcess filter = start(kReportLevels, BackChannel::kClosed);
  EXPECT_EQ(finish(filter).exitStatus, 0);
  EXPECT_LT(mTime, 5s);
  EXPECT_EQ(mQueue.message(), kSilence);
  EXPECT_THAT(mQueue.reasons(), ElementsAre("timed-out-report"));
}

TEST_F(CommandFilter, KeepsItsTimeoutsOnABlockingBackChannel) {
  setJobOptions(kNoPatience);
  for (const BackChannel back : {BackChannel::kBlockingPipe, BackChannel::kSocketPair}) {
    for (const char* uri : {"socket://printer/", "usb://Example/Small"}) {
      setUri(uri);
      FilterProcess filter = start(kReportLevels, back);
      EXPECT_EQ(finish(filter).exitStatus, 0);
      EXPECT_LT(mTime, 5s);
      EXPECT_EQ(mQueue.message(), kSilence);
    }
  }
}

TEST_F(CommandFilter, SaysThatTheLinkWentAway) {
  FilterProcess filter = startAfter(R"(sleep 0.3; exec "$@")", kReportLevels);
  filter.closeLink();
  EXPECT_EQ(finish(filter).exitStatus, 0);
  EXPECT_THAT(mQueue.messages("WARNING"), ElementsAre("The printer hung up before it was asked."));
  EXPECT_THAT(mQueue.reasons(), ElementsAre("timed-out-report"));
}

TEST_F(CommandFilter, SaysThatItCannotReadAnAnswer) {
  setPpd(kInkjet);
  runWithReply(inkjetReply({inkjetItem(0x0019, hex("05")),  // there is no print head 5
                            inkjetItem(0x0110, hex("30"))}));
  EXPECT_THAT(mQueue.messages("WARNING"),
              ElementsAre("The printer answered but its supplies cannot be read."));
  EXPECT_THAT(published(), SizeIs(1));
  EXPECT_EQ(mQueue.message(), "The printer answered but its supplies cannot be read.");
  EXPECT_THAT(mQueue.reasons(), ElementsAre("timed-out-report"));
}

// Wherever that is, the job ends well and the lists are whole.
TEST_F(CommandFilter, OutlivesAPrinterThatHangsUpInItsReply) {
  const Bytes reply = tonerAt(37);
  for (std::size_t size = 0; size < reply.size(); size += 3) {
    runWithReply(firstBytes(reply, size));
    EXPECT_LT(mTime, 5s);
    expectEqualLists();
    EXPECT_THAT(mQueue.values("marker-names"), Each(StartsWith("Cyan Toner")));
    EXPECT_FALSE(mQueue.messages().empty()) << size;
  }
}

TEST_F(CommandFilter, OutlivesGarbage) {
  std::mt19937 random{20240229};  // the same garbage in every run
  for (const char* ppd : {kLaser, kInkjet}) {
    setPpd(ppd);
    for (int round = 0; round < 40; ++round) {
      // Every third is noise; the others are replies with some bytes that are wrong.
      const bool isNoise = round % 3 == 0;
      Bytes garbage = round % 2 == 0 ? tonerAt(37) : cartridges(0x50, 37);
      if (isNoise) garbage.resize(1 + random() % 3000);
      for (std::size_t i = isNoise ? 0 : 8; i < garbage.size(); ++i) {
        if (isNoise || random() % 16 == 0) garbage[i] = static_cast<std::uint8_t>(random());
      }
      runWithReply(garbage);
      EXPECT_LT(mTime, 5s);
      expectEqualLists();
    }
  }
}

// Bytes without end, as fast as they are read.
TEST_F(CommandFilter, OutlivesAFlood) {
  const std::vector<Bytes> floods = {
      repeated(0x00, 4096),
      repeated(0xA5, 4096),
      joined({hex("A5 FF F0 70"), repeated(0x20, 4092)}),  // one packet of 65,523 bytes
      hex("A5 00 02 70 E0"),                               // packets without end
      tonerAt(37),
  };
  for (const char* uri : {"socket://printer/", "usb://Example/Small"}) {
    for (const char* ppd : {kLaser, kInkjet}) {
      for (const Bytes& bytes : floods) {
        setPpd(ppd);
        setUri(uri);
        FilterProcess filter = start(kReportLevels);
        while (filter.isRunning()) filter.send(bytes);
        EXPECT_EQ(finish(filter).exitStatus, 0);
        EXPECT_LT(mTime, 5s) << uri << ' ' << hexText(std::span(bytes).first(4));
        expectEqualLists();
      }
    }
  }
}

// In seconds.
class Deadline : public CommandFilter, public ::testing::WithParamInterface<int> {
 protected:
  void setPpdWithTimeout(std::uint32_t timeout) {
    setPpd(fmt::format("*moxPrinterType: \"Laser\"\n*moxTimeout: \"{}\"\n*moxDeadline: \"{}\"\n",
                       timeout, GetParam()));
  }

  void expectSilenceByThen(FilterProcess& filter) {
    const auto ending = finish(filter);
    EXPECT_EQ(ending.exitStatus, 0);
    EXPECT_LE(mTime, std::chrono::seconds(GetParam()) + 500ms);  // with the start of the process
    EXPECT_THAT(mQueue.messages("WARNING"), ElementsAre("The printer did not answer."));
    EXPECT_EQ(mQueue.message(), kSilence);
    EXPECT_THAT(mQueue.reasons(), ElementsAre("timed-out-report"));
  }
};

INSTANTIATE_TEST_SUITE_P(CommandFilter, Deadline, ::testing::Values(1, 2, 3),
                         ::testing::PrintToStringParamName());

TEST_P(Deadline, HoldsAgainstALongTimeout) {
  setPpdWithTimeout(100);
  FilterProcess filter = start(kReportLevels);
  expectSilenceByThen(filter);
}

TEST_P(Deadline, HoldsAgainstTheLongestTimeout) {
  setPpdWithTimeout(4294967295U);
  FilterProcess filter = start(kReportLevels);
  expectSilenceByThen(filter);
}

// No timeout ever passes, since each byte begins another.
TEST_P(Deadline, HoldsAgainstAPrinterThatDripsBytes) {
  setPpdWithTimeout(10);
  FilterProcess filter = start(kReportLevels);
  for (const std::uint8_t byte : joined({hex("A5 10 00 50"), repeated(0xE0, 1000)})) {
    if (!filter.isRunning()) break;
    filter.send(Bytes{byte});
    std::this_thread::sleep_for(20ms);
  }
  expectSilenceByThen(filter);
}

TEST_P(Deadline, LeavesAPrinterThatIsSlowItsTime) {
  setPpdWithTimeout(100);
  FilterProcess filter = start(kReportLevels);
  std::this_thread::sleep_for(100ms * GetParam());
  EXPECT_EQ(finishWithReply(filter, tonerAt(37)).exitStatus, 0);
  EXPECT_THAT(mQueue.numbers("marker-levels"), ElementsAre(37));
}

// The filter hangs in its first message, as it would in anything else.
TEST_F(CommandFilter, EndsByItsDeadlineWhenNobodyReadsItsMessages) {
  setPpd("*moxPrinterType: \"Laser\"\n*moxTimeout: \"0\"\n*moxDeadline: \"1\"\n");
  FilterProcess filter = startAfter(
      fmt::format(R"(mkfifo {0}; exec 5<>{0}; head -c 65536 /dev/zero >&5; exec "$@" 2>&5)",
                  pathOf("messages")),
      kReportLevels);
  const auto ending = finish(filter);
  EXPECT_EQ(ending.exitStatus, 0);
  EXPECT_EQ(ending.signal, 0);
  EXPECT_GE(mTime, 1s);
  EXPECT_LT(mTime, 5s);
}

TEST_F(CommandFilter, EndsAtOnceOnSigterm) {
  FilterProcess filter = start(kReportLevels);
  EXPECT_EQ(filter.receive(kDeviceQuery.size()), kDeviceQuery);
  const auto sent = Clock::now();
  ::kill(filter.pid(), SIGTERM);
  const auto ending = finish(filter);
  EXPECT_LT(Clock::now() - sent, 1s);
  EXPECT_EQ(ending.signal, SIGTERM);
  EXPECT_EQ(ending.result, "");
}

struct Refusal {
  const char* name;
  std::string commands;
  std::string refused;  // as they are shown
};

class UnknownCommand : public CommandFilter, public ::testing::WithParamInterface<Refusal> {};

INSTANTIATE_TEST_SUITE_P(
    CommandFilter, UnknownCommand,
    ::testing::Values(
        Refusal{"One", "#CUPS-COMMAND\nClean all\n", R"("Clean" is no command)"},
        Refusal{"Several", "Clean\nAutoConfigure\n", R"("Clean", "AutoConfigure" are no commands)"},
        Refusal{"Many", "A\nB\nC\nD\nE\n", R"("A", "B", "C" and 2 more are no commands)"},
        Refusal{"Longer", "ReportLevelsX\n", R"("ReportLevelsX" is no command)"},
        Refusal{"Shorter", "ReportLevel\n", R"("ReportLevel" is no command)"},
        Refusal{"WithEscapes", "\x1B[2JClean\x07\n", R"("[2JClean" is no command)"},
        Refusal{"WithBidi", "\u202EnaelC\n", R"("naelC" is no command)"},
        Refusal{"WithInvalidBytes", "Cl\xFF\xC3n\n", "\"Cl\uFFFD\uFFFDn\" is no command"},
        Refusal{"WithQuotes", "\"Clean\"'\\\n", R"(""Clean"'\" is no command)"},
        Refusal{"WithPrefixes", "ATTR:marker-levels=1\nSTATE:paused\n",
                R"("ATTR:marker-levels=1", "STATE:paused" are no commands)"},
        Refusal{"WithFormats", "%s%n{}{0}\n", R"("%s%n{}{0}" is no command)"}),
    [](const auto& refusal) { return refusal.param.name; });

TEST_P(UnknownCommand, IsRefusedInOneLineAndThePrinterNotAsked) {
  FilterProcess filter = start(GetParam().commands);
  const auto ending = finish(filter);
  EXPECT_EQ(ending.exitStatus, 1);
  EXPECT_TRUE(ending.written.empty());
  EXPECT_EQ(ending.result,
            fmt::format("ERROR: {} of this printer; it takes ReportLevels and ReportStatus\n",
                        GetParam().refused));
}

TEST_F(CommandFilter, RefusesALongCommandInOneLineToo) {
  FilterProcess filter = start(std::string(1023, 'x') + "\n");
  const auto ending = finish(filter);
  EXPECT_EQ(ending.exitStatus, 1);
  EXPECT_EQ(std::ranges::count(ending.result, '\n'), 1);
  EXPECT_LT(ending.result.size(), 2000U);
}

TEST_F(CommandFilter, RefusesManyCommandsInOneLineToo) {
  std::string commands;
  for (int i = 0; i < 32; ++i) commands += std::string(1000, 'x') + '\n';
  FilterProcess filter = start(commands);
  const auto ending = finish(filter);
  EXPECT_EQ(ending.exitStatus, 1);
  EXPECT_EQ(std::ranges::count(ending.result, '\n'), 1);
  EXPECT_LT(ending.result.size(), 400U);
}

// libcups unpacks what it opens, a thousand bytes from each.
TEST_F(CommandFilter, ReadsOfAHugeFileNoMoreThanItsBeginning) {
  FilterProcess ordinary = start("Clean\n");
  const long ordinaryMemory = finish(ordinary).peakMemory;
  const long more = kIsSlowBuild ? 65'536 : 8'192;  // KiB; a sanitizer keeps what was given back
  for (const std::string line : {"x\n", "#\n", "\n", "ReportStatus\n", "x"}) {
    constexpr std::size_t kMiB = 1U << 20U;
    std::string part;
    while (part.size() < kMiB) part += line;
    cups_file_t* file = cupsFileOpen(pathOf("huge").c_str(), "w9");
    cupsFilePuts(file, kReportLevels);
    for (int i = 0; i < 32; ++i) cupsFileWrite(file, part.data(), part.size());
    cupsFileClose(file);
    ASSERT_LT(std::filesystem::file_size(pathOf("huge")), 100'000U);

    FilterProcess filter = startWith({"17", "user", "title", "1", "", pathOf("huge")});
    const auto ending = finishWithReply(filter, tonerAt(37));
    EXPECT_EQ(ending.exitStatus, 1);
    EXPECT_LT(ending.peakMemory, ordinaryMemory + more) << line;
    EXPECT_LT(ending.processorTime, 100ms) << line;
    EXPECT_LT(ending.result.size(), 2000U) << line;
    EXPECT_THAT(mQueue.messages("ERROR"),
                Contains(HasSubstr("longer than 64 KiB or has more than 32 commands")));
    EXPECT_THAT(mQueue.numbers("marker-levels"), ElementsAre(37));
  }
}

// What decodes the printer's bytes has no word with the print server, and no way out.
TEST_F(CommandFilter, AsksInAProcessThatCanDoNothingElse) {
  FilterProcess filter = start(kReportLevels);
  filter.receive(1);
  const auto queries = childrenOf(filter.pid());
  ASSERT_EQ(queries.size(), 1U);
  const std::filesystem::path query = "/proc/" + std::to_string(queries.front());
  EXPECT_EQ(std::filesystem::read_symlink(query / "fd/2"), "/dev/null");
  EXPECT_EQ(std::filesystem::read_symlink(query / "fd/4"), "/dev/null");
  if (!kIsSlowBuild) {  // a sanitizer needs doors
    EXPECT_THAT(contentOf(query / "status"), HasSubstr("\nSeccomp:\t2\n"));
  }

  ::kill(queries.front(), SIGKILL);
  EXPECT_EQ(finish(filter).exitStatus, 0);
  EXPECT_THAT(
      mQueue.messages("WARNING"),
      ElementsAre("The printer could not be asked: the process that was to do so is gone."));
}

TEST_F(CommandFilter, ReportsTheLevelsBesideAnUnknownCommand) {
  for (const char* commands : {"Clean\nReportLevels\n", "ReportLevels\nClean\n"}) {
    FilterProcess filter = start(commands);
    EXPECT_EQ(finishWithReply(filter, tonerAt(37)).exitStatus, 1);
    EXPECT_THAT(mQueue.messages("ERROR"), SizeIs(1));
    EXPECT_THAT(mQueue.numbers("marker-levels"), ElementsAre(37));
  }
}

struct Misuse {
  const char* name;
  std::string ppdLines;
  std::string uri;
  const char* named;  // what the message must name
};

class MisuseOfAQueue : public CommandFilter, public ::testing::WithParamInterface<Misuse> {};

INSTANTIATE_TEST_SUITE_P(
    CommandFilter, MisuseOfAQueue,
    ::testing::Values(
        Misuse{"NoType", "", "usb://x", "moxPrinterType"},
        Misuse{"WrongType", "*moxPrinterType: \"Plotter\"\n", "usb://x", "\"Plotter\""},
        Misuse{"WrongTimeout", "*moxPrinterType: \"Laser\"\n*moxTimeout: \"2s\"\n", "usb://x",
               "moxTimeout is \"2s\""},
        Misuse{"WrongDeadline", "*moxPrinterType: \"Laser\"\n*moxDeadline: \"x\"\n", "usb://x",
               "moxDeadline is \"x\""},
        Misuse{"NoDeadline", "*moxPrinterType: \"Laser\"\n*moxDeadline: \"0\"\n", "usb://x",
               "moxDeadline is 0"},
        Misuse{"HostileType", "*moxPrinterType: \"x\n\x1B[2JSTATE: paused\"\n", "usb://x",
               "\"x [2JSTATE: paused\""},
        Misuse{"Ipp", kLaser, "ipp://printer/ipp/print", "ipp:// brings no answers back"},
        Misuse{"Lpd", kLaser, "lpd://printer/queue", "lpd:// brings no answers back"},
        Misuse{"IppFoundByDnsSd", kLaser, "dnssd://Printer._ipp._tcp.local/?uuid=1",
               "dnssd://..._ipp._tcp brings no answers back"},
        Misuse{"UpperCaseTransport", kLaser, "USB://x", "\"USB\" connection"},
        Misuse{"HostileTransport", kLaser, "a\nSTATE: paused://x", "\"a STATE\" connection"},
        Misuse{"NoTransport", kLaser, "", "\"\" connection"}),
    [](const auto& misuse) { return misuse.param.name; });

TEST_P(MisuseOfAQueue, IsNamedAndThePrinterNotAsked) {
  setPpd(GetParam().ppdLines);
  setUri(GetParam().uri);
  FilterProcess filter = start(kReportLevels);
  expectMisuse(filter, GetParam().named);
}

TEST_F(CommandFilter, NamesItsUsage) {
  for (const unsigned count : {0U, 1U, 4U, 7U, 20U}) {
    FilterProcess filter = startWith(Texts(count, "1"));
    expectMisuse(filter, "usage: commandtomox JOB USER TITLE COPIES OPTIONS [FILE]");
  }
}

TEST_F(CommandFilter, NamesACommandFileThatIsNotThere) {
  FilterProcess filter = startWith({"17", "user", "title", "1", "", "/nonexistent/commands"});
  expectMisuse(filter, "\"/nonexistent/commands\"");
}

TEST_F(CommandFilter, NamesAPpdFileThatIsNotThere) {
  std::filesystem::remove(pathOf("queue.ppd"));
  FilterProcess filter = start(kReportLevels);
  expectMisuse(filter, "PPD file");
}

TEST_F(CommandFilter, NeedsAPpdFileAndADeviceUriInItsEnvironment) {
  FilterProcess withoutPpd = startAfter(R"(unset PPD; exec "$@")", kReportLevels);
  expectMisuse(withoutPpd, "PPD file");
  FilterProcess withoutUri = startAfter(R"(unset DEVICE_URI; exec "$@")", kReportLevels);
  expectMisuse(withoutUri, "connection");
}

TEST_F(CommandFilter, NeedsNothingElseInItsEnvironment) {
  FilterProcess filter = startAfter(R"(unset PRINTER CUPS_CACHEDIR; exec "$@")", kReportLevels);
  EXPECT_EQ(finishWithReply(filter, tonerAt(37)).exitStatus, 0);
  EXPECT_THAT(mQueue.numbers("marker-levels"), ElementsAre(37));
}

}  // namespace
}  // namespace moxsupply::testing
