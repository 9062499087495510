#include "system/MemoryFile.h"

#include <sys/mman.h>
#include <unistd.h>

#include <array>

namespace moxsupply {

FileDescriptor memoryFile(std::string_view content) {
  FileDescriptor file(::memfd_create("moxsupply", MFD_CLOEXEC));
  const bool isWritten = file && writeAll(file.get(), content) == 0;
  return isWritten && ::lseek(file.get(), 0, SEEK_SET) == 0 ? std::move(file) : FileDescriptor();
}

std::string contentOf(const FileDescriptor& file) {
  std::string content;
  std::array<char, 4096> buffer{};
  ssize_t count = 0;
  while ((count = ::pread(file.get(), buffer.data(), buffer.size(),
                          static_cast<off_t>(content.size()))) > 0) {
    content.append(buffer.data(), static_cast<std::size_t>(count));
  }
  return content;
}

}  // namespace moxsupply
