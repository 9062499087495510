#include "tests/support/Hex.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace moxsupply::testing {

namespace {

[[noreturn]] void refuse(std::string_view text, std::size_t at) {
  std::fprintf(stderr, "no pair of hex digits at %zu: %.*s\n", at, static_cast<int>(text.size()),
               text.data());
  std::abort();
}

}  // namespace

Bytes hex(std::string_view text) {
  Bytes bytes;
  for (std::size_t at = 0; at < text.size();) {
    if (std::isspace(static_cast<unsigned char>(text[at])) != 0) {
      ++at;
    } else if (text[at] == '#') {
      at = std::min(text.find('\n', at), text.size());
    } else {
      const std::string pair(text.substr(at, 2));
      if (pair.size() != 2 || std::isxdigit(static_cast<unsigned char>(pair[0])) == 0 ||
          std::isxdigit(static_cast<unsigned char>(pair[1])) == 0) {
        refuse(text, at);
      }
      bytes.push_back(static_cast<std::uint8_t>(std::stoul(pair, nullptr, 16)));
      at += 2;
    }
  }
  return bytes;
}

std::string hexText(std::span<const std::uint8_t> bytes) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string text;
  for (const std::uint8_t byte : bytes) {
    if (!text.empty()) text += ' ';
    text += {kDigits[byte >> 4], kDigits[byte & 0x0F]};
  }
  return text;
}

}  // namespace moxsupply::testing
