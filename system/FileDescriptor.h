#pragma once

#include <string_view>
#include <utility>

namespace moxsupply {

// An open file, pipe or socket; closed at the end of its life. -1 holds nothing.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int descriptor) noexcept : mDescriptor(descriptor) {}
  ~FileDescriptor() { static_cast<void>(close()); }
  FileDescriptor(FileDescriptor&& other) noexcept
      : mDescriptor(std::exchange(other.mDescriptor, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(mDescriptor, other.mDescriptor);
    return *this;
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;

  [[nodiscard]] int get() const noexcept { return mDescriptor; }
  explicit operator bool() const noexcept { return mDescriptor >= 0; }

  // Gives it away: it is somebody else's to close.
  [[nodiscard]] int release() noexcept { return std::exchange(mDescriptor, -1); }

  // Closes it now. Returns 0, or the errno of a late failure to write.
  [[nodiscard]] int close() noexcept;

 private:
  int mDescriptor = -1;
};

// Writes all of `text`, also to a descriptor that does not block. Returns 0, or the errno of what
// went wrong.
[[nodiscard]] int writeAll(int descriptor, std::string_view text) noexcept;

// The descriptor, moved out of the way of those that have a meaning in a filter: 0, 1 and 2, the
// back channel 3 and the side channel 4. Empty when that fails (errno says why).
[[nodiscard]] FileDescriptor aboveFilterDescriptors(FileDescriptor descriptor) noexcept;

}  // namespace moxsupply
