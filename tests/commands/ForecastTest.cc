// `moxsupply forecast` and `moxsupply orders` as people use them.

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/Run.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TextFile.h"

namespace moxsupply::testing {
namespace {

using Json = nlohmann::json;
using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

// A day of January 2026; later ones run into the months after it.
std::string dayOf2026(int day) {
  int month = 1;
  for (const int days : {31, 28, 31, 30, 31}) {
    if (day <= days) break;
    day -= days;
    ++month;
  }
  return fmt::format("2026-{:02}-{:02}T08:00:00Z", month, day);
}

const std::string kHall = "socket://192.0.2.7";
const std::string kOffice = "socket://192.0.2.8";

// A store of its own for each test.
class Remembered : public ::testing::Test {
 protected:
  Ran moxsupply(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), MOXSUPPLY_PROGRAM);
    return run(arguments, {"LC_ALL=C.UTF-8", "STATE_DIRECTORY=", "XDG_STATE_HOME=",
                           "HOME=" + mFolder.path().string()});
  }

  struct Toner {
    std::optional<int> level;
    std::string status = "ok";
    std::string part = "P1";
    std::string name = "Black Toner";
  };

  void read(const std::string& printer, int day, const std::vector<Toner>& toners,
            const Json& labels = {}) {
    Json reading = {{"time", dayOf2026(day)}, {"printer", printer}, {"supplies", Json::array()}};
    if (!labels.empty()) reading["labels"] = labels;
    for (const Toner& toner : toners) {
      Json supply = {{"number", reading["supplies"].size() + 1},
                     {"name", toner.name},
                     {"type", "toner"},
                     {"color", "Black"},
                     {"level", toner.level ? Json(*toner.level) : Json()},
                     {"status", toner.status}};
      if (!toner.level) supply["why"] = toner.status == "missing" ? "missing" : "unknown";
      if (!toner.part.empty()) supply["part"] = toner.part;
      reading["supplies"].push_back(supply);
    }
    reading["supplies"].push_back({{"number", 9},
                                   {"name", "Fuser"},
                                   {"type", "fuser"},
                                   {"color", ""},
                                   {"level", 50},
                                   {"status", "ok"}});
    mReadings += reading.dump() + '\n';
  }
  // Two points a day, from a full cartridge on the first day.
  void readDaily(const std::string& printer, int days, const Json& labels = {}) {
    for (int day = 1; day <= days; ++day) read(printer, day, {{102 - 2 * day}}, labels);
  }

  Ran tell(const std::string& command, std::vector<std::string> arguments) {
    if (!mReadings.empty()) {
      write(mFolder.path() / "readings", mReadings);
      mReadings.clear();
      const Ran added =
          moxsupply({"history", "add", "--store", mStore, (mFolder.path() / "readings").string()});
      EXPECT_EQ(added.exitStatus, 0) << added.errors;
    }
    arguments.insert(arguments.begin(), {command, "--store", mStore});
    return moxsupply(arguments);
  }
  std::vector<Json> linesOf(const std::string& command, const std::vector<std::string>& arguments) {
    const Ran ran = tell(command, arguments);
    EXPECT_EQ(ran.exitStatus, 0);
    EXPECT_EQ(ran.errors, "");
    std::vector<Json> lines;
    std::istringstream text(ran.output);
    for (std::string line; std::getline(text, line);) lines.push_back(Json::parse(line));
    return lines;
  }

  TemporaryFolder mFolder;
  std::string mStore = mFolder.path() / "store.sqlite";
  std::string mReadings;
};

using ForecastCommand = Remembered;
using OrdersCommand = Remembered;

TEST_F(ForecastCommand, HasALineForEachTonerOfTheLastReading) {
  readDaily(kHall, 30);
  readDaily(kOffice, 5);
  const auto lines = linesOf("forecast", {"--at", dayOf2026(31)});
  ASSERT_THAT(lines, SizeIs(2));
  EXPECT_EQ(lines[0]["printer"], kHall);
  EXPECT_EQ(lines[0]["supply"], 1);
  EXPECT_EQ(lines[0]["name"], "Black Toner");
  EXPECT_EQ(lines[0]["level"], 42);
  EXPECT_EQ(lines[0]["asOf"], dayOf2026(30));
  const Json& emptyAt = lines[0]["emptyAt"];
  EXPECT_LE(lines[0]["asOf"], emptyAt["earliest"]);
  EXPECT_LE(emptyAt["earliest"], emptyAt["likely"]);
  EXPECT_LE(emptyAt["likely"], emptyAt["latest"]);
  EXPECT_NE(lines[0]["because"], "");
  EXPECT_THAT(lines[0], SizeIs(7));

  EXPECT_TRUE(lines[1]["emptyAt"].is_null());
  EXPECT_THAT(lines[1]["because"].get<std::string>(), HasSubstr("7 days"));
}

