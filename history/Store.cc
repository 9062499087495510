#include "history/Store.h"

#include <SQLiteCpp/Backup.h>
#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>
#include <fmt/format.h>
#include <sqlite3.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <exception>
#include <filesystem>
#include <limits>
#include <map>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "history/Delta.h"
#include "history/InterruptedStore.h"
#include "system/PrivateFolder.h"
#include "text/TerminalText.h"

namespace moxsupply {

namespace {

namespace fs = std::filesystem;

// What makes a store of each version from one of the version before, beginning with nothing. A
// reading is what it differs by from `base`, an earlier reading of the same printer that stands
// there as itself: two readings of a printer are nearly the same, and a year of one has 365 at
// least. `time` is in nanoseconds since 1970.
constexpr auto kMigrations = std::to_array<const char*>({
    "CREATE TABLE printers(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE);"
    "CREATE TABLE readings(id INTEGER PRIMARY KEY, printer INTEGER NOT NULL, time INTEGER NOT NULL,"
    " base INTEGER, delta BLOB NOT NULL);"
    "CREATE UNIQUE INDEX readings_in_order ON readings(printer, time);",
    // When a printer answered the same as its last reading.
    "ALTER TABLE printers ADD COLUMN answered INTEGER;",
    // What is to be told to somebody: see Notice.
    "ALTER TABLE printers ADD COLUMN told INTEGER;"
    "CREATE TABLE silent(printer TEXT PRIMARY KEY);"
    "CREATE TABLE notices(id INTEGER PRIMARY KEY AUTOINCREMENT, kind INTEGER NOT NULL,"
    " printer TEXT NOT NULL, time INTEGER NOT NULL, urgent INTEGER NOT NULL, event TEXT NOT NULL);",
});
constexpr int kVersion = kMigrations.size();

constexpr int kLongestWait = 15'000;  // for a lock, in milliseconds

// All text of a line may be escapes in the store, six bytes for one.
constexpr std::size_t kLongestText = 6 * kLongestReading;

// So much of JSON is read at once, and held while its readings are dealt with.
constexpr std::size_t kAtOnce = 1U << 20U;
constexpr std::size_t kReadingsAtOnce = 256;

// The statements. Each is prepared once.
constexpr const char* kPrinterOfName = "SELECT id FROM printers WHERE name = ?";
constexpr const char* kAddPrinter = "INSERT INTO printers(name) VALUES(?)";
constexpr const char* kLastOfPrinter =
    "SELECT id, time, base FROM readings WHERE printer = ? ORDER BY time DESC LIMIT 1";
constexpr const char* kReadingAt = "SELECT id FROM readings WHERE printer = ? AND time = ?";
constexpr const char* kBase = "SELECT delta FROM readings WHERE id = ? AND base IS NULL";
constexpr const char* kAddReading =
    "INSERT INTO readings(printer, time, base, delta) VALUES(?, ?, ?, ?)";
constexpr const char* kTakeOutAfter = "DELETE FROM readings WHERE printer = ? AND time > ?";
constexpr const char* kReading =
    "SELECT readings.time, readings.base, readings.delta, printers.name FROM readings "
    "JOIN printers ON printers.id = readings.printer WHERE readings.id = ?";
constexpr const char* kReadingsOfAll =
    "SELECT id FROM readings WHERE time BETWEEN ? AND ? ORDER BY time, printer";
constexpr const char* kReadingsOfOne =
    "SELECT id FROM readings WHERE time BETWEEN ? AND ? AND printer = ? ORDER BY time";
constexpr const char* kPrinters = "SELECT id FROM printers ORDER BY name";
constexpr const char* kNoteAnswer = "UPDATE printers SET answered = ? WHERE name = ?";
constexpr const char* kNoteNoAnswer = "UPDATE printers SET answered = NULL WHERE id = ?";
constexpr const char* kAnswer = "SELECT answered FROM printers WHERE name = ?";
constexpr const char* kSetTold = "UPDATE printers SET told = ? WHERE name = ?";
constexpr const char* kTold = "SELECT told FROM printers WHERE name = ?";
constexpr const char* kSetSilent = "INSERT OR IGNORE INTO silent(printer) VALUES(?)";
constexpr const char* kSetNotSilent = "DELETE FROM silent WHERE printer = ?";
constexpr const char* kNotices =
    "SELECT id, kind, printer, time, urgent, event FROM notices ORDER BY id LIMIT ?";
constexpr const char* kAddNotice =
    "INSERT INTO notices(kind, printer, time, urgent, event) VALUES(?, ?, ?, ?, ?)";
constexpr const char* kTakeOutNotices = "DELETE FROM notices WHERE id <= ?";
constexpr const char* kTakeOutNoticesOf = "DELETE FROM notices WHERE printer = ? AND kind = ?";

// Thrown where the file is whole and what stands in it makes no sense.
struct Damage : std::exception {};

std::int64_t asNumber(Moment moment) { return moment.time_since_epoch().count(); }

struct Blob {
  std::string_view bytes;
};

// A prepared statement for one use: what it locks is free afterwards.
class Query {
 public:
  template <typename... Values>
  explicit Query(SQLite::Statement& statement, const Values&... values) : mStatement(&statement) {
    int place = 0;
    (bind(++place, values), ...);
  }
  ~Query() { mStatement->tryReset(); }
  Query(const Query&) = delete;
  Query& operator=(const Query&) = delete;
  Query(Query&&) = delete;
  Query& operator=(Query&&) = delete;

