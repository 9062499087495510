#include <SQLiteCpp/Database.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "history/Store.h"
#include "tests/support/MadeReading.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TextFile.h"
#include "tests/support/WithoutRights.h"

namespace moxsupply::testing {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

const std::string kOffice = "socket://192.0.2.7";
const std::string kHall = "socket://192.0.2.8";

Reading readingOf(const std::string& printer, int minute, int level = 50) {
  return madeReading(fmt::format("2026-01-01T{:02}:{:02}:00Z", minute / 60, minute % 60),
                     {madeReadSupply({.supply = {.level = level}})}, printer);
}

// What is wrong; "" for nothing.
template <typename Value>
std::string wrongWith(const Result<Value>& result) {
  return result ? "" : result.error().what;
}

class StoreInAFile : public ::testing::Test {
 protected:
  Store written() {
    auto store = Store::openToWrite(mPath);
    EXPECT_EQ(wrongWith(store), "");
    return std::move(store).value();
  }
  Store read() {
    auto store = Store::openToRead(mPath);
    EXPECT_EQ(wrongWith(store), "");
    return std::move(store).value();
  }

  // Adds them in one change.
  Result<> add(const std::vector<Reading>& readings) {
    Store store = written();
    return store.change([&]() -> Result<> {
      for (const Reading& reading : readings) {
        if (const auto added = store.add(reading); !added) return tl::unexpected(added.error());
      }
      return {};
    });
  }

  std::vector<std::string> stored(const Store::Which& which = {}) {
    std::vector<std::string> lines;
    const auto given = read().forEach(which, [&](const Reading& reading) -> Result<> {
      lines.push_back(reading.json);
      return {};
    });
    EXPECT_EQ(wrongWith(given), "");
    return lines;
  }
  std::vector<std::string> storedLast(const std::optional<std::string>& printer = {}) {
    std::vector<std::string> lines;
    const auto given = read().forEachLast(printer, [&](const Reading& reading) -> Result<> {
      lines.push_back(reading.json);
      return {};
    });
    EXPECT_EQ(wrongWith(given), "");
    return lines;
  }

  // Runs SQL on the file, as somebody else would.
  void change(const std::string& sql) {
    SQLite::Database(mPath, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE).exec(sql);
  }

