#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace moxsupply {

// What a command has written, and how it ended.
struct Written {
  int exitStatus = 1;
  std::string output = {};
  std::string errors = {};
};

// As one process hands it to another: the exit status as a letter, and what goes to standard
// output, up to a byte 0.
[[nodiscard]] std::string packed(const Written& written);
[[nodiscard]] std::optional<Written> unpacked(std::string_view text);

// The same of several, one behind the other, of texts without a byte 0. `takePacked` takes the
// first off `text`, where it is whole.
[[nodiscard]] std::string packedOfSeveral(const Written& written);
[[nodiscard]] std::optional<Written> takePacked(std::string_view& text);

}  // namespace moxsupply
