#include "tests/support/Bytes.h"

#include <algorithm>
#include <cstdlib>

namespace moxsupply::testing {

Bytes bytesOf(std::string_view text) { return {text.begin(), text.end()}; }

Bytes u8(std::uint32_t number) { return {static_cast<std::uint8_t>(number)}; }
Bytes u16(std::uint32_t number) { return joined({u8(number >> 8), u8(number)}); }
Bytes u32(std::uint32_t number) { return joined({u16(number >> 16), u16(number)}); }

Bytes joined(const std::vector<Bytes>& parts) {
  std::size_t size = 0;
  for (const Bytes& part : parts) size += part.size();
  Bytes whole;
  whole.reserve(size);
  for (const Bytes& part : parts) whole.insert(whole.end(), part.begin(), part.end());
  return whole;
}

Bytes repeated(std::uint8_t byte, std::size_t count) {
  Bytes bytes;
  bytes.resize(count, byte);
  return bytes;
}

Bytes firstBytes(const Bytes& bytes, std::size_t count) {
  return {bytes.data(), bytes.data() + std::min(count, bytes.size())};
}

Bytes bytesFrom(const Bytes& bytes, std::size_t offset) {
  return {bytes.data() + std::min(offset, bytes.size()), bytes.data() + bytes.size()};
}

void put(Bytes& bytes, std::size_t offset, const Bytes& piece) {
  if (offset + piece.size() > bytes.size()) std::abort();
  std::ranges::copy(piece, bytes.begin() + static_cast<std::ptrdiff_t>(offset));
}

}  // namespace moxsupply::testing