  TemporaryFolder mFolder;
  std::string mPath = mFolder.path() / "history.sqlite";
};

TEST_F(StoreInAFile, GivesReadingsInTheOrderOfTime) {
  const Reading first = readingOf(kHall, 1);
  const Reading second = readingOf(kOffice, 2);
  const Reading third = readingOf(kHall, 3, 49);
  const Reading fourth = readingOf(kOffice, 3);
  EXPECT_EQ(wrongWith(add({second, fourth})), "");
  EXPECT_EQ(wrongWith(add({first, third})), "");
  EXPECT_THAT(stored(), ElementsAre(first.json, second.json, fourth.json, third.json));
  EXPECT_THAT(stored({.printer = kHall}), ElementsAre(first.json, third.json));
  EXPECT_THAT(stored({.since = second.moment, .until = second.moment}), ElementsAre(second.json));
  EXPECT_THAT(stored({.printer = kHall, .since = second.moment}), ElementsAre(third.json));
  EXPECT_THAT(stored({.printer = "socket://192.0.2.9"}), IsEmpty());
  EXPECT_THAT(storedLast(), ElementsAre(fourth.json, third.json));
  EXPECT_THAT(storedLast(kHall), ElementsAre(third.json));
}

TEST_F(StoreInAFile, GivesEveryReadingBackAsItWas) {
  std::vector<Reading> readings;
  std::vector<std::string> lines;
  for (int i = 0; i < 600; ++i) {
    Reading reading = readingOf(kOffice, i, i % 101);
    reading.labels["place"] = std::string(static_cast<std::size_t>(i * i % 5000), 'x');
    reading.json = asJson(reading);
    reading.json.insert(1, fmt::format(R"("digits":[{}.10,1e400,-0],)", i));
    readings.push_back(readingFrom(reading.json).value());
    lines.push_back(readings.back().json);
  }
  EXPECT_EQ(wrongWith(add(readings)), "");
  EXPECT_EQ(stored(), lines);
}

TEST_F(StoreInAFile, HoldsTheLongestLine) {
  std::string line = readingOf(kOffice, 1).json;
  const std::string member = R"("x":"",)";
  line.insert(1, member);
  line.insert(6, std::string(kLongestReading - line.size(), '\x7F'));
  const Reading reading = readingFrom(line).value();
  EXPECT_EQ(wrongWith(add({reading})), "");
  EXPECT_EQ(stored().at(0) == reading.json, true);
}

TEST_F(StoreInAFile, TakesAReadingOnce) {
  const Reading first = readingOf(kOffice, 1);
  EXPECT_EQ(wrongWith(add({first, first})), "");
  EXPECT_EQ(wrongWith(add({readingOf(kOffice, 2), first})), "");
  EXPECT_EQ(stored().size(), 2U);
}

TEST_F(StoreInAFile, RefusesAnotherReadingOfTheSameTimeOrAnEarlierOne) {
  EXPECT_EQ(wrongWith(add({readingOf(kOffice, 5)})), "");
  const auto other = add({readingOf(kOffice, 6), readingOf(kOffice, 5, 49)});
  EXPECT_EQ(wrongWith(other),
            "expected one reading of 2026-01-01T00:05:00Z; another one of this printer and this "
            "time is there already");
  EXPECT_TRUE(other.error().isMisuse);
  EXPECT_EQ(wrongWith(add({readingOf(kHall, 1), readingOf(kOffice, 4)})),
            "expected a time after 2026-01-01T00:05:00Z, that of this printer's last reading, not "
            "2026-01-01T00:04:00Z");
  EXPECT_EQ(stored().size(), 1U);  // what came before the wrong one is not there either
}

TEST_F(StoreInAFile, TakesReadingsOut) {
  EXPECT_EQ(wrongWith(add({readingOf(kHall, 9), readingOf(kOffice, 1), readingOf(kOffice, 2),
                           readingOf(kOffice, 3)})),
            "");
  Store store = written();
  const auto out = store.change([&]() -> Result<> {
    EXPECT_EQ(store.takeOutAfter(kOffice, readingOf(kOffice, 1).moment), 2U);
    EXPECT_EQ(store.takeOutAfter("socket://192.0.2.9", Moment()), 0U);
    return {};
  });
  EXPECT_EQ(wrongWith(out), "");
  EXPECT_THAT(stored(), ElementsAre(readingOf(kOffice, 1).json, readingOf(kHall, 9).json));
  EXPECT_EQ(wrongWith(add({readingOf(kOffice, 2, 7)})), "");
}

TEST_F(StoreInAFile, HasTheVersionOfItsSchema) {
  EXPECT_EQ(wrongWith(add({})), "");
  EXPECT_EQ(SQLite::Database(mPath).execAndGet("PRAGMA user_version").getInt(), 3);
}

TEST_F(StoreInAFile, ComesFromEveryEarlierVersion) {
  change("");  // of version 0: nothing
  EXPECT_THAT(stored(), IsEmpty());
  EXPECT_TRUE(fs::is_empty(mPath));
  EXPECT_EQ(wrongWith(add({readingOf(kOffice, 1)})), "");
  EXPECT_EQ(stored().size(), 1U);
}

TEST_F(StoreInAFile, ComesFromTheFirstVersionWithAllItsReadings) {
  const std::vector<Reading> readings = {readingOf(kOffice, 1), readingOf(kHall, 2),
                                         readingOf(kOffice, 3, 40)};
  EXPECT_EQ(wrongWith(add(readings)), "");
  const std::string first = mFolder.path() / "first.sqlite";
  SQLite::Database old(first, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
  old.exec(
      "CREATE TABLE printers(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE);"
      "CREATE TABLE readings(id INTEGER PRIMARY KEY, printer INTEGER NOT NULL, time INTEGER NOT "
      "NULL, base INTEGER, delta BLOB NOT NULL);"
      "CREATE UNIQUE INDEX readings_in_order ON readings(printer, time);"
      "PRAGMA user_version = 1; ATTACH '" +
      mPath +
      "' AS new; INSERT INTO printers SELECT id, name FROM new.printers;"
      "INSERT INTO readings SELECT * FROM new.readings; DETACH new");
  fs::rename(first, mPath);
  const std::vector<std::string> lines = {readings[0].json, readings[1].json, readings[2].json};
  const std::string before = contentOf(mPath);
  EXPECT_EQ(stored(), lines);
  EXPECT_EQ(contentOf(mPath), before);  // who reads changes nothing
  EXPECT_EQ(wrongWith(add({})), "");
  EXPECT_EQ(SQLite::Database(mPath).execAndGet("PRAGMA user_version").getInt(), 3);
  EXPECT_EQ(stored(), lines);
  EXPECT_EQ(read().answer(kOffice), std::nullopt);
}

TEST_F(StoreInAFile, ComesFromTheSecondVersion) {
  const Reading reading = readingOf(kOffice, 1);
  EXPECT_EQ(wrongWith(add({reading})), "");
  EXPECT_EQ(wrongWith(written().noteAnswer(kOffice, reading.moment)), "");
  change(
      "DROP TABLE notices; DROP TABLE silent; ALTER TABLE printers DROP COLUMN told;"
      "PRAGMA user_version = 2");
  EXPECT_EQ(read().notices().value().size(), 0U);  // in a copy
  EXPECT_EQ(SQLite::Database(mPath).execAndGet("PRAGMA user_version").getInt(), 2);
  EXPECT_EQ(wrongWith(written().addNotice({.printer = kOffice, .moment = reading.moment})), "");
  EXPECT_EQ(SQLite::Database(mPath).execAndGet("PRAGMA user_version").getInt(), 3);
  EXPECT_THAT(stored(), ElementsAre(reading.json));
  EXPECT_EQ(read().answer(kOffice), reading.moment);
}

TEST_F(StoreInAFile, HasNoticesUntilTheyAreTakenOut) {
  const Moment moment = readingOf(kOffice, 1).moment;
  {
    Store store = written();
    const Notice event = {.printer = kOffice, .moment = moment, .isUrgent = true, .event = "{}"};
    EXPECT_EQ(wrongWith(store.addNotice(event)), "");
    for (const std::string& printer : {kOffice, kHall}) {
      const Notice silent = {
          .kind = Notice::Kind::kGone, .printer = printer, .moment = moment + 1s};
      EXPECT_EQ(wrongWith(store.addNotice(silent)), "");
    }
  }
  Store store = written();
  const auto notices = store.notices().value();
  ASSERT_EQ(notices.size(), 3U);
  EXPECT_EQ(notices[0].kind, Notice::Kind::kEvent);
  EXPECT_EQ(notices[0].event, "{}");
  EXPECT_TRUE(notices[0].isUrgent);
  EXPECT_EQ(notices[2].printer, kHall);
  EXPECT_EQ(notices[2].moment, moment + 1s);
  EXPECT_FALSE(notices[2].isUrgent);
  EXPECT_TRUE(store.takeOutNotices(kHall, Notice::Kind::kGone).value());
  EXPECT_FALSE(store.takeOutNotices(kHall, Notice::Kind::kGone).value());
  EXPECT_FALSE(store.takeOutNotices(kOffice, Notice::Kind::kBack).value());
  EXPECT_EQ(wrongWith(store.takeOutNotices(notices[0].id)), "");
  ASSERT_EQ(store.notices().value().size(), 1U);
  EXPECT_EQ(wrongWith(store.takeOutNotices(notices[1].id)), "");
  EXPECT_EQ(wrongWith(store.addNotice(notices[0])), "");
  EXPECT_GT(store.notices().value().at(0).id, notices[2].id);  // none is ever given again
}

TEST_F(StoreInAFile, KnowsWhoIsSilentAndWhatWasTold) {
  EXPECT_EQ(wrongWith(add({readingOf(kOffice, 1)})), "");
  Store store = written();
  EXPECT_TRUE(store.setSilent(kHall, true).value());
  EXPECT_FALSE(store.setSilent(kHall, true).value());
  EXPECT_TRUE(store.setSilent(kHall, false).value());
  EXPECT_FALSE(store.setSilent(kHall, false).value());
  EXPECT_EQ(store.told(kOffice).value(), std::nullopt);
  EXPECT_EQ(wrongWith(store.setTold(kOffice, readingOf(kOffice, 1).moment)), "");
  EXPECT_EQ(read().told(kOffice).value(), readingOf(kOffice, 1).moment);
}

TEST_F(StoreInAFile, NotesWhenAPrinterAnswered) {
  EXPECT_EQ(wrongWith(add({readingOf(kOffice, 1)})), "");
  EXPECT_EQ(written().answer(kOffice), std::nullopt);
  const Moment moment = readingOf(kOffice, 70).moment;
  EXPECT_EQ(wrongWith(written().noteAnswer(kOffice, moment)), "");
  EXPECT_EQ(wrongWith(written().noteAnswer(kHall, moment)), "");
  EXPECT_EQ(read().answer(kOffice), moment);
  EXPECT_EQ(read().answer(kHall), std::nullopt);  // of no printer that it knows
  EXPECT_EQ(stored().size(), 1U);
}

TEST_F(StoreInAFile, GivesReadingsWithinAChange) {
  EXPECT_EQ(wrongWith(add({readingOf(kOffice, 1), readingOf(kOffice, 2)})), "");
  Store store = written();
  std::vector<int> minutes;
  const auto last = [&]() -> Result<> {
    return store.forEachLast(kOffice, [&](const Reading& reading) -> Result<> {
      minutes.push_back(std::stoi(reading.time.substr(14, 2)));
      return {};
    });
  };
  const auto changed = store.change([&]() -> Result<> {
    EXPECT_EQ(wrongWith(last()), "");
    EXPECT_EQ(store.takeOutAfter(kOffice, readingOf(kOffice, 1).moment), 1U);
    EXPECT_EQ(wrongWith(last()), "");
    return {};
  });
  EXPECT_EQ(wrongWith(changed), "");
  EXPECT_THAT(minutes, ElementsAre(2, 1));
  EXPECT_EQ(stored().size(), 1U);
}

TEST_F(StoreInAFile, IsNotOfANewerVersion) {
  EXPECT_EQ(wrongWith(add({readingOf(kOffice, 1)})), "");
  change("PRAGMA user_version = 4");
  const std::string before = contentOf(mPath);
  const std::string wrong = mPath + " is of version 4, and this program knows none after 3";
  EXPECT_EQ(wrongWith(Store::openToRead(mPath)), wrong);
  EXPECT_EQ(wrongWith(Store::openToWrite(mPath)), wrong);
  EXPECT_EQ(contentOf(mPath), before);
}

TEST_F(StoreInAFile, MustBeThereToBeRead) {
  EXPECT_EQ(wrongWith(Store::openToRead(mPath)), "there is no history at " + mPath);
  EXPECT_FALSE(fs::exists(mPath));
  EXPECT_THAT(wrongWith(Store::openToWrite(mFolder.path() / "no" / "folder")),
              HasSubstr("No such file or directory"));
}

TEST_F(StoreInAFile, IsARegularFile) {
  ASSERT_EQ(::mkfifo(mPath.c_str(), 0600), 0);
  for (const std::string& path : {mPath, mFolder.path().string(), std::string("/dev/null")}) {
    EXPECT_THAT(wrongWith(Store::openToRead(path)), EndsWith("it is no regular file"));
    EXPECT_THAT(wrongWith(Store::openToWrite(path)), EndsWith("it is no regular file"));
  }
}

TEST_F(StoreInAFile, IsNoOtherDatabase) {
  change("CREATE TABLE printers(of_another_program)");
  const std::string before = contentOf(mPath);
  EXPECT_EQ(wrongWith(Store::openToRead(mPath)), mPath + " is damaged");
  EXPECT_EQ(wrongWith(Store::openToWrite(mPath)), mPath + " is damaged");
  EXPECT_EQ(contentOf(mPath), before);
}

// What the whole of a store gives, a line each, or what is wrong with it at the end.
std::string allOf(const std::string& path) {
  auto store = Store::openToRead(path);
  if (!store) return store.error().what;
  std::string all;
  const auto given = store->forEach({}, [&](const Reading& reading) -> Result<> {
    all += reading.json + '\n';
    return {};
  });
  return given ? all : all + given.error().what;
}

// A change that is larger than the memory for it stands in the file before it is done.
TEST_F(StoreInAFile, GivesNothingOfAChangeThatWasInterrupted) {
  std::vector<Reading> readings;
  readings.reserve(100);
  for (int i = 0; i < 100; ++i) readings.push_back(readingOf(fmt::format("socket://old{}", i), i));
  EXPECT_EQ(wrongWith(add(readings)), "");
  const auto before = stored();
  const fs::path folder = mFolder.path() / "interrupted";
  fs::create_directory(folder);
  std::mt19937 random(7);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same in every run
  Store store = written();
  const auto changed = store.change([&]() -> Result<> {
    for (int i = 0; i < 1000; ++i) {
      Reading reading = readingOf(fmt::format("socket://printer{}", i), i);
      std::string& place = reading.labels["place"];
      while (place.size() < 8000) place += fmt::format("{:x}", random());
      reading.json = asJson(reading);
      if (const auto added = store.add(reading); !added) return tl::unexpected(added.error());
    }
    fs::copy_file(mPath, folder / "history.sqlite");
    fs::copy_file(mPath + "-journal", folder / "history.sqlite-journal");
    return failure("interrupted");
  });
  EXPECT_EQ(wrongWith(changed), "interrupted");
  EXPECT_GT(fs::file_size(folder / "history.sqlite"), 1'000'000U) << "it was not in the file yet";
  EXPECT_EQ(stored(), before) << "undone";
  mPath = folder / "history.sqlite";
  EXPECT_EQ(stored(), before);
  EXPECT_EQ(wrongWith(read().check()), "");
}

// A place in an index of the file may lead past a reading. Whatever is given is as it was, and in
// its order.
TEST_F(StoreInAFile, GivesWhatItHadOrNothingWhereverItIsDamaged) {
  std::vector<Reading> readings;
  readings.reserve(60);
  for (int i = 0; i < 60; ++i) readings.push_back(readingOf(i % 2 == 0 ? kOffice : kHall, i, i));
  EXPECT_EQ(wrongWith(add(readings)), "");
  const std::string whole = contentOf(mPath);
  std::size_t noticed = 0;
  for (std::size_t i = 0; i < whole.size(); i += 61) {
    std::string damaged = whole;
    damaged[i] = static_cast<char>(damaged[i] ^ (1 << (i % 8)));
    write(mPath, damaged);
    std::istringstream lines(allOf(mPath));
    auto next = readings.begin();
    for (std::string line; std::getline(lines, line);) {
      next = std::ranges::find(next, readings.end(), line, &Reading::json);
      if (next != readings.end()) continue;
      ++noticed;
      EXPECT_THAT(line, StartsWith(mPath + " is ")) << i;
    }
    EXPECT_EQ(contentOf(mPath), damaged);
  }
  EXPECT_GT(noticed, 10U);
}

TEST_F(StoreInAFile, StaysAsItIsWhereItIsDamaged) {
  EXPECT_EQ(wrongWith(add({readingOf(kOffice, 1)})), "");
  const std::string whole = contentOf(mPath);
  for (const std::string& damaged :
       {std::string("no database, and longer than a hundred bytes of which a database has as many "
                    "at its beginning."),
        std::string(8192, '\0'), whole.substr(0, 5000), whole.substr(0, 100)}) {
    write(mPath, damaged);
    EXPECT_THAT(allOf(mPath), StartsWith(mPath + " is damaged"));
    auto store = Store::openToWrite(mPath);
    if (store) {
      EXPECT_EQ(wrongWith(store->check()), mPath + " is damaged");
    }
    EXPECT_EQ(contentOf(mPath), damaged);
  }
  write(mPath, whole);
  EXPECT_EQ(wrongWith(written().check()), "");
}

TEST_F(StoreInAFile, IsNotDamagedWhereMemoryRunsOut) {
  Store store = written();
  const auto former = ::sqlite3_hard_heap_limit64(1);
  const auto given = store.forEachLast({}, [](const Reading&) -> Result<> { return {}; });
  ::sqlite3_hard_heap_limit64(former);
  EXPECT_THAT(wrongWith(given), EndsWith("cannot be used: out of memory"));
}

TEST_F(StoreInAFile, WaitsForALock) {
  EXPECT_EQ(wrongWith(add({readingOf(kOffice, 1)})), "");
  SQLite::Database other(mPath, SQLite::OPEN_READWRITE);
  other.exec("BEGIN EXCLUSIVE");
  std::thread later([&] {
    std::this_thread::sleep_for(1500ms);
    other.exec("COMMIT");
  });
  EXPECT_EQ(stored().size(), 1U);
  later.join();
  other.exec("BEGIN EXCLUSIVE");
  std::thread again([&] {
    std::this_thread::sleep_for(300ms);
    other.exec("COMMIT");
  });
  EXPECT_EQ(wrongWith(add({readingOf(kOffice, 2)})), "");
  again.join();
}

TEST_F(StoreInAFile, LocksNothingWhileReadingsAreDealtWith) {
  EXPECT_EQ(wrongWith(add({readingOf(kOffice, 1)})), "");
  const auto given = read().forEach({}, [&](const Reading& /*reading*/) -> Result<> {
    SQLite::Database other(mPath, SQLite::OPEN_READWRITE);
    other.exec("BEGIN EXCLUSIVE; COMMIT");
    return {};
  });
  EXPECT_EQ(wrongWith(given), "");
}

class ReadOnlyStore : public StoreInAFile {
 protected:
  void SetUp() override {
    EXPECT_EQ(wrongWith(add({readingOf(kOffice, 1)})), "");
    mAll = stored().at(0) + '\n';
  }
  void TearDown() override { fs::permissions(mFolder.path(), fs::perms::owner_all); }

  void protect() {
    const auto forAll = fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read;
    for (const auto& file : fs::directory_iterator(mFolder.path())) {
      fs::permissions(file.path(), forAll);
    }
    fs::permissions(mFolder.path(), forAll | fs::perms::owner_exec | fs::perms::others_exec);
  }

  std::string mAll;
};

TEST_F(ReadOnlyStore, IsRead) {
  protect();
  EXPECT_EQ(withoutRights([&] { return allOf(mPath); }), mAll);
}

TEST_F(ReadOnlyStore, IsSaidToBeOneToAWriter) {
  protect();
  EXPECT_EQ(withoutRights([&] { return wrongWith(Store::openToWrite(mPath)); }),
            mPath + " is read-only");
}

TEST_F(ReadOnlyStore, IsSaidToBeOneWhereItIsTheFolder) {
  protect();
  fs::permissions(mPath, fs::perms::all);
  EXPECT_EQ(withoutRights([&] { return wrongWith(add({readingOf(kOffice, 2)})); }),
            mPath + " is read-only");
}

TEST_F(ReadOnlyStore, CannotBeReadByThoseWhoMayNot) {
  fs::permissions(mPath, fs::perms::owner_read);
  fs::permissions(mFolder.path(), fs::perms::all);
  EXPECT_EQ(withoutRights([&] { return allOf(mPath); }),
            mPath + " cannot be used: Permission denied");
}

}  // namespace
}  // namespace moxsupply::testing
