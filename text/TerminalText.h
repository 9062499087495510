#pragma once

#include <string>
#include <string_view>

namespace moxsupply {

// Text from anywhere, made harmless for a terminal and for one line: control characters, line and
// paragraph separators, and the invisible characters that turn the direction of writing become
// visible escapes like \u202e; bytes that are no UTF-8 become U+FFFD. In a locale whose characters
// are not UTF-8, every other character than ASCII becomes '?'.
std::string forTerminal(std::string_view text);

// Whether the process's locale writes UTF-8.
bool localeIsUtf8();

// How wide what goes to standard output may be: the terminal's columns, and 80 where it is none.
int columnsOfOutput();

// How many columns `text`, as forTerminal gives it, takes on a terminal.
int columnsOf(std::string_view text);

// `text`, as forTerminal gives it, cut to at most `columns` columns, with an ellipsis where it was.
std::string cutToColumns(std::string_view text, int columns);

}  // namespace moxsupply
