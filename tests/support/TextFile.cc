#include "tests/support/TextFile.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

namespace moxsupply::testing {

std::string contentOf(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

void write(const std::filesystem::path& file, std::string_view content) {
  std::ofstream stream(file, std::ios::binary | std::ios::trunc);
  stream << content;
  stream.close();
  EXPECT_TRUE(stream) << file;
}

}  // namespace moxsupply::testing
