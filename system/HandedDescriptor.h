#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "system/FileDescriptor.h"

namespace moxsupply {

// A message that one process sends another over a pair of sockets (makePacketPair), with an open
// descriptor where there is one.
struct HandedDescriptor {
  std::string text;
  FileDescriptor descriptor;  // out of the way of those that have a meaning in a filter
};

// Sends `text`, which is not empty, and leaves `descriptor` open here; -1 sends none. Returns 0, or
// the errno of what went wrong. Does not block: EAGAIN says that there is no room now.
[[nodiscard]] int handOver(int socket, std::string_view text, int descriptor);

// Takes the next message; one that is longer is cut. Nothing when there is none to come, or when
// that fails: errno is EAGAIN where the socket does not block, and there is none yet.
[[nodiscard]] std::optional<HandedDescriptor> takeOver(int socket, std::size_t mostBytes);

}  // namespace moxsupply
