#include "links/TcpLink.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "text/TerminalText.h"
#include "text/Translated.h"

namespace moxsupply {

namespace {

struct FreeAddresses {
  void operator()(addrinfo* addresses) const { ::freeaddrinfo(addresses); }
};

// Returns 0, or what getaddrinfo says.
int lookUp(const DeviceUri& uri, int flags, std::vector<NetworkAddress>& addresses) {
  addrinfo wanted{};
  wanted.ai_socktype = SOCK_STREAM;
  wanted.ai_flags = flags;
  addrinfo* list = nullptr;
  const int error =
      ::getaddrinfo(uri.host.c_str(), std::to_string(uri.port).c_str(), &wanted, &list);
  if (error != 0) return error;
  const std::unique_ptr<addrinfo, FreeAddresses> owner(list);
  for (const addrinfo* one = list; one != nullptr; one = one->ai_next) {
    NetworkAddress& address = addresses.emplace_back();
    std::memcpy(&address.address, one->ai_addr, one->ai_addrlen);
    address.size = one->ai_addrlen;
  }
  return 0;
}

std::string adviceFor(int error) {
  switch (error) {
    case ECONNREFUSED:
      return translated(
          "The host is there, but takes no print data on this port: is it the printer's "
          "address, and is raw printing (port 9100) switched on?");
    case ETIMEDOUT:
    case EHOSTUNREACH:
      return translated("Is the printer switched on and connected, and is this its address?");
    case ENETUNREACH:
      return translated("Is this machine connected to the printer's network?");
    default:
      return {};
  }
}

}  // namespace

Result<std::vector<NetworkAddress>> addressesOf(const DeviceUri& uri) {
  std::vector<NetworkAddress> addresses;
  if (const int error = lookUp(uri, AI_NUMERICSERV, addresses); error != 0) {
    return failure(
        translated("cannot find the host \"{}\": {}", forTerminal(uri.host), ::gai_strerror(error)),
        translated("Is the name right? The printer's numeric address works too."));
  }
  return addresses;
}

std::optional<NetworkAddress> numericAddressOf(const DeviceUri& uri) {
  std::vector<NetworkAddress> addresses;
  const int error = lookUp(uri, AI_NUMERICSERV | AI_NUMERICHOST, addresses);
  return error == 0 ? std::optional(addresses.front()) : std::nullopt;
}

FileDescriptor socketFor(const NetworkAddress& address, int kind) {
  FileDescriptor link(::socket(address.address.ss_family, SOCK_STREAM | SOCK_CLOEXEC | kind, 0));
  if (!link) return link;
  // Two small requests follow each other; the second must not wait for the first one's receipt.
  constexpr int kOn = 1;
  ::setsockopt(link.get(), IPPROTO_TCP, TCP_NODELAY, &kOn, sizeof(kOn));
  return link;
}

int connectTo(const NetworkAddress& address, const FileDescriptor& socket) {
  const auto* to = reinterpret_cast<const sockaddr*>(&address.address);
  return ::connect(socket.get(), to, address.size) == 0 ? 0 : errno;
}

Problem noConnectionTo(const DeviceUri& uri, int error) {
  return {.what = translated("cannot connect to {} port {}: {}", forTerminal(uri.host), uri.port,
                             std::strerror(error)),
          .advice = adviceFor(error)};
}

Result<FileDescriptor> connectToPrinter(const DeviceUri& uri) {
  const auto addresses = addressesOf(uri);
  if (!addresses) return tl::unexpected(addresses.error());
  int error = 0;
  for (const NetworkAddress& address : *addresses) {
    FileDescriptor link = socketFor(address, 0);
    error = link ? connectTo(address, link) : errno;
    if (error == 0) return link;
  }
  return tl::unexpected(noConnectionTo(uri, error));
}

}  // namespace moxsupply
