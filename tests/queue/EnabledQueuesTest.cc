#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <thread>

#include "queue/EnabledQueues.h"
#include "system/FileDescriptor.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TextFile.h"

namespace moxsupply::testing {
namespace {

namespace fs = std::filesystem;

constexpr EnabledQueue kInkjetWithoutJobs = {PrinterKind::kInkjet, 25, false};

// What is enabled, in a folder that is not there yet.
class EnabledQueuesFile : public ::testing::Test {
 protected:
  EnabledQueuesFile() { ::setenv("STATE_DIRECTORY", folder().c_str(), 1); }
  ~EnabledQueuesFile() override { ::unsetenv("STATE_DIRECTORY"); }

  [[nodiscard]] fs::path folder() const { return mFolder.path() / "state"; }
  [[nodiscard]] fs::path file() const { return folder() / "queues.json"; }

  void writeFile(std::string_view json) const {
    fs::create_directory(folder());
    write(file(), json);
  }

  [[nodiscard]] static Result<> remember(const std::string& name, const EnabledQueue& queue) {
    return changeEnabledQueues([&](EnabledQueues& queues) { queues[name] = queue; });
  }

 private:
  TemporaryFolder mFolder;
};

TEST_F(EnabledQueuesFile, IsEmptyBeforeThereIsOne) {
  const auto queues = enabledQueues();
  ASSERT_TRUE(queues);
  EXPECT_TRUE(queues->empty());
  EXPECT_FALSE(fs::exists(folder()));
}

TEST_F(EnabledQueuesFile, IsReadAsItWasWritten) {
  ASSERT_TRUE(remember("office", {}));
  ASSERT_TRUE(remember("lobby", kInkjetWithoutJobs));
  const auto queues = enabledQueues();
  ASSERT_TRUE(queues) << queues.error().what;
  EXPECT_EQ(*queues, (EnabledQueues{{"office", {}}, {"lobby", kInkjetWithoutJobs}}));
  EXPECT_EQ(contentOf(file()), R"({
  "lobby": {
    "type": "inkjet",
    "low": 25,
    "afterJobs": false
  },
  "office": {
    "type": "laser",
    "low": 10,
    "afterJobs": true
  }
}
)");
}

TEST_F(EnabledQueuesFile, SaysFromWhichLevelOnASupplyIsLow) {
  const EnabledQueues enabled = {{"lobby", kInkjetWithoutJobs}};
  EXPECT_EQ(measureOf(enabled, "lobby").lowLevel, 25);
  EXPECT_EQ(measureOf(enabled, "office").lowLevel, kLowLevel);
}

TEST_F(EnabledQueuesFile, LosesWhatIsTakenOut) {
  ASSERT_TRUE(remember("office", {}));
  ASSERT_TRUE(changeEnabledQueues([](EnabledQueues& queues) { queues.erase("office"); }));
  EXPECT_EQ(enabledQueues(), EnabledQueues());
}

TEST_F(EnabledQueuesFile, IsForEverybodyToReadWhateverTheUmask) {
  const mode_t former = ::umask(0077);
  const auto remembered = remember("office", {});
  ::umask(former);
  ASSERT_TRUE(remembered);
  EXPECT_EQ(fs::status(folder()).permissions(), fs::perms(0755));
  EXPECT_EQ(fs::status(file()).permissions(), fs::perms(0644));
  EXPECT_EQ(std::distance(fs::directory_iterator(folder()), fs::directory_iterator()), 1);
}

TEST_F(EnabledQueuesFile, IsNotWrittenWhereNothingChanges) {
  ASSERT_TRUE(remember("office", {}));
  const auto number = [this] {
    struct stat status {};
    ::stat(file().c_str(), &status);
    return status.st_ino;
  };
  const auto before = number();
  ASSERT_TRUE(remember("office", {}));
  EXPECT_EQ(number(), before);
}

TEST_F(EnabledQueuesFile, IsReadLeniently) {
  writeFile(R"({"office": {"type": "laser", "low": null, "since": 2026},
                "lobby": {"afterJobs": null, "type": "inkjet"},
                "no/queue": {"type": "laser"}, "": {"type": "laser"}})");
  EnabledQueue inkjet;
  inkjet.kind = PrinterKind::kInkjet;
  EXPECT_EQ(enabledQueues(), (EnabledQueues{{"office", {}}, {"lobby", inkjet}}));
}

TEST_F(EnabledQueuesFile, ThatIsDamagedIsSaidAndLeft) {
  for (const char* damaged :
       {"", R"({"office": {"type": "laser"})", "[]", R"({"office": "laser"})", R"({"office": {}})",
        R"({"office": {"type": "Laser"}})", R"({"office": {"type": "laser", "low": 0}})",
        R"({"office": {"type": "laser", "low": 100}})",
        R"({"office": {"type": "laser", "low": "10"}})",
        R"({"office": {"type": "laser", "afterJobs": 1}})"}) {
    writeFile(damaged);
    const auto queues = enabledQueues();
    ASSERT_FALSE(queues) << damaged;
    EXPECT_EQ(queues.error().what.find(file().string() + ':'), 0U) << queues.error().what;
    EXPECT_FALSE(queues.error().isMisuse);
    EXPECT_FALSE(remember("lobby", {}));
    EXPECT_EQ(contentOf(file()), damaged);
  }
}

TEST_F(EnabledQueuesFile, IsNotReadWhereItIsHuge) {
  writeFile(std::string(5U << 20U, ' '));
  ASSERT_FALSE(enabledQueues());
  EXPECT_NE(enabledQueues().error().what.find("File too large"), std::string::npos);
}

TEST_F(EnabledQueuesFile, OfSeveralFoldersIsInTheFirst) {
  ::setenv("STATE_DIRECTORY", (folder().string() + ":/nowhere").c_str(), 1);
  ASSERT_TRUE(remember("office", {}));
  EXPECT_TRUE(fs::exists(file()));
}

TEST_F(EnabledQueuesFile, LosesNothingWhereTwoChangeIt) {
  fs::create_directory(folder());
  std::optional<std::thread> other;
  std::atomic<bool> isOtherDone = false;
  {
    const FileDescriptor lock(::open(folder().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ASSERT_EQ(::flock(lock.get(), LOCK_EX), 0);
    other.emplace([&isOtherDone] {
      EXPECT_TRUE(remember("office", {}));
      isOtherDone = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(isOtherDone);
    write(file(), R"({"lobby": {"type": "laser"}})");
  }
  other->join();
  EXPECT_EQ(enabledQueues(), (EnabledQueues{{"lobby", {}}, {"office", {}}}));
}

}  // namespace
}  // namespace moxsupply::testing
