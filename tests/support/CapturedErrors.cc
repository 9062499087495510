#include "tests/support/CapturedErrors.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

namespace moxsupply::testing {

CapturedErrors::CapturedErrors() : mFormer(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 5)) {
  // A socket of packets keeps each write apart.
  std::array<int, 2> ends{};
  if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) std::abort();
  mReadEnd = aboveFilterDescriptors(FileDescriptor(ends[0]));
  const FileDescriptor writeEnd(ends[1]);
  ::dup2(writeEnd.get(), STDERR_FILENO);
}

CapturedErrors::~CapturedErrors() { ::dup2(mFormer.get(), STDERR_FILENO); }

std::vector<std::string> CapturedErrors::writes() {
  std::vector<std::string> writes;
  std::array<char, 65536> buffer{};
  while (true) {
    const ssize_t size = ::recv(mReadEnd.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (size < 0) return writes;
    writes.emplace_back(buffer.data(), static_cast<std::size_t>(size));
  }
}

std::string CapturedErrors::text() {
  std::string text;
  for (const std::string& write : writes()) text += write;
  return text;
}

}  // namespace moxsupply::testing