  [[nodiscard]] bool next() { return mStatement->executeStep(); }
  [[nodiscard]] bool isNull(int column) const { return mStatement->isColumnNull(column); }
  [[nodiscard]] std::int64_t number(int column) const {
    return mStatement->getColumn(column).getInt64();
  }
  [[nodiscard]] std::string bytes(int column) const {
    return mStatement->getColumn(column).getString();
  }

  // The numbers of its first column.
  [[nodiscard]] std::vector<std::int64_t> numbers() {
    std::vector<std::int64_t> numbers;
    while (next()) numbers.push_back(number(0));
    return numbers;
  }

 private:
  void bind(int place, std::int64_t number) { mStatement->bind(place, number); }
  void bind(int place, const std::string& text) { mStatement->bind(place, text); }
  void bind(int place, Blob value) {
    mStatement->bind(place, value.bytes.data(), static_cast<int>(value.bytes.size()));
  }
  void bind(int place, std::optional<std::int64_t> number) {
    if (number) {
      bind(place, *number);
    } else {
      mStatement->bind(place);
    }
  }

  SQLite::Statement* mStatement;
};

std::string whyUnusable(const SQLite::Exception& error, int systemError) {
  constexpr int kPrimary = 0xFF;
  switch (error.getErrorCode() & kPrimary) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return fmt::format("is locked by another program, for more than {} seconds",
                         kLongestWait / 1000);
    case SQLITE_NOMEM:
      return "cannot be used: out of memory";
    case SQLITE_FULL:
      return "cannot grow: there is no room left";
    case SQLITE_READONLY:
    case SQLITE_PERM:
      return "is read-only";
    case SQLITE_CANTOPEN:
    case SQLITE_IOERR:
      return fmt::format("cannot be used: {}",
                         systemError == 0 ? error.what() : std::strerror(systemError));
    default:
      return fmt::format("is damaged, or no history ({})", error.what());
  }
}

}  // namespace

class Store::File {
 public:
  File(fs::path path, const fs::path& opened, int flags)
      : mPath(std::move(path)), mDatabase(opened, flags, kLongestWait) {
    // Whoever wrote the file, nothing in it is to be run.
    mDatabase.exec("PRAGMA trusted_schema = OFF; PRAGMA cell_size_check = ON");
  }

