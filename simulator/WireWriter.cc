#include "simulator/WireWriter.h"

#include <fmt/core.h>

#include <stdexcept>

namespace moxsupply::simulator {

WireWriter& WireWriter::number(std::uint64_t value, std::size_t bytes) {
  if (value >> (8 * bytes) != 0) {
    throw std::length_error(fmt::format("{} does not fit a field of {} {}", value, bytes,
                                        bytes == 1 ? "byte" : "bytes"));
  }
  for (std::size_t left = bytes; left > 0; --left) {
    mWritten.push_back(static_cast<std::uint8_t>(value >> (8 * (left - 1))));
  }
  return *this;
}

WireWriter& WireWriter::zeros(std::size_t count) {
  mWritten.insert(mWritten.end(), count, 0);
  return *this;
}

WireWriter& WireWriter::bytes(std::span<const std::uint8_t> bytes) {
  mWritten.insert(mWritten.end(), bytes.begin(), bytes.end());
  return *this;
}

WireWriter& WireWriter::text(std::string_view text) {
  mWritten.insert(mWritten.end(), text.begin(), text.end());
  return *this;
}

}  // namespace moxsupply::simulator
