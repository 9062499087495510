// `moxsupply exporter` and its store, as others meet them.
#include <SQLiteCpp/Database.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "history/Store.h"
#include "tests/monitoring/ExporterProcess.h"
#include "tests/monitoring/HttpRequest.h"
#include "tests/support/MadeReading.h"
#include "tests/support/ReservedPort.h"
#include "tests/support/Run.h"
#include "tests/support/SimulatedPrinter.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TextFile.h"

namespace moxsupply::testing {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::SizeIs;

class TheExporterRemembers : public ::testing::Test {
 protected:
  // With the store of this test.
  std::unique_ptr<ExporterProcess> exporter(const std::vector<std::string>& targets,
                                            std::vector<std::string> options = {},
                                            const std::vector<std::string>& through = {}) {
    options.push_back("--store=" + mStore);
    return std::make_unique<ExporterProcess>(listOf(targets), options, through);
  }

  // Puts a reading of a printer into the store.
  void remember(const std::string& printer, std::chrono::seconds age, int level) {
    const Moment moment =
        std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now() - age);
    Store store = Store::openToWrite(mStore).value();
    const auto added = store.change([&] {
      return store
          .add(madeReading(momentAsText(moment), {madeReadSupply({.supply = {.level = level}})},
                           printer))
          .map([](auto) {});
    });
    ASSERT_TRUE(added) << added.error().what;
  }

  [[nodiscard]] std::vector<Reading> stored() const {
    std::vector<Reading> readings;
    auto store = Store::openToRead(mStore);
    if (!store) return {};
    const auto given = store->forEach({}, [&](const Reading& reading) -> Result<> {
      readings.push_back(reading);
      return {};
    });
    EXPECT_TRUE(given);
    return readings;
  }

  // Waits until the store has so many.
  [[nodiscard]] std::vector<Reading> awaitStored(std::size_t count) const {
    for (int i = 0; i < 500 && stored().size() < count; ++i) std::this_thread::sleep_for(20ms);
    return stored();
  }

  // Waits until a file has them all; the machine may be busy.
  static void awaitTexts(const std::string& file, const std::vector<std::string>& texts) {
    const auto isThere = [&](const std::string& text) {
      return fs::exists(file) && contentOf(file).find(text) != std::string::npos;
    };
    for (int i = 0; i < 1200 && !std::ranges::all_of(texts, isThere); ++i) {
      std::this_thread::sleep_for(50ms);
    }
  }

  static std::size_t linesWith(const std::string& text, const ExporterProcess& exporter) {
    const std::string log = exporter.log();
    std::size_t count = 0;
    for (auto place = log.find(text); place != std::string::npos; place = log.find(text, place + 1))
      ++count;
    return count;
  }

  TemporaryFolder mFolder;
  std::string mStore = mFolder.path() / "history.sqlite";
};

TEST_F(TheExporterRemembers, WhatAPrinterAnswered) {
  const SimulatedPrinter printer("laser-mono-toner");
  const auto exporter = this->exporter({printer.uri()}, {"--min-interval=1"});
  EXPECT_THAT(exporter->log(), HasSubstr(", remembered in " + mStore + "\n"));
  get(exporter->port(), probeOf(printer.uri()));
  const auto readings = awaitStored(1);
  ASSERT_THAT(readings, SizeIs(1));
  EXPECT_EQ(readings[0].printer, printer.uri());
  EXPECT_EQ(readings[0].labels.at("printer_type"), "auto");
  EXPECT_NEAR(daysBetween(readings[0].moment, std::chrono::system_clock::now()) * 86400, 0, 20);
  // The same again is not another one.
  std::this_thread::sleep_for(1100ms);
  get(exporter->port(), probeOf(printer.uri()));
  exporter->awaitMetric("npa_exporter_queries_total{status=\"success\"} 2");
  EXPECT_EQ(exporter->terminate().exitStatus, 0);
  EXPECT_THAT(stored(), SizeIs(1));
}

