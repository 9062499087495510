#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "simulator/Bytes.h"

namespace moxsupply::simulator {

// Puts fields one after the other as they stand on the wire, numbers big-endian. A number that does
// not fit its field throws std::length_error: nothing is ever cut off quietly.
class WireWriter {
 public:
  WireWriter& u8(std::uint64_t value) { return number(value, 1); }
  WireWriter& u16(std::uint64_t value) { return number(value, 2); }
  WireWriter& u32(std::uint64_t value) { return number(value, 4); }
  WireWriter& number(std::uint64_t value, std::size_t bytes);  // 1, 2 or 4 bytes
  WireWriter& zeros(std::size_t count);
  WireWriter& bytes(std::span<const std::uint8_t> bytes);
  WireWriter& text(std::string_view text);

  // What was written so far.
  [[nodiscard]] const Bytes& written() const { return mWritten; }

 private:
  Bytes mWritten;
};

}  // namespace moxsupply::simulator
