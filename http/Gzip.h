#pragma once

#include <string>
#include <string_view>

namespace moxsupply {

// The text, compressed as HTTP's "gzip" has it.
[[nodiscard]] std::string gzip(std::string_view text);

}  // namespace moxsupply