TEST_F(TheExporterRemembers, WhatIdentifiesCartridges) {
  const SimulatedPrinter printer("laser-mono-toner");
  const auto exporter = this->exporter({printer.uri()});
  get(exporter->port(), probeOf(printer.uri()));
  const auto readings = awaitStored(1);
  ASSERT_THAT(readings, SizeIs(1));
  EXPECT_EQ(readings[0].supplies.at(0).serial, "MONO000001");
  EXPECT_EQ(readings[0].supplies.at(0).pages.printed, 0U);
}

TEST_F(TheExporterRemembers, OverARestart) {
  const ReservedPort off;  // nobody answers any more
  remember(off.uri(), 3600s, 42);
  const auto exporter = this->exporter({off.uri()});
  const HttpAnswer answer = get(exporter->port(), probeOf(off.uri()));
  EXPECT_THAT(answer.body,
              AllOf(HasSubstr("npa_supply_level_ratio{supply=\"1\"} 0.42\n"),
                    HasSubstr("npa_reading_age_seconds 36"), HasSubstr("npa_probe_success 1\n")));
  exporter->awaitMetric("npa_exporter_queries_running 0");
  EXPECT_THAT(get(exporter->port(), "/metrics").body,
              Not(HasSubstr("npa_exporter_queries_total{status=\"unreachable\"} 1")));
}

TEST_F(TheExporterRemembers, AndAnswersAtOnceWhileItAsksWhoIsDue) {
  const SimulatedPrinter printer("laser-mono-toner");
  remember(printer.uri(), 7 * 3600s, 42);
  const auto exporter = this->exporter({printer.uri()});
  EXPECT_THAT(get(exporter->port(), probeOf(printer.uri())).body,
              HasSubstr("npa_supply_level_ratio{supply=\"1\"} 0.42\n"));
  exporter->awaitMetric("npa_exporter_queries_total{status=\"success\"} 1");
  EXPECT_THAT(get(exporter->port(), probeOf(printer.uri())).body,
              Not(HasSubstr("npa_supply_level_ratio{supply=\"1\"} 0.42\n")));
}

TEST_F(TheExporterRemembers, WhenAPrinterAnsweredTheSame) {
  const SimulatedPrinter printer("laser-mono-toner");
  {
    const auto exporter = this->exporter({printer.uri()}, {"--min-interval=1"});
    get(exporter->port(), probeOf(printer.uri()));
    std::this_thread::sleep_for(1100ms);
    get(exporter->port(), probeOf(printer.uri()));
    EXPECT_EQ(exporter->terminate().exitStatus, 0);
  }
  ASSERT_THAT(stored(), SizeIs(1));
  const auto answered = Store::openToRead(mStore)->answer(printer.uri());
  ASSERT_TRUE(answered.value());
  EXPECT_GE(**answered - stored()[0].moment, 1s);
}

TEST_F(TheExporterRemembers, AfterItWasKilled) {
  const SimulatedPrinter printer("laser-colour-full");
  const auto first = this->exporter({printer.uri()});
  get(first->port(), probeOf(printer.uri()));
  ASSERT_THAT(awaitStored(1), SizeIs(1));
  first->kill();
  const auto second = this->exporter({printer.uri()});
  EXPECT_THAT(get(second->port(), probeOf(printer.uri())).body,
              AllOf(HasSubstr("npa_supply_level_ratio{supply=\"1\"} 0.62\n"),
                    HasSubstr("npa_probe_duration_seconds 0\n")));
}

TEST_F(TheExporterRemembers, PrintersThatComeIntoTheListLater) {
  const ReservedPort off;
  remember(off.uri(), 3600s, 42);
  const auto exporter = this->exporter({});
  exporter->replaceList(listOf({off.uri()}));
  exporter->awaitLog("the list was read again");
  std::this_thread::sleep_for(500ms);
  EXPECT_THAT(get(exporter->port(), probeOf(off.uri())).body,
              HasSubstr("npa_supply_level_ratio{supply=\"1\"} 0.42\n"));
}

