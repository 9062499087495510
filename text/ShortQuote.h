#pragma once

#include <cstdint>
#include <string>

namespace moxsupply {

enum class Kept : std::uint8_t { kBeginning, kEnd };

// Text out of a file as a message may quote it: at most 80 characters, with dots where it was cut.
[[nodiscard]] inline std::string shortQuote(const std::string& text, Kept kept = Kept::kBeginning) {
  constexpr std::size_t kMost = 80;
  constexpr std::size_t kRest = kMost - 3;
  if (text.size() <= kMost) return text;
  return kept == Kept::kBeginning ? text.substr(0, kRest) + "..."
                                  : "..." + text.substr(text.size() - kRest);
}

}  // namespace moxsupply
