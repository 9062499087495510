#include "text/Written.h"

namespace moxsupply {

std::string packed(const Written& written) {
  return static_cast<char>('0' + written.exitStatus) + written.output + '\0' + written.errors;
}

std::optional<Written> unpacked(std::string_view text) {
  const std::size_t end = text.find('\0');
  if (end == std::string_view::npos || end == 0) return std::nullopt;
  return Written{text.front() - '0', std::string(text.substr(1, end - 1)),
                 std::string(text.substr(end + 1))};
}

}  // namespace moxsupply
