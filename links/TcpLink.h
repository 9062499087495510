#pragma once

#include <sys/socket.h>

#include <optional>
#include <vector>

#include "links/DeviceUri.h"
#include "system/FileDescriptor.h"
#include "text/Problem.h"

namespace moxsupply {

// Where on the network a printer may be, the likeliest first.
struct NetworkAddress {
  sockaddr_storage address;
  socklen_t size;
};

// The addresses of `uri.host`, with `uri.port`. Blocks, as long as the name servers take.
[[nodiscard]] Result<std::vector<NetworkAddress>> addressesOf(const DeviceUri& uri);

// The address of a host that is given as one. Does not block.
[[nodiscard]] std::optional<NetworkAddress> numericAddressOf(const DeviceUri& uri);

// A socket for such a connection, that is not connected; empty where there is none (errno says
// why). `kind`: SOCK_NONBLOCK or 0.
[[nodiscard]] FileDescriptor socketFor(const NetworkAddress& address, int kind);

// Connects it, or begins to. Returns 0, or the errno.
[[nodiscard]] int connectTo(const NetworkAddress& address, const FileDescriptor& socket);

// What to say when none of the addresses took a connection. `error`: the errno of the last one.
[[nodiscard]] Problem noConnectionTo(const DeviceUri& uri, int error);

// A connection to the printer at `uri.host` and `uri.port`, for both directions. Blocks, as long as
// the name servers and the network take.
[[nodiscard]] Result<FileDescriptor> connectToPrinter(const DeviceUri& uri);

}  // namespace moxsupply
