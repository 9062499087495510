#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "system/ReplaceFile.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TextFile.h"

namespace moxsupply::testing {
namespace {

class ReplaceFile : public ::testing::Test {
 protected:
  void SetUp() override { write(mPath, "old"); }

  TemporaryFolder mFolder;
  std::string mPath = mFolder.path() / "file";
  std::string mUnfinished = mPath + "." + std::to_string(::getpid());
};

TEST_F(ReplaceFile, PutsANewOneInItsPlace) {
  EXPECT_EQ(replaceFile(mPath, "new", 0640), 0);
  EXPECT_EQ(contentOf(mPath), "new");
  struct stat status {};
  ASSERT_EQ(::stat(mPath.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0640U);
  EXPECT_FALSE(std::filesystem::exists(mUnfinished));
}

TEST_F(ReplaceFile, IsNotKeptFromItByWhatAKilledProcessLeft) {
  const std::string another = mFolder.path() / "another";
  write(another, "of somebody else");
  std::filesystem::create_symlink(another, mUnfinished);
  EXPECT_EQ(replaceFile(mPath, "new", 0640), 0);
  EXPECT_EQ(contentOf(mPath), "new");
  EXPECT_EQ(contentOf(another), "of somebody else");
}

TEST_F(ReplaceFile, LeavesTheOldOneWhenItFails) {
  std::filesystem::create_directory(mUnfinished);
  EXPECT_NE(replaceFile(mPath, "new", 0640), 0);
  EXPECT_EQ(contentOf(mPath), "old");
}

}  // namespace
}  // namespace moxsupply::testing
