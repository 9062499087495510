#pragma once

#include <string>
#include <vector>

namespace moxsupply {

// Rows of cells, as `forTerminal` gives them, one line each: every column is as wide as its widest
// cell, and two blanks part it from the next. No line ends in blanks.
std::string inColumns(const std::vector<std::vector<std::string>>& rows);

}  // namespace moxsupply
