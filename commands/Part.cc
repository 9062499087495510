#include "commands/Part.h"

namespace moxsupply {

std::string packed(const Part& part) {
  return static_cast<char>('0' + part.exitStatus) + part.output + '\0' + part.errors;
}

std::optional<Part> unpacked(const std::string& text) {
  const std::size_t end = text.find('\0');
  if (end == std::string::npos || end == 0) return std::nullopt;
  return Part{text.front() - '0', text.substr(1, end - 1), text.substr(end + 1)};
}

}  // namespace moxsupply
