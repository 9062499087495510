#include "system/MemoryFile.h"

#include <sys/mman.h>
#include <unistd.h>

namespace moxsupply {

FileDescriptor memoryFile(std::string_view content) {
  FileDescriptor file(::memfd_create("moxsupply", MFD_CLOEXEC));
  const bool isWritten = file && writeAll(file.get(), content) == 0;
  return isWritten && ::lseek(file.get(), 0, SEEK_SET) == 0 ? std::move(file) : FileDescriptor();
}

}  // namespace moxsupply
