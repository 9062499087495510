#include "system/Listener.h"

#include <fmt/core.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <memory>
#include <stdexcept>

namespace moxsupply {

namespace {

using Addresses = std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)>;

// Empty when there is no such address.
Addresses resolve(const std::string& addressAndPort) {
  Addresses addresses(nullptr, &::freeaddrinfo);
  const std::size_t colon = addressAndPort.rfind(':');
  if (colon == std::string::npos) return addresses;
  std::string address = addressAndPort.substr(0, colon);
  const std::string port = addressAndPort.substr(colon + 1);
  std::uint16_t number = 0;
  const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), number);
  if (error != std::errc() || *end != '\0') return addresses;

  addrinfo hints{};
  hints.ai_family = AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
  if (address.starts_with('[') && address.ends_with(']')) {
    hints.ai_family = AF_INET6;
    address = address.substr(1, address.size() - 2);
  }
  addrinfo* found = nullptr;
  if (::getaddrinfo(address.c_str(), port.c_str(), &hints, &found) == 0) addresses.reset(found);
  return addresses;
}

}  // namespace

tl::expected<FileDescriptor, int> listenOn(const std::string& addressAndPort) {
  const Addresses addresses = resolve(addressAndPort);
  if (!addresses) return tl::unexpected(kNoAddress);
  FileDescriptor listener(
      ::socket(addresses->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  const int reuse = 1;  // also while connections of an earlier run still fade away
  if (!listener ||
      ::setsockopt(listener.get(), SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof reuse) != 0 ||
      ::bind(listener.get(), addresses->ai_addr, addresses->ai_addrlen) != 0 ||
      ::listen(listener.get(), SOMAXCONN) != 0) {
    return tl::unexpected(errno);
  }
  return listener;
}

std::string addressOf(int listener) {
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  std::array<char, NI_MAXHOST> host{};
  std::array<char, NI_MAXSERV> port{};
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  if (::getsockname(listener, generic, &size) != 0 ||
      ::getnameinfo(generic, size, host.data(), host.size(), port.data(), port.size(),
                    NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
    throw std::runtime_error("the address of the listening socket is not to be had");
  }
  const bool isIPv6 = address.ss_family == AF_INET6;
  return fmt::format("{}{}{}:{}", isIPv6 ? "[" : "", host.data(), isIPv6 ? "]" : "", port.data());
}

}  // namespace moxsupply