TEST_F(TheExporterRemembers, NothingWhenToldSo) {
  const SimulatedPrinter printer("laser-mono-toner");
  ExporterProcess exporter(listOf({printer.uri()}), {"--no-store"});
  EXPECT_THAT(get(exporter.port(), probeOf(printer.uri())).body,
              HasSubstr("npa_probe_success 1\n"));
  EXPECT_FALSE(fs::exists(exporter.list().parent_path() / "moxsupply"));
  EXPECT_THAT(exporter.log(), Not(HasSubstr("remembered")));
}

TEST_F(TheExporterRemembers, ByItselfWhereItsUserKeepsThings) {
  const SimulatedPrinter printer("laser-mono-toner");
  ExporterProcess exporter(listOf({printer.uri()}));
  const auto store = exporter.list().parent_path() / "moxsupply/history.sqlite";
  EXPECT_THAT(exporter.log(), HasSubstr(", remembered in " + store.string() + "\n"));
  get(exporter.port(), probeOf(printer.uri()));
  EXPECT_EQ(exporter.terminate().exitStatus, 0);
  EXPECT_TRUE(fs::exists(store));
}

TEST_F(TheExporterRemembers, WhenCartridgesWillBeEmpty) {
  const ReservedPort printer;
  const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
  {
    Store store = Store::openToWrite(mStore).value();
    const auto added = store.change([&]() -> Result<> {
      for (int day = 20; day > 0; --day) {
        std::vector<ReadSupply> supplies;
        for (std::uint32_t number = 1; number <= 10; ++number) {
          supplies.push_back(madeReadSupply(
              {.number = number,
               .supply = {.kind = number <= 4 ? "toner" : "other", .level = 5 + 4 * day}}));
        }
        const Moment moment = now - std::chrono::days(day - 1) - 1h;  // it is not asked yet
        const auto one = store.add(madeReading(momentAsText(moment), supplies, printer.uri()));
        if (!one) return tl::unexpected(one.error());
      }
      return {};
    });
    ASSERT_TRUE(added) << added.error().what;
  }
  const auto exporter = this->exporter({printer.uri()}, {"--delivery-days=3"});
  const auto metrics = [&] { return get(exporter->port(), probeOf(printer.uri())).body; };
  const std::string likely = R"(npa_supply_empty_timestamp_seconds{supply="1",estimate="likely"} )";
  for (int i = 0; i < 100 && metrics().find(likely) == std::string::npos; ++i) {
    std::this_thread::sleep_for(50ms);
  }
  // It lost 4 a day, and was read at 9 % an hour ago.
  const std::string text = metrics();
  const auto place = text.find(likely);
  ASSERT_NE(place, std::string::npos) << text;
  const double days =
      (std::stod(text.substr(place + likely.size())) - double(now.time_since_epoch().count())) /
      86400;
  EXPECT_GT(days, 0);
  EXPECT_LT(days, 4);
  EXPECT_THAT(text, AllOf(HasSubstr("npa_supply_low{supply=\"1\"} 1\n"),
                          HasSubstr("npa_supply_needed{supply=\"4\"} 1\n"),
                          Not(HasSubstr("npa_supply_needed{supply=\"5\"}")),
                          HasSubstr("npa_supply_events_total{event=\"low\"} 4\n")));
  const auto series = std::ranges::count(text, '\n') - std::ranges::count(text, '#');
  EXPECT_EQ(series, 45);
}

// ---- Somebody is told.

TEST_F(TheExporterRemembers, ToTellSomebodyWhatHappened) {
  const std::string said = mFolder.path() / "said";
  const SimulatedPrinter printer("laser-mono-toner");
  const ReservedPort off;
  // What was there before was half full: another cartridge is in its place.
  remember(printer.uri(), 7 * 3600s, 2);
  std::vector<std::string> targets = {printer.uri(), off.uri()};
  const auto exporter = this->exporter(targets, {"--notify=cat >>" + said, "--notify-every=1s"});
  for (const std::string& target : targets) get(exporter->port(), probeOf(target));
  const auto all = [&] { return fs::exists(said) ? contentOf(said) : std::string(); };
  const std::string silent = R"("silent":[")" + off.uri();
  awaitTexts(said, {silent, R"("event":"replaced")"});
  std::this_thread::sleep_for(1s);  // it notes that its command has ended
  EXPECT_THAT(all(), AllOf(HasSubstr(silent), HasSubstr(R"("event":"replaced")")));
  EXPECT_EQ(exporter->terminate().exitStatus, 0);
  const auto lines = std::ranges::count(all(), '\n');
  // Nobody is told again.
  const auto next = this->exporter(targets, {"--notify=cat >>" + said, "--notify-every=1s"});
  for (const std::string& target : targets) get(next->port(), probeOf(target));
  std::this_thread::sleep_for(3s);
  EXPECT_EQ(std::ranges::count(all(), '\n'), lines) << all();
}

