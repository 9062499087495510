#include "tests/support/ReservedPort.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdio>
#include <cstdlib>

namespace moxsupply::testing {

namespace {

FileDescriptor boundTo(int port, int flags) {
  FileDescriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | flags, 0));
  const int reuse = port == 0 ? 0 : 1;
  ::setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof reuse);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<in_port_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (::bind(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    std::perror("bind");
    std::abort();
  }
  return socket;
}

}  // namespace

// Who asks for any free port does not get one that is bound already. The permission to use the
// address again comes afterwards, and holds for those who ask for this very port, as all servers
// do.
ReservedPort::ReservedPort() : mSocket(boundTo(0, 0)) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  ::getsockname(mSocket.get(), reinterpret_cast<sockaddr*>(&address), &size);
  mNumber = ntohs(address.sin_port);
  const int reuse = 1;
  ::setsockopt(mSocket.get(), SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof reuse);
}

std::string ReservedPort::address() const { return "127.0.0.1:" + std::to_string(mNumber); }

std::string ReservedPort::uri() const { return "socket://" + address(); }

FileDescriptor listenOn(const ReservedPort& port) {
  FileDescriptor listener = boundTo(port.number(), SOCK_NONBLOCK);
  if (::listen(listener.get(), SOMAXCONN) != 0) std::abort();
  return listener;
}

}  // namespace moxsupply::testing
