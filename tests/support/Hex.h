#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace moxsupply::testing {

using Bytes = std::vector<std::uint8_t>;

// The bytes that `text` writes as pairs of hex digits. White space stands anywhere between pairs,
// and from a '#' to the end of its line is comment. Ends the program with a message on anything
// else: a typing mistake in a test must not pass for bytes.
Bytes hex(std::string_view text);

// The bytes one after the other.
Bytes joined(std::initializer_list<Bytes> parts);

// `count` times `byte`.
Bytes repeated(std::uint8_t byte, std::size_t count);

// The other way round: "A5 00 0C".
std::string hexText(std::span<const std::uint8_t> bytes);

// `text` as its bytes.
Bytes bytesOf(std::string_view text);

}  // namespace moxsupply::testing
