#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace moxsupply {

// Big-endian numbers and runs of bytes out of what a printer sent, for showing. What does not lie
// whole before the end is not there.
class WireBytes {
 public:
  explicit WireBytes(std::span<const std::uint8_t> bytes) : mBytes(bytes) {}

  [[nodiscard]] std::size_t size() const { return mBytes.size(); }

  // `width`: 1, 2 or 4 bytes.
  [[nodiscard]] std::optional<std::uint32_t> number(std::size_t offset, std::size_t width) const {
    if (offset > size() || width > size() - offset) return std::nullopt;
    std::uint32_t value = 0;
    for (const std::uint8_t byte : mBytes.subspan(offset, width)) value = value << 8 | byte;
    return value;
  }
  [[nodiscard]] std::optional<std::uint32_t> u8(std::size_t offset) const {
    return number(offset, 1);
  }
  [[nodiscard]] std::optional<std::uint32_t> u16(std::size_t offset) const {
    return number(offset, 2);
  }

  // What is there of `count` bytes from `offset` on.
  [[nodiscard]] std::span<const std::uint8_t> run(std::size_t offset, std::size_t count) const {
    const std::size_t begin = std::min(offset, size());
    return mBytes.subspan(begin, std::min(count, size() - begin));
  }

 private:
  std::span<const std::uint8_t> mBytes;
};

}  // namespace moxsupply
