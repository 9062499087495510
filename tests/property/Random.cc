#include "tests/property/Random.h"

#include <array>
#include <string_view>

namespace moxsupply::testing {

namespace {

// clang-format off
constexpr std::array<std::string_view, 30> kPieces = {
    "Cyan", "Magenta", "Yellow", "Black",
    "cyan", "MAGENTA", "yel", "low", "Cy", "an",
    "Toner", "Resttoner", "Cartridge", "Fuser", "Trommel",
    " ", " ", " ", "-", "\"", "\\",
    "\u00E9", "\u00D1", "n\u00B02", "\u9ED2\u8272",
    "\u0080", "\u07FF", "\u0800", "\uFEFF", "\U0010FFFF",  // two to four bytes
};
// clang-format on

// Seeds that share no printers: neighbouring seeds and indices give far apart numbers.
std::uint64_t mixed(std::uint64_t seed, std::uint64_t index) {
  std::uint64_t bits = seed * 0x9E3779B97F4A7C15 + index;
  bits = (bits ^ bits >> 30) * 0xBF58476D1CE4E5B9;
  bits = (bits ^ bits >> 27) * 0x94D049BB133111EB;
  return bits ^ bits >> 31;
}

}  // namespace

Random::Random(std::uint64_t seed, std::uint64_t index) : mEngine(mixed(seed, index)) {}

std::uint32_t Random::number(std::size_t bytes) {
  const std::uint32_t most = 0xFFFFFFFF >> (8 * (4 - bytes));
  const std::array<std::uint32_t, 5> ends = {0, 1, most / 2, most / 2 + 1, most};
  if (oneIn(4)) return of(ends);
  return static_cast<std::uint32_t>(within(0, most));
}

Bytes Random::bytes(std::size_t count) {
  Bytes drawn(count);
  for (std::uint8_t& each : drawn) each = byte();
  return drawn;
}

std::string Random::text(std::size_t longest) {
  std::string drawn;
  for (std::uint64_t pieces = below(longest / 4 + 2); pieces > 0; --pieces) {
    const std::string_view piece = of(kPieces);
    if (drawn.size() + piece.size() > longest) break;
    drawn += piece;
  }
  return drawn;
}

}  // namespace moxsupply::testing
