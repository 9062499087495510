#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <string>

#include "system/MemoryFile.h"
#include "system/ReadFile.h"
#include "tests/support/FilterProcess.h"

namespace moxsupply::testing {
namespace {

TEST(MemoryFile, IsReadFromItsBeginning) {
  const FileDescriptor file = memoryFile("abc");
  std::array<char, 8> buffer{};
  EXPECT_EQ(::read(file.get(), buffer.data(), buffer.size()), 3);
  EXPECT_STREQ(buffer.data(), "abc");
}

TEST(MemoryFile, HoldsAnyBytesAndAnyNumberOfThem) {
  for (const std::string& content :
       {std::string(), std::string("a\0\xFF", 3), std::string(1'000'000, 'x')}) {
    EXPECT_EQ(readFile(memoryFile(content).get(), content.size()), content);
  }
}

TEST(MemoryFile, IsClosedWhenAProgramIsExecuted) {
  EXPECT_NE(::fcntl(memoryFile("").get(), F_GETFD) & FD_CLOEXEC, 0);
}

TEST(MemoryFile, IsEmptyHandedWhenThereAreNoMoreDescriptors) {
  FilterProcess process(BackChannel::kClosed, [] {
    const rlimit none = {.rlim_cur = 3, .rlim_max = 3};
    ::setrlimit(RLIMIT_NOFILE, &none);
    return std::string(memoryFile("abc") ? "a file" : "none");
  });
  EXPECT_EQ(process.wait().result, "none");
}

TEST(ReadFile, ReadsAllOfAnOpenFileWhereverItsPositionIs) {
  const FileDescriptor file = memoryFile("abc");
  ::lseek(file.get(), 2, SEEK_SET);
  EXPECT_EQ(readFile(file.get(), 8), "abc");
  ASSERT_EQ(writeAll(file.get(), "dE"), 0);
  EXPECT_EQ(readFile(file.get(), 8), "abdE");
  EXPECT_EQ(::lseek(file.get(), 0, SEEK_CUR), 4);
}

}  // namespace
}  // namespace moxsupply::testing
