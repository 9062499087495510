#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

namespace moxsupply::testing {

// A folder of a test's own, which goes with everything in it.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = std::filesystem::temp_directory_path() / "moxsupply-XXXXXX";
    if (::mkdtemp(name.data()) == nullptr) std::abort();
    mPath = name;
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(mPath, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  TemporaryFolder(TemporaryFolder&&) = delete;
  TemporaryFolder& operator=(TemporaryFolder&&) = delete;

  [[nodiscard]] const std::filesystem::path& path() const { return mPath; }

 private:
  std::filesystem::path mPath;
};

}  // namespace moxsupply::testing
