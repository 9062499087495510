#pragma once

#include <optional>
#include <string>
#include <vector>

namespace moxsupply {

// A filter as a PPD file names it: `TYPE [RESULT-TYPE] COST PROGRAM`.
struct FilterLine {
  std::string type;        // what it takes
  std::string resultType;  // what it makes; empty: what the printer takes
  int cost = 0;
  std::string program;  // its path, or its name in the print server's folder of filters

  // The value of the line.
  [[nodiscard]] std::string text() const;
};

// Nothing when it is no such line, and when it names no program: "-" passes its document on.
[[nodiscard]] std::optional<FilterLine> filterLineFrom(const std::string& text);

// The one by which the print server has command files answered, of all filter lines that count;
// nothing where it takes none. `refusesCommands`: the PPD file has the line `*cupsCommands:
// "none"`.
[[nodiscard]] std::optional<FilterLine> commandFilterAmong(const std::vector<std::string>& lines,
                                                           bool refusesCommands);

}  // namespace moxsupply