TEST_F(TheExporterRemembers, WhatNobodyCouldBeToldYet) {
  const std::string said = mFolder.path() / "said";
  const SimulatedPrinter printer("laser-mono-toner");
  remember(printer.uri(), 7 * 3600s, 2);
  const auto first = this->exporter({printer.uri()}, {"--notify=exit 3", "--notify-every=1"});
  get(first->port(), probeOf(printer.uri()));
  first->awaitLog("the command of --notify ended with 3; it is tried again until it works");
  ASSERT_THAT(awaitStored(2), SizeIs(2));
  first->kill();
  const auto second =
      this->exporter({printer.uri()}, {"--notify=cat >>" + said, "--notify-every=1"});
  awaitTexts(said, {R"("event":"replaced")"});
  EXPECT_THAT(contentOf(said), HasSubstr(R"("event":"replaced")"));
}

TEST_F(TheExporterRemembers, WhatItTellsSomebodyAndSoMust) {
  const Ran ran =
      run({MOXSUPPLY_PROGRAM, "exporter", "list.json", "--no-store", "--notify", "cat"});
  EXPECT_EQ(ran.exitStatus, 2);
  EXPECT_THAT(ran.errors, HasSubstr("--notify: needs the store"));
  const Ran both =
      run({MOXSUPPLY_PROGRAM, "exporter", "list.json", "--no-store", "--store=" + mStore});
  EXPECT_EQ(both.exitStatus, 2);
  EXPECT_THAT(both.errors, HasSubstr("--no-store: does not go with --store"));
  for (const char* wrong : {"0", "1w", "", "d", "32d", "-1", "99999999999"}) {
    const Ran refused = run({MOXSUPPLY_PROGRAM, "exporter", "list.json", "--notify-every", wrong});
    EXPECT_EQ(refused.exitStatus, 2);
    EXPECT_THAT(refused.errors, HasSubstr("--notify-every: expected a time from 1s to 31d"));
  }
}

// ---- A store that cannot be used is said once, and levels are served all the same.

TEST_F(TheExporterRemembers, NothingInADamagedStoreWhichItLeavesAsItIs) {
  std::ofstream(mStore) << "This is no history at all, but it is long enough to be looked at.\n";
  const std::string before = contentOf(mStore);
  const SimulatedPrinter printer("laser-mono-toner");
  const auto exporter = this->exporter({printer.uri()}, {"--min-interval=1"});
  EXPECT_THAT(get(exporter->port(), probeOf(printer.uri())).body,
              HasSubstr("npa_probe_success 1\n"));
  exporter->awaitLog(mStore + " is damaged, or no history (");
  std::this_thread::sleep_for(1100ms);
  get(exporter->port(), probeOf(printer.uri()));
  EXPECT_EQ(exporter->terminate().exitStatus, 0);
  EXPECT_EQ(linesWith("is damaged", *exporter), 1U) << exporter->log();
  EXPECT_EQ(contentOf(mStore), before);
}

