#include <gtest/gtest.h>

#include <filesystem>

#include "filter/RecordingPath.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TextFile.h"

namespace moxsupply::testing {
namespace {

namespace fs = std::filesystem;

class PathOfARecording : public ::testing::Test {
 protected:
  [[nodiscard]] std::string pathFor(const std::string& file, const std::string& queue) const {
    return recordingPath(file, queue, folder());
  }
  [[nodiscard]] fs::path folder() const { return mFolder.path(); }
  [[nodiscard]] fs::path memory() const { return folder() / "moxsupply-recording"; }

 private:
  TemporaryFolder mFolder;
};

TEST_F(PathOfARecording, HasTheQueuesNameWhereItIsWanted) {
  EXPECT_EQ(pathFor("/tmp/%q.transcript", "office"), "/tmp/office.transcript");
  EXPECT_EQ(pathFor("/tmp/%q/%q%", "office"), "/tmp/office/office%");
  EXPECT_EQ(pathFor("/tmp/%q", "%q"), "/tmp/%q");
  EXPECT_EQ(pathFor("/tmp/%q", "../etc/x"), "/tmp/.._etc_x");
  EXPECT_FALSE(fs::exists(memory()));
}

TEST_F(PathOfARecording, IsTheFileForTheFirstQueueAndHasTheNameBehindItForOthers) {
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(pathFor("/tmp/levels", "office"), "/tmp/levels");
    EXPECT_EQ(pathFor("/tmp/levels", "lobby"), "/tmp/levels.lobby");
    EXPECT_EQ(pathFor("/tmp/levels", "a/b"), "/tmp/levels.a_b");
  }
  EXPECT_EQ(std::distance(fs::directory_iterator(folder()), fs::directory_iterator()), 1);
}

TEST_F(PathOfARecording, BelongsToTheFirstQueueOfEachFile) {
  EXPECT_EQ(pathFor("/tmp/levels", "office"), "/tmp/levels");
  EXPECT_EQ(pathFor("/tmp/others", "lobby"), "/tmp/others");
  EXPECT_EQ(pathFor("/tmp/others", "office"), "/tmp/others.office");
}

TEST_F(PathOfARecording, IsTheFileWhereNothingCanBeRemembered) {
  EXPECT_EQ(recordingPath("/tmp/levels", "office", ""), "/tmp/levels");
  EXPECT_EQ(recordingPath("/tmp/levels", "office", "/nonexistent"), "/tmp/levels");
  EXPECT_EQ(pathFor("/tmp/levels", ""), "/tmp/levels");
  EXPECT_EQ(pathFor("", "office"), "");
  fs::create_directory(memory());
  EXPECT_EQ(pathFor("/tmp/levels", "office"), "/tmp/levels");
}

TEST_F(PathOfARecording, FollowsNoLinkForWhatIsRemembered) {
  write(folder() / "elsewhere", "/tmp/levels\nlobby");
  fs::create_symlink(folder() / "elsewhere", memory());
  EXPECT_EQ(pathFor("/tmp/levels", "office"), "/tmp/levels");
  EXPECT_EQ(contentOf(folder() / "elsewhere"), "/tmp/levels\nlobby");
  EXPECT_EQ(pathFor("/tmp/levels", "lobby"), "/tmp/levels.lobby");
}

}  // namespace
}  // namespace moxsupply::testing
