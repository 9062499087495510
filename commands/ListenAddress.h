#pragma once

#include <string>

#include "commands/Option.h"
#include "system/FileDescriptor.h"
#include "text/Problem.h"

namespace moxsupply {

// `--listen ADDRESS:PORT`, of every command that serves something.
[[nodiscard]] Option listenAddress(std::string& address, std::string help);

// Listens there. That the address cannot be had is no misuse.
[[nodiscard]] Result<FileDescriptor> listenThere(const std::string& address);

}  // namespace moxsupply
