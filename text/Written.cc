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

std::string packedOfSeveral(const Written& written) { return packed(written) + '\0'; }

std::optional<Written> takePacked(std::string_view& text) {
  std::size_t end = text.find('\0');
  if (end != std::string_view::npos) end = text.find('\0', end + 1);
  if (end == std::string_view::npos) return std::nullopt;
  const std::string_view first = text.substr(0, end);
  text.remove_prefix(end + 1);
  return unpacked(first);
}

}  // namespace moxsupply
