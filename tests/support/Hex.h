#pragma once

#include <span>
#include <string>
#include <string_view>

#include "tests/support/Bytes.h"

namespace moxsupply::testing {

// The bytes that `text` writes as pairs of hex digits. White space stands anywhere between pairs,
// and from a '#' to the end of its line is comment. Ends the program with a message on anything
// else: a typing mistake in a test must not pass for bytes.
Bytes hex(std::string_view text);

// The other way round: "A5 00 0C".
std::string hexText(std::span<const std::uint8_t> bytes);

}  // namespace moxsupply::testing
