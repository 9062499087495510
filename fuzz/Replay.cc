#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

// Stands where libFuzzer stands in a build for fuzzing: calls the target for each file that is
// named, and for each file in each folder that is named. Fails when there is none.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

namespace {

using Path = std::filesystem::path;

std::vector<Path> filesIn(const Path& place) {
  if (!std::filesystem::is_directory(place)) return {place};
  std::vector<Path> files;
  for (const auto& entry : std::filesystem::directory_iterator(place)) files.push_back(entry);
  std::ranges::sort(files);
  return files;
}

bool replay(const Path& file) {
  std::ifstream stream(file, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(stream), {}};
  if (!stream) {
    std::fprintf(stderr, "%s: cannot be read\n", file.c_str());
    return false;
  }
  // Said first, so that the last line names the input that ended the program.
  std::fprintf(stderr, "%s\n", file.c_str());
  // In a heap block of just its size, so that the address sanitizer sees a read past the end.
  const auto bytes = std::make_unique<std::uint8_t[]>(text.size());  // NOLINT(*-c-arrays)
  std::ranges::copy(text, bytes.get());
  return LLVMFuzzerTestOneInput(bytes.get(), text.size()) == 0;
}

}  // namespace

int main(int argc, char** argv) try {
  std::size_t count = 0;
  for (const Path place : std::vector<std::string>(argv + 1, argv + argc)) {
    for (const Path& file : filesIn(place)) {
      if (!replay(file)) return 1;
      ++count;
    }
  }
  std::fprintf(stderr, "%zu inputs\n", count);
  return count == 0 ? 1 : 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "%s\n", error.what());
  return 1;
}