TEST_F(TheExporterRemembers, NothingInAStoreWithADamagedPage) {
  for (int i = 0; i < 300; ++i) remember(fmt::format("socket://192.0.2.{}", i), 3600s, 42);
  const auto size = fs::file_size(mStore);
  std::fstream file(mStore, std::ios::in | std::ios::out | std::ios::binary);
  file.seekp(static_cast<std::streamoff>(size - 4096));
  file << std::string(4096, '\xA5');
  file.close();
  const std::string before = contentOf(mStore);
  const SimulatedPrinter printer("laser-mono-toner");
  const auto exporter = this->exporter({printer.uri()});
  exporter->awaitLog(mStore + " is damaged");
  EXPECT_THAT(get(exporter->port(), probeOf(printer.uri())).body,
              HasSubstr("npa_probe_success 1\n"));
  EXPECT_EQ(exporter->terminate().exitStatus, 0);
  EXPECT_EQ(linesWith("is damaged", *exporter), 1U) << exporter->log();
  EXPECT_EQ(contentOf(mStore), before);
}

TEST_F(TheExporterRemembers, WhatAReadOnlyStoreHas) {
  const ReservedPort off;
  remember(off.uri(), 3600s, 42);
  fs::permissions(mFolder.path(), fs::perms(0755));
  fs::permissions(mStore, fs::perms(0444));
  const std::vector<std::string> asNobody = {"setpriv", "--reuid=65534", "--regid=65534",
                                             "--clear-groups"};
  const auto exporter =
      this->exporter({off.uri()}, {}, ::geteuid() == 0 ? asNobody : std::vector<std::string>());
  EXPECT_THAT(get(exporter->port(), probeOf(off.uri())).body,
              HasSubstr("npa_supply_level_ratio{supply=\"1\"} 0.42\n"));
  exporter->awaitLog(mStore + " is read-only");
  EXPECT_EQ(exporter->terminate().exitStatus, 0);
  EXPECT_EQ(linesWith("read-only", *exporter), 1U) << exporter->log();
}

TEST_F(TheExporterRemembers, NothingInAStoreOfANewerVersion) {
  remember("socket://192.0.2.7", 3600s, 42);
  SQLite::Database(mStore, SQLite::OPEN_READWRITE).exec("PRAGMA user_version = 99");
  const auto exporter = this->exporter({});
  exporter->awaitLog("is of version 99");
  EXPECT_EQ(get(exporter->port(), "/-/healthy").status, 200);
  EXPECT_EQ(linesWith("is of version", *exporter), 1U);
}

TEST_F(TheExporterRemembers, WhatCameWhileTheStoreWasLocked) {
  remember("socket://192.0.2.7", 3600s, 42);
  const SimulatedPrinter printer("laser-mono-toner");
  const auto exporter = this->exporter({printer.uri()});
  get(exporter->port(), "/");
  {
    SQLite::Database other(mStore, SQLite::OPEN_READWRITE);
    other.exec("BEGIN EXCLUSIVE");
    const HttpAnswer answer = get(exporter->port(), probeOf(printer.uri()));
    EXPECT_THAT(answer.body, HasSubstr("npa_probe_success 1\n"));
    EXPECT_LT(answer.time, 6s);  // a store that has not been read yet is waited for, 5 s at most
    std::this_thread::sleep_for(1s);
    EXPECT_LT(get(exporter->port(), "/metrics").time, 500ms);
    other.exec("ROLLBACK");
  }
  EXPECT_THAT(awaitStored(2), SizeIs(2));
  EXPECT_EQ(linesWith("locked", *exporter), 0U);
}

TEST_F(TheExporterRemembers, NothingOfALockedStoreAtItsStartAndServes) {
  const SimulatedPrinter printer("laser-mono-toner");
  remember(printer.uri(), 3600s, 42);
  SQLite::Database other(mStore, SQLite::OPEN_READWRITE);
  other.exec("BEGIN EXCLUSIVE");
  const auto exporter = this->exporter({printer.uri()});
  EXPECT_LT(get(exporter->port(), "/metrics").time, 500ms);
  EXPECT_THAT(get(exporter->port(), probeOf(printer.uri())).body,
              HasSubstr("npa_probe_success 1\n"));
  const auto ending = exporter->terminate();
  EXPECT_EQ(ending.exitStatus, 0);
  EXPECT_LT(ending.time, 9s);
}

}  // namespace
}  // namespace moxsupply::testing
