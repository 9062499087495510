#pragma once

#include <cstddef>
#include <string>
#include <tl/expected.hpp>

namespace moxsupply {

enum class Links : bool { kRefused, kFollowed };

// All that is in a regular file, or the errno of what is wrong: EISDIR for a folder, EINVAL for
// what else is no regular file, EFBIG where there is more than `mostBytes`. Never waits: not for a
// pipe, nor for who writes it.
[[nodiscard]] tl::expected<std::string, int> readFile(const std::string& path,
                                                      std::size_t mostBytes,
                                                      Links links = Links::kFollowed);

// The same of an open file, wherever its position is.
[[nodiscard]] tl::expected<std::string, int> readFile(int file, std::size_t mostBytes);

}  // namespace moxsupply
