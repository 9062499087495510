#pragma once

#include <string>
#include <string_view>

namespace moxsupply {

// Text from anywhere as people copy it from the terminal into a shell, which takes it for one word,
// and for this very text; and harmless for the terminal. What a terminal would not show as it is
// becomes numbers that the shell's printf writes. (A shell takes newlines off the end of these.)
std::string shellWord(std::string_view text);

}  // namespace moxsupply
