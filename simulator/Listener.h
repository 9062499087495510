#pragma once

#include <string>

#include "system/FileDescriptor.h"

namespace moxsupply::simulator {

// Listens on ADDRESS:PORT; IPv6 addresses stand in brackets, port 0 is any free one. Throws
// std::runtime_error with a line that says what is wrong.
FileDescriptor listenOn(const std::string& addressAndPort);

// The device URI of a listening socket, such as "socket://127.0.0.1:9100".
std::string deviceUri(int listener);

}  // namespace moxsupply::simulator
