#pragma once

#include <optional>
#include <string>

#include "commands/Command.h"

namespace moxsupply {

// What one of many has brought, each of which is worked on by a process of its own.
struct Part {
  int exitStatus = kExitFailed;
  std::string output;
  std::string errors;
};

// As it comes from the process: the exit status as a letter, and what goes to standard output, up
// to a byte 0.
[[nodiscard]] std::string packed(const Part& part);
[[nodiscard]] std::optional<Part> unpacked(const std::string& text);

}  // namespace moxsupply
