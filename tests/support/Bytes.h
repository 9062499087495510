#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace moxsupply::testing {

// Bytes, and how tests put them together. Each result lies in a heap block of just its size: a read
// past its end shows.
using Bytes = std::vector<std::uint8_t>;

// `text` as its bytes.
Bytes bytesOf(std::string_view text);

// A big-endian number, cut to its width.
Bytes u8(std::uint32_t number);
Bytes u16(std::uint32_t number);
Bytes u32(std::uint32_t number);

// The bytes one after the other.
Bytes joined(const std::vector<Bytes>& parts);

// `count` times `byte`.
Bytes repeated(std::uint8_t byte, std::size_t count);

// The first `count` bytes, and those from `offset` on; all or none where there are fewer.
Bytes firstBytes(const Bytes& bytes, std::size_t count);
Bytes bytesFrom(const Bytes& bytes, std::size_t offset);

// Writes `piece` over the bytes from `offset` on, which must be there.
void put(Bytes& bytes, std::size_t offset, const Bytes& piece);

}  // namespace moxsupply::testing
