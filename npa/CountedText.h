#pragma once

#include <utf8.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace moxsupply {

// A text field of a record: up to its first zero byte if it holds one. Nothing when what stands
// before that is not UTF-8.
inline std::optional<std::string> countedText(std::span<const std::uint8_t> field) {
  const auto end = std::ranges::find(field, std::uint8_t{0});
  if (!utf8::is_valid(field.begin(), end)) return std::nullopt;
  return std::string(field.begin(), end);
}

}  // namespace moxsupply
