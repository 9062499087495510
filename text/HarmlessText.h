#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace moxsupply {

// Whether a character from elsewhere can do harm where it is shown: a control character moves a
// terminal's cursor or ends a line; separators end a line too; and invisible characters change the
// direction of writing or hide text.
bool isHarmful(char32_t c);

// Whether nothing is to be seen of a character alone: what is harmful, blanks, fillers, joiners.
bool showsNothing(char32_t c);

// Whether nothing is to be seen of a text from anywhere.
bool showsNothing(std::string_view text);

// Text from anywhere as one line of UTF-8 without harmful characters: a blank stands for each, and
// for several blanks together, and none at the ends. Bytes that are no UTF-8 become U+FFFD. Cut
// after a whole character to at most `mostBytes`.
std::string harmlessLine(std::string_view text, std::size_t mostBytes);

}  // namespace moxsupply
