// A writer of a store that is killed at any instant.

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <map>
#include <random>
#include <string>
#include <thread>

#include "history/Store.h"
#include "tests/support/Depth.h"
#include "tests/support/MadeReading.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TextFile.h"
#include "tests/support/WithoutRights.h"

namespace moxsupply::testing {
namespace {

namespace fs = std::filesystem;

constexpr int kPrinters = 3;  // each gets a reading in every change

Reading readingOf(int printer, int change) {
  return madeReading(fmt::format("2026-01-01T{:02}:{:02}:00Z", change / 60, change % 60),
                     {madeReadSupply({.supply = {.level = change % 101}})},
                     fmt::format("socket://192.0.2.{}", printer));
}

Result<> addAll(Store& store, int change) {
  for (int printer = 0; printer < kPrinters; ++printer) {
    if (const auto added = store.add(readingOf(printer, change)); !added) {
      return tl::unexpected(added.error());
    }
  }
  return {};
}

// Makes one change after the other, and writes a byte for each that is done.
[[noreturn]] void writeUntilKilled(const std::string& path, int change, int done) {
  auto store = Store::openToWrite(path);
  for (; store && store->change([&] { return addAll(*store, change); }); ++change) {
    if (::write(done, "x", 1) != 1) break;
  }
  ::_exit(1);
}

// How many changes are in a store, each of them whole; or what is wrong with it.
std::string changesIn(const std::string& path) {
  auto store = Store::openToRead(path);
  if (!store) return store.error().what;
  int readings = 0;
  std::string wrong;
  const auto read = store->forEach({}, [&](const Reading& reading) -> Result<> {
    if (reading.json != readingOf(readings % kPrinters, readings / kPrinters).json) wrong = "mixed";
    ++readings;
    return {};
  });
  if (!read) return read.error().what;
  if (!wrong.empty() || readings % kPrinters != 0) return wrong + " and cut";
  return std::to_string(readings / kPrinters);
}

std::map<std::string, std::string> filesIn(const fs::path& folder) {
  std::map<std::string, std::string> files;
  for (const auto& file : fs::directory_iterator(folder)) {
    files[file.path().filename()] = contentOf(file.path());
  }
  return files;
}

TEST(KilledWriter, LeavesAStoreThatAnybodyCanRead) {
  const TemporaryFolder folder;
  fs::permissions(folder.path(), fs::perms::all);
  const std::string path = folder.path() / "history.sqlite";
  std::mt19937 random(7);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same in every run
  const unsigned longestLife = isEmulated() ? 100'000 : 6'000;  // microseconds
  int changes = 0;
  int interrupted = 0;
  for (int i = 0; i < killedWriters(); ++i) {
    std::array<int, 2> done{};
    ASSERT_EQ(::pipe(done.data()), 0);
    const pid_t writer = ::fork();
    if (writer == 0) writeUntilKilled(path, changes, done[1]);
    ::close(done[1]);
    std::this_thread::sleep_for(std::chrono::microseconds(random() % longestLife));
    ::kill(writer, SIGKILL);
    int status = 0;
    ::waitpid(writer, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status)) << "the writer gave up at change " << changes;
    std::array<char, 1000> some{};
    const ssize_t count = ::read(done[0], some.data(), some.size());
    ::close(done[0]);
    if (!fs::exists(path)) continue;

    changes += static_cast<int>(count);
    const auto files = filesIn(folder.path());
    if (const auto journal = files.find("history.sqlite-journal");
        journal != files.end() && !journal->second.empty() && journal->second[0] != '\0') {
      ++interrupted;
    }
    fs::permissions(folder.path(),
                    fs::perms::owner_all | fs::perms::others_read | fs::perms::others_exec);
    const std::string found = withoutRights([&] { return changesIn(path); });
    fs::permissions(folder.path(), fs::perms::all);
    // The change that it was just making may be done, too.
    if (found != std::to_string(changes)) ++changes;
    ASSERT_EQ(found, std::to_string(changes)) << "after " << i << " writers";
    ASSERT_EQ(changesIn(path), found);
    ASSERT_EQ(filesIn(folder.path()), files);
    if (changes > 30) {
      fs::remove(path);
      fs::remove(path + "-journal");
      changes = 0;
    }
  }
  std::printf("%d of %d writers were killed in the midst of a change\n", interrupted,
              killedWriters());
  EXPECT_GT(interrupted, killedWriters() / 200);
}

}  // namespace
}  // namespace moxsupply::testing
