#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

namespace moxsupply {

// Writes a new file beside `path` and puts it in its place, so that no reader sees half of it, and
// that the old one is still there when this fails. `mode` is the new one's, whatever the umask.
// Returns 0, or the errno of what went wrong.
[[nodiscard]] int replaceFile(const std::string& path, std::string_view content, mode_t mode);

}  // namespace moxsupply
