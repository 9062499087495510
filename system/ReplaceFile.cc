#include "system/ReplaceFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "system/FileDescriptor.h"

namespace moxsupply {

namespace {

int write(const std::string& path, std::string_view content, mode_t mode) {
  FileDescriptor file(
      ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!file) return errno;
  if (::fchmod(file.get(), mode) != 0) return errno;
  const int error = writeAll(file.get(), content);
  return error != 0 ? error : file.close();
}

}  // namespace

int replaceFile(const std::string& path, std::string_view content, mode_t mode) {
  const std::string unfinished = fmt::format("{}.{}", path, ::getpid());
  // One that was killed may have left it, of which this process has the number.
  ::unlink(unfinished.c_str());
  int error = write(unfinished, content, mode);
  if (error == 0 && std::rename(unfinished.c_str(), path.c_str()) != 0) error = errno;
  if (error != 0) ::unlink(unfinished.c_str());
  return error;
}

}  // namespace moxsupply
