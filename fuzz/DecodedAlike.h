#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "fuzz/Target.h"
#include "values/Dictionary.h"

namespace moxsupply::fuzzing {

// Decodes `bytes` twice and returns what comes of them: alone in a block of just their size, where
// the address sanitizer sees a read past the end, and between other bytes, which such a read would
// let in. Promises that it is the same.
//   decode   takes a std::span<std::uint8_t>, gives std::optional<Dictionary>
template <typename Decode>
std::optional<Dictionary> decodedAlike(std::span<const std::uint8_t> bytes, Decode decode) {
  constexpr std::size_t kAround = 64;
  Bytes alone(bytes.begin(), bytes.end());
  Bytes among(kAround + bytes.size() + kAround, 0x02);
  std::ranges::copy(bytes, among.begin() + kAround);
  auto dictionary = decode(std::span(alone));
  promise(dictionary == decode(std::span(among).subspan(kAround, bytes.size())),
          "the same bytes give the same dictionary, whatever lies around them");
  return dictionary;
}

}  // namespace moxsupply::fuzzing
