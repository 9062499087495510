#include "system/ReadFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "system/FileDescriptor.h"

namespace moxsupply {

namespace {

// The files of /proc have no size, and are read all the same.
constexpr std::size_t kPiece = 4096;

}  // namespace

tl::expected<std::string, int> readFile(const std::string& path, std::size_t mostBytes,
                                        Links links) {
  const int noLinks = links == Links::kRefused ? O_NOFOLLOW : 0;
  const FileDescriptor file(
      ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC | noLinks));
  if (!file) return tl::unexpected(errno);
  return readFile(file.get(), mostBytes);
}

tl::expected<std::string, int> readFile(int file, std::size_t mostBytes) {
  struct stat status {};
  if (::fstat(file, &status) != 0) return tl::unexpected(errno);
  if (S_ISDIR(status.st_mode)) return tl::unexpected(EISDIR);
  if (!S_ISREG(status.st_mode)) return tl::unexpected(EINVAL);

  if (std::cmp_greater(status.st_size, mostBytes)) return tl::unexpected(EFBIG);

  const auto expected = static_cast<std::size_t>(std::max<off_t>(status.st_size, 0));
  std::string content;
  std::size_t size = 0;
  while (size <= mostBytes) {
    content.resize(std::max(expected, size) + kPiece);
    const ssize_t count =
        ::pread(file, content.data() + size, content.size() - size, static_cast<off_t>(size));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return tl::unexpected(errno);
    if (count == 0) {
      content.resize(size);
      return content;
    }
    size += static_cast<std::size_t>(count);
  }
  return tl::unexpected(EFBIG);
}

}  // namespace moxsupply
