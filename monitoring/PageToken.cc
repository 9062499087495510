#include "monitoring/PageToken.h"

#include <fmt/format.h>
#include <sys/random.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <system_error>

namespace moxsupply {

PageToken::PageToken() {
  std::array<std::uint8_t, 16> bytes{};
  // So few bytes come whole.
  if (::getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
    throw std::system_error(errno, std::generic_category(), "no random numbers");
  }
  for (const std::uint8_t byte : bytes) mText += fmt::format("{:02x}", byte);
}

bool PageToken::isThis(std::string_view text) const {
  if (text.size() != mText.size()) return false;
  // Volatile, lest the compiler stop at the first difference.
  volatile std::uint8_t difference = 0;
  for (std::size_t i = 0; i < mText.size(); ++i) {
    difference = difference | static_cast<std::uint8_t>(text[i] ^ mText[i]);
  }
  return difference == 0;
}

}  // namespace moxsupply
