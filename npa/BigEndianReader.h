#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace moxsupply {

// `count` bytes from `offset` on; nothing when they do not lie whole before the end. Every bounds
// check of the decoders stands here.
template <typename Byte>
[[nodiscard]] std::optional<std::span<Byte>> wholeRun(std::span<Byte> bytes, std::size_t offset,
                                                      std::size_t count) noexcept {
  if (offset > bytes.size() || count > bytes.size() - offset) return std::nullopt;
  return bytes.subspan(offset, count);
}

// Picks big-endian numbers and runs of bytes out of bytes that came from a printer and that it does
// not own. What does not lie whole before the end is not there: nothing is returned and nothing is
// read. Cheap to copy.
class BigEndianReader {
 public:
  explicit BigEndianReader(std::span<const std::uint8_t> bytes) noexcept : mBytes(bytes) {}

  [[nodiscard]] std::size_t size() const noexcept { return mBytes.size(); }

  [[nodiscard]] std::optional<std::uint8_t> u8(std::size_t offset) const noexcept {
    return numberOf<std::uint8_t>(offset);
  }
  [[nodiscard]] std::optional<std::uint16_t> u16(std::size_t offset) const noexcept {
    return numberOf<std::uint16_t>(offset);
  }
  [[nodiscard]] std::optional<std::uint32_t> u32(std::size_t offset) const noexcept {
    return numberOf<std::uint32_t>(offset);
  }

  // A number of `width` bytes, 1 to 4.
  [[nodiscard]] std::optional<std::uint32_t> number(std::size_t offset,
                                                    std::size_t width) const noexcept {
    const auto run = bytes(offset, width);
    if (!run) return std::nullopt;
    std::uint32_t value = 0;
    for (const std::uint8_t byte : *run) value = value << 8 | byte;
    return value;
  }

  [[nodiscard]] std::optional<std::span<const std::uint8_t>> bytes(
      std::size_t offset, std::size_t count) const noexcept {
    return wholeRun(mBytes, offset, count);
  }

  // The bytes from `offset` on, at most `count` of them: what is there of a run that may be cut.
  [[nodiscard]] std::span<const std::uint8_t> bytesAsFarAsTheyGo(std::size_t offset,
                                                                 std::size_t count) const noexcept {
    const std::size_t begin = std::min(offset, mBytes.size());
    return mBytes.subspan(begin, std::min(count, mBytes.size() - begin));
  }

 private:
  template <typename Number>
  [[nodiscard]] std::optional<Number> numberOf(std::size_t offset) const noexcept {
    const auto value = number(offset, sizeof(Number));
    if (!value) return std::nullopt;
    return static_cast<Number>(*value);
  }

  std::span<const std::uint8_t> mBytes;
};

}  // namespace moxsupply
