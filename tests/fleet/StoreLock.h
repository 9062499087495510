#pragma once

#include <chrono>
#include <string>

struct sqlite3;

namespace moxsupply::testing {

// Another program that has a store for itself, while it lives.
class StoreLock {
 public:
  explicit StoreLock(const std::string& path);
  ~StoreLock();
  StoreLock(const StoreLock&) = delete;
  StoreLock& operator=(const StoreLock&) = delete;
  StoreLock(StoreLock&&) = delete;
  StoreLock& operator=(StoreLock&&) = delete;

 private:
  sqlite3* mDatabase = nullptr;
};

// From now on nobody in this process really waits for a lock, or for a disk to have written.
void waitForNoLockAndNoDisk();

// How long locks would have been waited for since the last time.
std::chrono::microseconds takeSleptForLocks();

}  // namespace moxsupply::testing