TEST_F(ForecastCommand, LeavesLaterReadingsOut) {
  readDaily(kHall, 40);
  EXPECT_EQ(linesOf("forecast", {"--at", dayOf2026(20)})[0]["asOf"], dayOf2026(20));
  EXPECT_EQ(linesOf("forecast", {"--at", dayOf2026(20)})[0]["level"], 62);
  EXPECT_EQ(linesOf("forecast", {"--at", "2026-01-20T07:59:59.999Z"})[0]["asOf"], dayOf2026(19));
  EXPECT_EQ(linesOf("forecast", {})[0]["asOf"], dayOf2026(40));
  EXPECT_THAT(linesOf("forecast", {"--at", "2025-12-31T00:00:00Z"}), SizeIs(0));
}

TEST_F(ForecastCommand, IsOfOnePrinterHoweverItIsWritten) {
  readDaily(kHall, 10);
  readDaily(kOffice, 10);
  for (const char* const name :
       {"socket://192.0.2.8", "192.0.2.8", "socket://u:p@192.0.2.8:9100/"}) {
    const auto lines = linesOf("forecast", {name});
    ASSERT_THAT(lines, SizeIs(1));
    EXPECT_EQ(lines[0]["printer"], kOffice);
  }
  EXPECT_THAT(linesOf("forecast", {"192.0.2.9"}), SizeIs(0));
}

TEST_F(ForecastCommand, TellsOfWhatIsEmptyMissingWrongOrUnknown) {
  for (int day = 1; day <= 20; ++day) {
    read(kHall, day, {{100 - day}, {100 - day}, {100 - day}, {100 - day}});
  }
  read(kHall, 21, {{0}, {{}, "missing"}, {79, "invalid"}, {{}}});
  const auto lines = linesOf("forecast", {});
  ASSERT_THAT(lines, SizeIs(4));
  for (const char* const time : {"earliest", "likely", "latest"}) {
    EXPECT_EQ(lines[0]["emptyAt"][time], dayOf2026(21));
  }
  EXPECT_TRUE(lines[1]["emptyAt"].is_null());
  EXPECT_TRUE(lines[1]["level"].is_null());
  EXPECT_TRUE(lines[2]["emptyAt"].is_null());
  EXPECT_TRUE(lines[3]["emptyAt"].is_object());
  EXPECT_EQ(lines[3]["level"], 80);
}

TEST_F(ForecastCommand, ShowsPeopleATable) {
  readDaily(kHall, 30);
  const Ran ran = tell("forecast", {"--format", "table"});
  EXPECT_EQ(ran.exitStatus, 0);
  EXPECT_THAT(ran.output, StartsWith("PRINTER"));
  EXPECT_THAT(ran.output, HasSubstr("Black Toner  42 %   2026-01-30  2026-02-"));
}

TEST_F(ForecastCommand, ShowsTheTerminalNothingThatItActsOn) {
  read(kHall, 1, {{50, "ok", "", "a\x1b[31m\u202e\u202c"}});
  EXPECT_THAT(tell("forecast", {"--format", "table"}).output,
              AllOf(Not(HasSubstr("\x1b")), Not(HasSubstr("\xE2\x80"))));
  EXPECT_THAT(tell("forecast", {"--format", "json"}).output, Not(HasSubstr("\x1b")));
}

TEST_F(ForecastCommand, EndsWithTwoForWrongArguments) {
  readDaily(kHall, 2);
  for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
           {"--at", "yesterday"}, {"--format", "csv"}, {"--within", "3"}, {"a", "b"}}) {
    const Ran ran = tell("forecast", arguments);
    EXPECT_EQ(ran.exitStatus, 2);
    EXPECT_EQ(ran.output, "");
  }
}

TEST_F(ForecastCommand, EndsWithOneWithoutAStore) {
  for (const char* const command : {"forecast", "orders"}) {
    const Ran ran = moxsupply({command, "--store", mStore});
    EXPECT_EQ(ran.exitStatus, 1);
    EXPECT_THAT(ran.errors, AllOf(HasSubstr("store.sqlite"), EndsWith("\n")));
    EXPECT_EQ(std::ranges::count(ran.errors, '\n'), 1);
  }
}