  static Result<std::unique_ptr<File>> toRead(const fs::path& path);
  static Result<std::unique_ptr<File>> toWrite(const fs::path& path);

  [[nodiscard]] Problem problem(std::string_view what) const { return problemOf(mPath, what); }

  // Runs what may throw.
  template <typename Run>
  std::invoke_result_t<Run> guarded(const Run& run) try {
    return run();
  } catch (const SQLite::Exception& error) {
    return tl::unexpected(
        problem(whyUnusable(error, ::sqlite3_system_errno(mDatabase.getHandle()))));
  } catch (const Damage&) {
    return tl::unexpected(problem("is damaged"));
  }

  Result<> check();
  Result<> change(const std::function<Result<>()>& changes);
  Result<Added> add(const Reading& reading);
  std::size_t takeOutAfter(const std::string& printer, Moment moment);

  // Runs a statement that gives nothing back. Returns how many rows it has changed.
  template <typename... Values>
  int run(const char* text, const Values&... values) {
    static_cast<void>(query(text, values...).next());
    return mDatabase.getChanges();
  }
  std::optional<Moment> momentOf(const char* text, const std::string& printer);
  std::vector<Notice> notices();
  std::vector<std::int64_t> readings(const Which& which);
  std::vector<std::int64_t> lastReadings(const std::optional<std::string>& printer);

  // Gives these in their order.
  Result<> forEach(const std::vector<std::int64_t>& readings, const Take& take);

 private:
  static Problem problemOf(const fs::path& path, std::string_view what) {
    return {.what = fmt::format("{} {}", forTerminal(path.native()), what), .advice = {}};
  }

  // The version of its tables: 0 where it has none yet. Throws Damage where these are not ours.
  int version();
  Result<int> knownVersion();
  void migrate();

  void copyTo(const fs::path& copy);

  template <typename Ready>
  static Result<std::unique_ptr<File>> opened(const fs::path& path, const fs::path& opened,
                                              int flags, const Ready& ready);
  static Result<std::unique_ptr<File>> ofCopy(const fs::path& path, const fs::path& copy);

  template <typename... Values>
  Query query(const char* text, const Values&... values) {
    auto found = mStatements.find(text);
    if (found == mStatements.end()) {
      found = mStatements.emplace(text, SQLite::Statement(mDatabase, text)).first;
    }
    return Query(found->second, values...);
  }

  struct Base {
    std::string text;
    std::size_t bytes;
  };
  Base base(std::int64_t id);

  std::optional<std::int64_t> printerOfName(const std::string& name);
  Result<Added> addedBefore(std::int64_t printer, const Reading& reading, std::int64_t lastTime);
  std::optional<Reading> reading(std::int64_t id);

  fs::path mPath;  // as people know it
  SQLite::Database mDatabase;
  std::map<std::string_view, SQLite::Statement> mStatements;  // by their text
};

int Store::File::version() {
  // Reads the file, and so notices what has to be undone in it, also where it has no tables yet.
  SQLite::Statement found(
      mDatabase,
      "SELECT user_version, (SELECT count(*) FROM sqlite_schema) FROM pragma_user_version");
  if (!found.executeStep()) throw Damage();
  const int version = found.getColumn(0).getInt();
  const int tables = found.getColumn(1).getInt();
  if (version < 0 || (version == 0) != (tables == 0)) throw Damage();
  return version;
}

Result<int> Store::File::knownVersion() {
  const int found = version();
  if (found <= kVersion) return found;
  return tl::unexpected(problem(
      fmt::format("is of version {}, and this program knows none after {}", found, kVersion)));
}

void Store::File::migrate() {
  mDatabase.exec("BEGIN IMMEDIATE");
  for (int next = version(); next < kVersion; ++next) {
    mDatabase.exec(kMigrations.at(static_cast<std::size_t>(next)));
  }
  mDatabase.exec(fmt::format("PRAGMA user_version = {}; COMMIT", kVersion));
}

