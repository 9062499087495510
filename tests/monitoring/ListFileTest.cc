#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "monitoring/ListFile.h"
#include "tests/support/TemporaryFolder.h"

namespace moxsupply::testing {
namespace {

class ListFileTest : public ::testing::Test {
 protected:
  ListFileTest() { write("[]"); }

  void write(const std::string& text) const { std::ofstream(path) << text; }
  void append(const std::string& text) const { std::ofstream(path, std::ios::app) << text; }

  TemporaryFolder folder;
  std::string path = folder.path() / "list.json";
};

TEST_F(ListFileTest, TellsNothingOfAFileThatStaysTheSame) {
  ListFile file(path);
  EXPECT_TRUE(file.read());
  EXPECT_FALSE(file.look());
  EXPECT_FALSE(file.look());
}

TEST_F(ListFileTest, ReadsAFileOnceItIsWritten) {
  ListFile file(path);
  write("[{\"targets\": ");
  EXPECT_FALSE(file.look());  // it has changed just now
  append("[\"a\"]");
  EXPECT_FALSE(file.look());  // and again
  append("}]");
  EXPECT_FALSE(file.look());
  const auto found = file.look();
  ASSERT_TRUE(found);
  EXPECT_EQ((*found)->size(), 1U);
  EXPECT_FALSE(file.look());
}

TEST_F(ListFileTest, TellsAMistakeOnce) {
  ListFile file(path);
  write("[");
  file.look();
  ASSERT_FALSE(file.look().value());
  EXPECT_FALSE(file.look());
  EXPECT_FALSE(file.look());
}

TEST_F(ListFileTest, NoticesAnotherFileInItsPlace) {
  ListFile file(path);
  const std::string other = folder.path() / "other";
  std::ofstream(other) << "[]";  // of the same size, and maybe of the same time
  std::filesystem::last_write_time(other, std::filesystem::last_write_time(path));
  std::filesystem::rename(other, path);
  file.look();
  EXPECT_TRUE(file.look());
}

TEST_F(ListFileTest, NoticesThatTheFileGoesAndComes) {
  ListFile file(path);
  std::filesystem::remove(path);
  file.look();
  EXPECT_FALSE(file.look().value());
  write("[]");
  file.look();
  EXPECT_TRUE(file.look().value());
}

}  // namespace
}  // namespace moxsupply::testing
