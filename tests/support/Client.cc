#include "tests/support/Client.h"

#include <gtest/gtest.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

namespace moxsupply::testing {

Client::Client(const std::string& uri) {
  constexpr std::string_view kScheme = "socket://";
  const std::size_t colon = uri.rfind(':');
  std::string address = uri.substr(kScheme.size(), colon - kScheme.size());
  if (address.starts_with('[')) address = address.substr(1, address.size() - 2);
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
  addrinfo* found = nullptr;
  if (::getaddrinfo(address.c_str(), uri.substr(colon + 1).c_str(), &hints, &found) != 0) {
    ADD_FAILURE() << "no URI of an address: " << uri;
    return;
  }
  mSocket = FileDescriptor(::socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const timeval patience = {.tv_sec = 10, .tv_usec = 0};
  ::setsockopt(mSocket.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  ::setsockopt(mSocket.get(), SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
  EXPECT_EQ(::connect(mSocket.get(), found->ai_addr, found->ai_addrlen), 0) << std::strerror(errno);
  ::freeaddrinfo(found);
}

void Client::send(std::span<const std::uint8_t> bytes) const {
  EXPECT_EQ(::send(mSocket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL),
            static_cast<ssize_t>(bytes.size()))
      << std::strerror(errno);
}

void Client::fill(std::span<const std::uint8_t> bytes) const {
  for (;;) {
    pollfd writable = {.fd = mSocket.get(), .events = POLLOUT, .revents = 0};
    if (::poll(&writable, 1, 200) == 0) return;
    if (::send(mSocket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT) < 0 &&
        errno != EAGAIN) {
      ADD_FAILURE() << std::strerror(errno);
      return;
    }
  }
}

Bytes Client::receive(std::size_t count) const {
  Bytes bytes(count);
  std::size_t received = 0;
  while (received < count) {
    const ssize_t got = ::recv(mSocket.get(), bytes.data() + received, count - received, 0);
    if (got < 0) ADD_FAILURE() << std::strerror(errno);
    if (got <= 0) break;
    received += static_cast<std::size_t>(got);
  }
  bytes.resize(received);
  return bytes;
}

bool Client::isReset() const {
  std::uint8_t byte = 0;
  return ::recv(mSocket.get(), &byte, 1, 0) < 0 && errno == ECONNRESET;
}

bool Client::isQuietFor(std::chrono::milliseconds time) const {
  pollfd readable = {.fd = mSocket.get(), .events = POLLIN, .revents = 0};
  return ::poll(&readable, 1, static_cast<int>(time.count())) == 0;
}

void Client::endSending() const { ::shutdown(mSocket.get(), SHUT_WR); }

void Client::reset() {
  const linger atOnce = {.l_onoff = 1, .l_linger = 0};
  ::setsockopt(mSocket.get(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
  mSocket = FileDescriptor();
}

}  // namespace moxsupply::testing