// Opens the file and readies it; `ready` gets it open.
template <typename Ready>
Result<std::unique_ptr<Store::File>> Store::File::opened(const fs::path& path,
                                                         const fs::path& opened, int flags,
                                                         const Ready& ready) try {
  auto file = std::make_unique<File>(path, opened, flags);
  const auto isReady = file->guarded([&] { return ready(*file); });
  if (!isReady) return tl::unexpected(isReady.error());
  return file;
} catch (const SQLite::Exception& error) {
  return tl::unexpected(problemOf(path, whyUnusable(error, errno)));
}

Result<std::unique_ptr<Store::File>> Store::File::toWrite(const fs::path& path) {
  return opened(path, path, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE,
                [](File& file) -> Result<> {
                  const auto version = file.knownVersion();
                  if (!version) return tl::unexpected(version.error());
                  if (::sqlite3_db_readonly(file.mDatabase.getHandle(), "main") == 1) {
                    return tl::unexpected(file.problem("is read-only"));
                  }
                  if (*version < kVersion) file.migrate();
                  return {};
                });
}

// Opens a copy, in which everything may be done.
Result<std::unique_ptr<Store::File>> Store::File::ofCopy(const fs::path& path,
                                                         const fs::path& copy) {
  return opened(path, copy, SQLite::OPEN_READWRITE, [](File& file) -> Result<> {
    file.mDatabase.exec("PRAGMA synchronous = OFF");  // nobody misses it after a power failure
    const auto version = file.knownVersion();
    if (!version) return tl::unexpected(version.error());
    if (*version < kVersion) file.migrate();
    return {};
  });
}

Result<std::unique_ptr<Store::File>> Store::File::toRead(const fs::path& path) {
  // The files of a copy have no names any more when it has been opened.
  const PrivateFolder folder;
  const fs::path copy = folder.path() / "history.sqlite";
  const auto noFolder = [&] {
    return tl::unexpected(
        problemOf(path, fmt::format("has to be copied to be read: {}", std::strerror(errno))));
  };
  constexpr int kMostTries = 1000;  // each of which somebody else's change has spoilt
  for (int i = 0; i < kMostTries; ++i) {
    bool isInterrupted = false;
    bool isOld = false;
    auto file = opened(path, path, SQLite::OPEN_READONLY, [&](File& store) -> Result<> {
      try {
        const auto version = store.knownVersion();
        if (!version) return tl::unexpected(version.error());
        isOld = *version < kVersion;
        if (isOld && !folder.path().empty()) store.copyTo(copy);
      } catch (const SQLite::Exception& error) {
        isInterrupted = error.getExtendedErrorCode() == SQLITE_READONLY_ROLLBACK;
        if (!isInterrupted) throw;
      }
      return {};
    });
    if (!isInterrupted && !isOld) return file;
    if (folder.path().empty()) return noFolder();
    file = {};
    std::error_code failed;
    if (isOld || copyInterrupted(path, copy, failed) == Copied::kYes) return ofCopy(path, copy);
    if (failed) return tl::unexpected(problemOf(path, "cannot be copied: " + failed.message()));
  }
  return tl::unexpected(problemOf(path, "is changed all the time"));
}

