#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace moxsupply {

// Puts runs of bytes one after the other into a buffer that it does not own. What finds no room is
// dropped. Beside BigEndianReader, which picks bytes out, the only place where bytes that came from
// a printer are written at a position that they decide.
class BoundedWriter {
 public:
  explicit BoundedWriter(std::span<std::uint8_t> buffer) noexcept : mBuffer(buffer) {}

  // Takes what fits. Returns whether that was everything.
  bool append(std::span<const std::uint8_t> bytes) noexcept {
    const auto room = mBuffer.subspan(mSize);
    const auto fitting = bytes.first(std::min(bytes.size(), room.size()));
    std::ranges::copy(fitting, room.begin());
    mSize += fitting.size();
    return fitting.size() == bytes.size();
  }

  [[nodiscard]] std::span<std::uint8_t> written() const noexcept { return mBuffer.first(mSize); }
  [[nodiscard]] std::size_t size() const noexcept { return mSize; }

 private:
  std::span<std::uint8_t> mBuffer;
  std::size_t mSize = 0;
};

}  // namespace moxsupply
