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

Result<FileDescriptor> connectToPrinter(const DeviceUri& uri) {
  addrinfo wanted{};
  wanted.ai_socktype = SOCK_STREAM;
  wanted.ai_flags = AI_NUMERICSERV;
  addrinfo* list = nullptr;
  const int lookup =
      ::getaddrinfo(uri.host.c_str(), std::to_string(uri.port).c_str(), &wanted, &list);
  if (lookup != 0) {
    return failure(translated("cannot find the host \"{}\": {}", forTerminal(uri.host),
                              ::gai_strerror(lookup)),
                   translated("Is the name right? The printer's numeric address works too."));
  }
  const std::unique_ptr<addrinfo, FreeAddresses> addresses(list);

  int error = 0;
  for (const addrinfo* address = list; address != nullptr; address = address->ai_next) {
    FileDescriptor link(::socket(address->ai_family, address->ai_socktype | SOCK_CLOEXEC, 0));
    if (link && ::connect(link.get(), address->ai_addr, address->ai_addrlen) == 0) {
      // Two small requests follow each other; the second must not wait for the first one's receipt.
      constexpr int kOn = 1;
      ::setsockopt(link.get(), IPPROTO_TCP, TCP_NODELAY, &kOn, sizeof(kOn));
      return link;
    }
    error = errno;
  }
  return failure(translated("cannot connect to {} port {}: {}", forTerminal(uri.host), uri.port,
                            std::strerror(error)),
                 adviceFor(error));
}

}  // namespace moxsupply