void Store::File::copyTo(const fs::path& copy) {
  SQLite::Database target(copy, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
  SQLite::Backup(target, mDatabase).executeStep();
}

Result<> Store::File::check() {
  return guarded([&]() -> Result<> {
    const std::string found = mDatabase.execAndGet("PRAGMA quick_check(1)").getString();
    if (found != "ok") throw Damage();
    return {};
  });
}

Result<> Store::File::change(const std::function<Result<>()>& changes) {
  return guarded([&]() -> Result<> {
    mDatabase.exec("BEGIN IMMEDIATE");
    const auto undo = [&] {
      if (::sqlite3_get_autocommit(mDatabase.getHandle()) == 0) mDatabase.exec("ROLLBACK");
    };
    try {
      auto changed = changes();
      if (changed) {
        mDatabase.exec("COMMIT");
      } else {
        undo();
      }
      return changed;
    } catch (...) {
      undo();
      throw;
    }
  });
}

std::optional<std::int64_t> Store::File::printerOfName(const std::string& name) {
  Query found = query(kPrinterOfName, name);
  return found.next() ? std::optional(found.number(0)) : std::nullopt;
}

// The text of a reading that stands there as itself, and how many bytes it takes there.
Store::File::Base Store::File::base(std::int64_t id) {
  Query found = query(kBase, id);
  if (!found.next()) throw Damage();
  const std::string delta = found.bytes(0);
  auto text = textOf(delta, {}, kLongestText);
  if (!text) throw Damage();
  return {*std::move(text), delta.size()};
}

std::optional<Reading> Store::File::reading(std::int64_t id) {
  Query found = query(kReading, id);
  if (!found.next()) return std::nullopt;
  auto text =
      textOf(found.bytes(2), found.isNull(1) ? "" : base(found.number(1)).text, kLongestText);
  if (!text) throw Damage();
  auto reading = readingAgain(*std::move(text));
  if (!reading || asNumber(reading->moment) != found.number(0) ||
      reading->printer != found.bytes(3)) {
    throw Damage();
  }
  return *std::move(reading);
}

Result<Store::Added> Store::File::add(const Reading& reading) {
  const std::int64_t time = asNumber(reading.moment);
  auto printer = printerOfName(reading.printer);
  if (!printer) {
    static_cast<void>(query(kAddPrinter, reading.printer).next());
    printer = mDatabase.getLastInsertRowid();
  }
  std::optional<std::int64_t> baseOfNext;
  if (Query last = query(kLastOfPrinter, *printer); last.next()) {
    if (time <= last.number(1)) return addedBefore(*printer, reading, last.number(1));
    baseOfNext = last.number(last.isNull(2) ? 0 : 2);
  }
  std::string delta;
  if (baseOfNext) {
    const Base base = this->base(*baseOfNext);
    delta = deltaOf(reading.json, base.text);
    // They have grown apart.
    if (delta.size() > base.bytes / 2) baseOfNext.reset();
  }
  if (!baseOfNext) delta = deltaOf(reading.json, {});
  static_cast<void>(query(kAddReading, *printer, time, baseOfNext, Blob{delta}).next());
  static_cast<void>(query(kNoteNoAnswer, *printer).next());
  return Added::kYes;
}

// Of a reading that is no later than the last one.
Result<Store::Added> Store::File::addedBefore(std::int64_t printer, const Reading& reading,
                                              std::int64_t lastTime) {
  Query found = query(kReadingAt, printer, asNumber(reading.moment));
  if (!found.next()) {
    const Moment last{std::chrono::nanoseconds(lastTime)};
    return misuse(
        fmt::format("expected a time after {}, that of this printer's last reading, not {}",
                    momentAsText(last), momentAsText(reading.moment)));
  }
  const auto same = this->reading(found.number(0));
  if (!same) throw Damage();
  if (areEqual(*same, reading)) return Added::kNo;
  return misuse(fmt::format(
      "expected one reading of {}; another one of this printer and this time is there already",
      momentAsText(reading.moment)));
}

std::size_t Store::File::takeOutAfter(const std::string& printer, Moment moment) {
  const auto id = printerOfName(printer);
  if (!id) return 0;
  static_cast<void>(query(kTakeOutAfter, *id, asNumber(moment)).next());
  const auto count = static_cast<std::size_t>(mDatabase.getChanges());
  static_cast<void>(query(kNoteNoAnswer, *id).next());
  return count;
}

std::optional<Moment> Store::File::momentOf(const char* text, const std::string& printer) {
  Query found = query(text, printer);
  if (!found.next() || found.isNull(0)) return std::nullopt;
  return Moment(std::chrono::nanoseconds(found.number(0)));
}

std::vector<Notice> Store::File::notices() {
  std::vector<Notice> notices;
  Query found = query(kNotices, std::int64_t{kMostNotices});
  while (found.next()) {
    const std::int64_t kind = found.number(1);
    if (kind < 0 || kind > static_cast<std::int64_t>(Notice::Kind::kBack)) throw Damage();
    notices.push_back({.id = found.number(0),
                       .kind = static_cast<Notice::Kind>(kind),
                       .printer = found.bytes(2),
                       .moment = Moment(std::chrono::nanoseconds(found.number(3))),
                       .isUrgent = found.number(4) != 0,
                       .event = found.bytes(5)});
  }
  return notices;
}

std::vector<std::int64_t> Store::File::readings(const Which& which) {
  using Limits = std::numeric_limits<std::int64_t>;
  const std::int64_t since = which.since ? asNumber(*which.since) : Limits::min();
  const std::int64_t until = which.until ? asNumber(*which.until) : Limits::max();
  if (!which.printer) return query(kReadingsOfAll, since, until).numbers();
  const auto printer = printerOfName(*which.printer);
  if (!printer) return {};
  return query(kReadingsOfOne, since, until, *printer).numbers();
}

std::vector<std::int64_t> Store::File::lastReadings(const std::optional<std::string>& printer) {
  std::vector<std::int64_t> printers;
  if (!printer) {
    printers = query(kPrinters).numbers();
  } else if (const auto id = printerOfName(*printer)) {
    printers.push_back(*id);
  }
  std::vector<std::int64_t> readings;
  for (const std::int64_t id : printers) {
    if (Query last = query(kLastOfPrinter, id); last.next()) readings.push_back(last.number(0));
  }
  return readings;
}

Result<> Store::File::forEach(const std::vector<std::int64_t>& readings, const Take& take) {
  std::vector<Reading> some;
  for (auto id = readings.begin(); id != readings.end();) {
    some.clear();
    auto read = guarded([&]() -> Result<> {
      const bool isInChange = ::sqlite3_get_autocommit(mDatabase.getHandle()) == 0;
      if (!isInChange) mDatabase.exec("BEGIN");
      for (std::size_t bytes = 0;
           id != readings.end() && some.size() < kReadingsAtOnce && bytes < kAtOnce; ++id) {
        auto next = reading(*id);
        if (!next) continue;  // it was taken out meanwhile
        bytes += next->json.size();
        some.push_back(*std::move(next));
      }
      if (!isInChange) mDatabase.exec("COMMIT");
      return {};
    });
    if (!read) return read;
    for (const Reading& reading : some) {
      if (auto taken = take(reading); !taken) return taken;
    }
  }
  return {};
}

namespace {

// What is wrong with a path before it is opened.
Result<fs::path> checkedPath(const std::string& name, bool mayBeMissing) {
  std::error_code failed;
  // Not relative: a name such as ":memory:" means something to the library.
  const fs::path path = fs::absolute(name, failed);
  const fs::file_status status = fs::status(path, failed);
  const std::string shown = forTerminal(name);
  if (fs::exists(status)) {
    if (fs::is_regular_file(status)) return path;
    return failure(fmt::format("{} is no history: it is no regular file", shown));
  }
  if (failed && failed != std::errc::no_such_file_or_directory) {
    return failure(fmt::format("{} cannot be used: {}", shown, failed.message()));
  }
  if (!mayBeMissing) return failure(fmt::format("there is no history at {}", shown));
  return path;
}

}  // namespace

Store::Store(std::unique_ptr<File> file) : mFile(std::move(file)) {}
Store::Store(Store&&) noexcept = default;
Store& Store::operator=(Store&&) noexcept = default;
Store::~Store() = default;

Result<Store> Store::openToRead(const std::string& name) {
  const auto path = checkedPath(name, /*mayBeMissing=*/false);
  if (!path) return tl::unexpected(path.error());
  return File::toRead(*path).map([](auto file) { return Store(std::move(file)); });
}

Result<Store> Store::openToWrite(const std::string& name) {
  const auto path = checkedPath(name, /*mayBeMissing=*/true);
  if (!path) return tl::unexpected(path.error());
  return File::toWrite(*path).map([](auto file) { return Store(std::move(file)); });
}

Result<> Store::check() { return mFile->check(); }

Result<> Store::change(const std::function<Result<>()>& changes) { return mFile->change(changes); }

Result<Store::Added> Store::add(const Reading& reading) {
  return mFile->guarded([&] { return mFile->add(reading); });
}

Result<std::size_t> Store::takeOutAfter(const std::string& printer, Moment moment) {
  return mFile->guarded(
      [&]() -> Result<std::size_t> { return mFile->takeOutAfter(printer, moment); });
}

Result<> Store::noteAnswer(const std::string& printer, Moment moment) {
  return mFile->guarded([&]() -> Result<> {
    mFile->run(kNoteAnswer, asNumber(moment), printer);
    return {};
  });
}

Result<std::optional<Moment>> Store::answer(const std::string& printer) {
  return mFile->guarded(
      [&]() -> Result<std::optional<Moment>> { return mFile->momentOf(kAnswer, printer); });
}

Result<> Store::setTold(const std::string& printer, Moment moment) {
  return mFile->guarded([&]() -> Result<> {
    mFile->run(kSetTold, asNumber(moment), printer);
    return {};
  });
}

Result<std::optional<Moment>> Store::told(const std::string& printer) {
  return mFile->guarded(
      [&]() -> Result<std::optional<Moment>> { return mFile->momentOf(kTold, printer); });
}

Result<bool> Store::setSilent(const std::string& printer, bool isSilent) {
  return mFile->guarded([&]() -> Result<bool> {
    return mFile->run(isSilent ? kSetSilent : kSetNotSilent, printer) > 0;
  });
}

Result<std::vector<Notice>> Store::notices() {
  return mFile->guarded([&]() -> Result<std::vector<Notice>> { return mFile->notices(); });
}

Result<> Store::addNotice(const Notice& notice) {
  return mFile->guarded([&]() -> Result<> {
    mFile->run(kAddNotice, static_cast<std::int64_t>(notice.kind), notice.printer,
               asNumber(notice.moment), std::int64_t{notice.isUrgent ? 1 : 0}, notice.event);
    return {};
  });
}

Result<> Store::takeOutNotices(std::int64_t last) {
  return mFile->guarded([&]() -> Result<> {
    mFile->run(kTakeOutNotices, last);
    return {};
  });
}

Result<bool> Store::takeOutNotices(const std::string& printer, Notice::Kind kind) {
  return mFile->guarded([&]() -> Result<bool> {
    return mFile->run(kTakeOutNoticesOf, printer, static_cast<std::int64_t>(kind)) > 0;
  });
}

Result<> Store::forEach(const Which& which, const Take& take) {
  const auto readings =
      mFile->guarded([&]() -> Result<std::vector<std::int64_t>> { return mFile->readings(which); });
  if (!readings) return tl::unexpected(readings.error());
  Moment last = Moment::min();
  return mFile->forEach(*readings, [&](const Reading& reading) -> Result<> {
    const bool isWanted = !which.printer || reading.printer == *which.printer;
    if (!isWanted || reading.moment < last) return tl::unexpected(mFile->problem("is damaged"));
    last = reading.moment;
    return take(reading);
  });
}

Result<> Store::forEachLast(const std::optional<std::string>& printer, const Take& take) {
  const auto readings = mFile->guarded(
      [&]() -> Result<std::vector<std::int64_t>> { return mFile->lastReadings(printer); });
  if (!readings) return tl::unexpected(readings.error());
  return mFile->forEach(*readings, take);
}

}  // namespace moxsupply
