#pragma once

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>

namespace moxsupply {

// The number that `text` writes in decimal digits and nothing else, 0 to 4294967295.
inline std::optional<std::uint32_t> decimal(std::string_view text) {
  const bool digitsOnly =
      !text.empty() && std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
  std::uint32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (!digitsOnly || error != std::errc()) return std::nullopt;
  return number;
}

}  // namespace moxsupply
