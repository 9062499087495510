#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <utility>

namespace moxsupply {

// A new folder that only we can look into, where temporary files go; gone with all that is in it.
class PrivateFolder {
 public:
  PrivateFolder() {
    std::error_code failed;
    std::string name = std::filesystem::temp_directory_path(failed) / "moxsupply-XXXXXX";
    if (!failed && ::mkdtemp(name.data()) != nullptr) mPath = name;
  }
  ~PrivateFolder() {
    std::error_code ignored;
    if (!mPath.empty()) std::filesystem::remove_all(mPath, ignored);
  }
  PrivateFolder(PrivateFolder&& other) noexcept : mPath(std::exchange(other.mPath, {})) {}
  PrivateFolder& operator=(PrivateFolder&& other) noexcept {
    std::swap(mPath, other.mPath);
    return *this;
  }
  PrivateFolder(const PrivateFolder&) = delete;
  PrivateFolder& operator=(const PrivateFolder&) = delete;

  // Empty where none could be made; errno says why.
  [[nodiscard]] const std::filesystem::path& path() const { return mPath; }

 private:
  std::filesystem::path mPath;
};

}  // namespace moxsupply
