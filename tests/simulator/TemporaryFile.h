#pragma once

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace moxsupply::testing {

// A file with this content, which is gone with the object. One at a time.
class TemporaryFile {
 public:
  explicit TemporaryFile(std::string_view content) { std::ofstream(mPath) << content; }
  ~TemporaryFile() { std::filesystem::remove(mPath); }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  TemporaryFile(TemporaryFile&&) = delete;
  TemporaryFile& operator=(TemporaryFile&&) = delete;

  [[nodiscard]] std::string path() const { return mPath; }

 private:
  std::filesystem::path mPath = std::filesystem::temp_directory_path() /
                                ("moxsupply-test-" + std::to_string(::getpid()) + ".json");
};

}  // namespace moxsupply::testing
