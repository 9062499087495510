#include "system/FileDescriptor.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

#include "system/FilterDescriptors.h"

namespace moxsupply {

int FileDescriptor::close() noexcept {
  const int descriptor = std::exchange(mDescriptor, -1);
  if (descriptor < 0 || ::close(descriptor) == 0) return 0;
  return errno;
}

int writeAll(int descriptor, std::string_view text) noexcept {
  while (!text.empty()) {
    const ssize_t count = ::write(descriptor, text.data(), text.size());
    if (count >= 0) {
      text.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno == EAGAIN) {
      pollfd writable = {.fd = descriptor, .events = POLLOUT, .revents = 0};
      ::poll(&writable, 1, -1);
    } else if (errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

FileDescriptor aboveFilterDescriptors(FileDescriptor descriptor) noexcept {
  if (!descriptor || descriptor.get() >= kFirstFree) return descriptor;
  return FileDescriptor(::fcntl(descriptor.get(), F_DUPFD_CLOEXEC, kFirstFree));
}

}  // namespace moxsupply
