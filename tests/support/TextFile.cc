#include "tests/support/TextFile.h"

#include <gtest/gtest.h>

#include <fstream>

#include "system/ReadFile.h"

namespace moxsupply::testing {

std::string contentOf(const std::filesystem::path& file) {
  constexpr std::size_t kLongest = std::size_t{256} << 20U;
  return readFile(file, kLongest).value_or("");
}

void write(const std::filesystem::path& file, std::string_view content) {
  std::ofstream stream(file, std::ios::binary | std::ios::trunc);
  stream << content;
  stream.close();
  EXPECT_TRUE(stream) << file;
}

}  // namespace moxsupply::testing
