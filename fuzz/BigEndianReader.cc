#include "npa/BigEndianReader.h"

#include <limits>

#include "fuzz/Target.h"

namespace moxsupply::fuzzing {

namespace {

// What is at `offset` of `bytes` as a number of `width` bytes, reckoned in the plainest way.
std::optional<std::uint32_t> plainNumber(std::span<const std::uint8_t> bytes, std::size_t offset,
                                         std::size_t width) {
  if (bytes.size() < width || offset > bytes.size() - width) return std::nullopt;
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < width; ++i) number = number * 256 + bytes[offset + i];
  return number;
}

void tryOffset(std::span<const std::uint8_t> bytes, std::size_t offset, std::size_t count) {
  const BigEndianReader reader(bytes);
  promise(reader.u8(offset) == plainNumber(bytes, offset, 1), "u8 is the byte that is there");
  promise(reader.u16(offset) == plainNumber(bytes, offset, 2), "u16 is the number that is there");
  promise(reader.u32(offset) == plainNumber(bytes, offset, 4), "u32 is the number that is there");

  const std::size_t left = offset < bytes.size() ? bytes.size() - offset : 0;
  const bool isWhole = offset <= bytes.size() && count <= left;
  const auto run = reader.bytes(offset, count);
  promise(run.has_value() == isWhole, "a run is there when it lies whole before the end");
  if (run) {
    promise(run->size() == count, "a run has as many bytes as were asked for");
    promise(run->data() == bytes.data() + offset, "a run begins at its offset");
  }

  const auto part = reader.bytesAsFarAsTheyGo(offset, count);
  promise(part.size() == std::min(count, left), "a run that is cut has what is there of it");
  promise(part.empty() || part.data() == bytes.data() + offset, "a cut run begins at its offset");
}

}  // namespace

// Two bytes each for an offset and a count, then what is read.
void tryInput(std::span<const std::uint8_t> input) {
  if (input.size() < 4) return;
  const std::size_t offset = input[0] * std::size_t{256} + input[1];
  const std::size_t count = input[2] * std::size_t{256} + input[3];
  const auto bytes = input.subspan(4);
  constexpr std::size_t kLargest = std::numeric_limits<std::size_t>::max();
  tryOffset(bytes, offset, count);
  tryOffset(bytes, kLargest - offset, count);
  tryOffset(bytes, offset, kLargest - count);
  tryOffset(bytes, kLargest - offset, kLargest - count);
}

}  // namespace moxsupply::fuzzing
