#pragma once

#include <string>

#include "system/FileDescriptor.h"

namespace moxsupply {

// Listens on ADDRESS:PORT; IPv6 addresses stand in brackets, port 0 is any free one. Throws
// std::runtime_error with a line that says what is wrong; it is a std::system_error when
// ADDRESS:PORT is right and cannot be had.
FileDescriptor listenOn(const std::string& addressAndPort);

// The address of a listening socket as listenOn takes it, with the port that it got.
std::string addressOf(int listener);

}  // namespace moxsupply