TEST_F(OrdersCommand, TellsWhatToBuyByWhen) {
  readDaily(kHall, 40, {{"place", "2nd floor"}});
  read(kOffice, 40, {{0}, {8, "ok", "", "Magenta"}, {90, "ok", "P2"}});
  const auto lines = linesOf("orders", {"--at", dayOf2026(41)});
  ASSERT_THAT(lines, SizeIs(2));
  EXPECT_EQ(lines[0]["part"], "P1");
  EXPECT_EQ(lines[0]["name"], "Black Toner");
  EXPECT_EQ(lines[0]["type"], "toner");
  EXPECT_EQ(lines[0]["count"], 2);
  EXPECT_EQ(lines[0]["by"], dayOf2026(40));
  EXPECT_EQ(lines[0]["needed"][0], Json({{"printer", kOffice}, {"supply", 1}, {"place", nullptr}}));
  EXPECT_EQ(lines[0]["needed"][1],
            Json({{"printer", kHall}, {"supply", 1}, {"place", "2nd floor"}}));
  EXPECT_THAT(lines[0], SizeIs(6));
  // It is low, and no forecast knows until when it lasts.
  EXPECT_TRUE(lines[1]["part"].is_null());
  EXPECT_EQ(lines[1]["name"], "Magenta");
}

TEST_F(OrdersCommand, TakesTheTime) {
  readDaily(kHall, 30);  // 42 % are left, for 21 days
  EXPECT_THAT(linesOf("orders", {"--at", dayOf2026(30), "--within", "2"}), SizeIs(0));
  EXPECT_THAT(linesOf("orders", {"--at", dayOf2026(30), "--within", "60"}), SizeIs(1));
  const auto lines = linesOf("orders", {"--at", dayOf2026(30), "--within", "60"});
  const auto forecast = linesOf("forecast", {"--at", dayOf2026(30)});
  EXPECT_EQ(lines[0]["by"], forecast[0]["emptyAt"]["earliest"]);
}

TEST_F(OrdersCommand, LooksTwoWeeksAheadWhereItIsNotTold) {
  for (int day = 1; day <= 40; ++day) read(kHall, day, {{101 - day}});
  // On how many days there is something to order.
  const auto days = [&](const std::vector<std::string>& within) {
    std::size_t count = 0;
    for (int day = 45; day < 60; ++day) {
      std::vector<std::string> arguments = {"--at", dayOf2026(day)};
      arguments.insert(arguments.end(), within.begin(), within.end());
      count += linesOf("orders", arguments).size();
    }
    return count;
  };
  const std::size_t told = days({"--within", "14"});
  EXPECT_EQ(days({}), told);
  EXPECT_EQ(days({"--within", "13"}), told - 1);
  EXPECT_EQ(days({"--within", "15"}), told + 1);
}

TEST_F(OrdersCommand, SaysHowManyPrintersAreSilent) {
  read(kHall, 1, {{0}});
  read(kOffice, 50, {{0}});
  const Ran ran = tell("orders", {"--at", dayOf2026(92), "--format", "json"});
  EXPECT_EQ(ran.exitStatus, 0);
  EXPECT_EQ(std::ranges::count(ran.output, '\n'), 1);
  EXPECT_EQ(ran.errors, "moxsupply orders: 1 printer was not read for 90 days, and not counted\n");
  EXPECT_EQ(linesOf("orders", {"--at", dayOf2026(90)})[0]["count"], 2);
}

TEST_F(OrdersCommand, WritesCsvThatNoSpreadsheetWorksOut) {
  read(kHall, 1, {{0, "ok", "=1+1", "a \"b\",\nc"}}, {{"place", "hall, left"}});
  const Ran ran = tell("orders", {"--at", dayOf2026(2), "--format", "csv"});
  EXPECT_EQ(ran.exitStatus, 0);
  EXPECT_EQ(ran.output,
            "part,name,type,count,by,needed\r\n"
            "\"'=1+1\",\"a \"\"b\"\", c\",\"toner\",\"1\",\"2026-01-01T08:00:00Z\","
            "\"socket://192.0.2.7 supply 1 (hall, left)\"\r\n");
}

TEST_F(OrdersCommand, ShowsPeopleATable) {
  read(kHall, 1, {{0, "ok", "P1", "\x1b[31mx"}});
  const Ran ran = tell("orders", {"--at", dayOf2026(2), "--format", "table"});
  EXPECT_THAT(ran.output, AllOf(StartsWith("PART"), HasSubstr("2026-01-01"), HasSubstr(kHall),
                                Not(HasSubstr("\x1b"))));
}

TEST_F(OrdersCommand, EndsWithTwoForWrongArguments) {
  readDaily(kHall, 2);
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{"--at", "yesterday"},
                                             {"--within", "-1"},
                                             {"--within", "x"},
                                             {"--format", "xml"},
                                             {"socket://192.0.2.7"}}) {
    const Ran ran = tell("orders", arguments);
    EXPECT_EQ(ran.exitStatus, 2);
    EXPECT_EQ(ran.output, "");
  }
}

}  // namespace
}  // namespace moxsupply::testing
