#include "tests/fleet/StoreLock.h"

#include <sqlite3.h>

#include <cstdlib>
#include <map>
#include <utility>

namespace moxsupply::testing {

namespace {

std::chrono::microseconds gSlept{};

int sleepInNoTime(sqlite3_vfs* /*vfs*/, int microseconds) {
  gSlept += std::chrono::microseconds(microseconds);
  return microseconds;
}

int syncNothing(sqlite3_file* /*file*/, int /*flags*/) { return SQLITE_OK; }

int deleteWithoutSync(sqlite3_vfs* vfs, const char* name, int /*syncs*/) {
  static const auto takeAway = sqlite3_vfs_find("unix")->xDelete;
  return takeAway(vfs, name, 0);
}

// There are a few kinds of files, each with its methods.
int openWithoutSync(sqlite3_vfs* vfs, const char* name, sqlite3_file* file, int flags,
                    int* outFlags) {
  static const auto open = sqlite3_vfs_find("unix")->xOpen;
  static std::map<const sqlite3_io_methods*, sqlite3_io_methods> others;
  const int opened = open(vfs, name, file, flags, outFlags);
  if (file->pMethods == nullptr) return opened;
  auto& other = others.emplace(file->pMethods, *file->pMethods).first->second;
  other.xSync = syncNothing;
  file->pMethods = &other;
  return opened;
}

}  // namespace

StoreLock::StoreLock(const std::string& path) {
  const bool isLocked =
      sqlite3_open(path.c_str(), &mDatabase) == SQLITE_OK &&
      sqlite3_exec(mDatabase, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr) == SQLITE_OK;
  if (!isLocked) std::abort();
}

StoreLock::~StoreLock() {
  sqlite3_exec(mDatabase, "ROLLBACK", nullptr, nullptr, nullptr);
  sqlite3_close(mDatabase);
}

// The system's files, with other ways to sleep and to write through.
void waitForNoLockAndNoDisk() {
  static sqlite3_vfs hurried = *sqlite3_vfs_find(nullptr);
  hurried.zName = "hurried";
  hurried.xSleep = sleepInNoTime;
  hurried.xOpen = openWithoutSync;
  hurried.xDelete = deleteWithoutSync;
  sqlite3_vfs_register(&hurried, /*makeDflt=*/1);
}

std::chrono::microseconds takeSleptForLocks() { return std::exchange(gSlept, {}); }

}  // namespace moxsupply::testing
