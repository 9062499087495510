#pragma once

#include <string>
#include <tl/expected.hpp>

#include "system/FileDescriptor.h"

namespace moxsupply {

// The error of what is no ADDRESS:PORT.
constexpr int kNoAddress = 0;

// Listens on ADDRESS:PORT; IPv6 addresses stand in brackets, port 0 is any free one. Otherwise
// kNoAddress, or the errno of why the address cannot be had.
[[nodiscard]] tl::expected<FileDescriptor, int> listenOn(const std::string& addressAndPort);

// The address of a listening socket as listenOn takes it, with the port that it got.
std::string addressOf(int listener);

}  // namespace moxsupply
