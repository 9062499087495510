#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace moxsupply {

// A text as what it differs by from another one, which it resembles; or, where that one is empty,
// as itself, in fewer bytes. Of the other one the last 32 KB count.
[[nodiscard]] std::string deltaOf(std::string_view text, std::string_view base);

// The text again. Nothing when the delta or the base is not what it was, or when there is more text
// than `mostBytes`.
[[nodiscard]] std::optional<std::string> textOf(std::string_view delta, std::string_view base,
                                                std::size_t mostBytes);

}  // namespace moxsupply
