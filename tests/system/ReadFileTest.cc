#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>

#include "system/MemoryFile.h"
#include "system/ReadFile.h"

namespace moxsupply::testing {
namespace {

TEST(ReadFile, KnowsThatAFileIsTooLongHoweverLongItIs) {
  constexpr off_t kGibibyte = 1 << 30;
  const FileDescriptor file = memoryFile("");
  for (const off_t size : {off_t{101}, 2 * kGibibyte, 4 * kGibibyte, 4 * kGibibyte + 100}) {
    ASSERT_EQ(::ftruncate(file.get(), size), 0) << size;
    EXPECT_EQ(readFile(file.get(), 100), tl::unexpected(EFBIG)) << size;
  }
}

}  // namespace
}  // namespace moxsupply::testing
