#pragma once

#include <fmt/format.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdlib>
#include <string>

#include "system/FileDescriptor.h"

namespace moxsupply::testing {

// A TCP port of this machine on which somebody listens, and takes connections, and does no more;
// or, closed, on which nobody does.
class SilentPort {
 public:
  SilentPort() {
    mSocket = FileDescriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    if (::bind(mSocket.get(), reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        ::listen(mSocket.get(), 8) != 0 ||
        ::getsockname(mSocket.get(), reinterpret_cast<sockaddr*>(&address), &size) != 0) {
      std::abort();
    }
    mUri = fmt::format("socket://127.0.0.1:{}", ntohs(address.sin_port));
  }

  void close() { mSocket = FileDescriptor(); }

  // Takes one connection.
  [[nodiscard]] FileDescriptor accept() const {
    return FileDescriptor(::accept4(mSocket.get(), nullptr, nullptr, SOCK_CLOEXEC));
  }

  [[nodiscard]] const std::string& uri() const { return mUri; }

 private:
  FileDescriptor mSocket;
  std::string mUri;
};

}  // namespace moxsupply::testing
