#include "queue/FilterLine.h"

#include <fmt/format.h>
#include <strings.h>

#include <algorithm>
#include <sstream>

#include "queue/PpdFile.h"

namespace moxsupply {

namespace {

// Types are taken in any letters.
bool isFromPostScript(const std::string& line) {
  const std::string type = line.substr(0, line.find_first_of(" \t"));
  return ::strcasecmp(type.c_str(), "application/vnd.cups-postscript") == 0;
}

}  // namespace

std::string FilterLine::text() const {
  return fmt::format("{} {}{}{} {}", type, resultType, resultType.empty() ? "" : " ", cost,
                     program);
}

std::optional<FilterLine> filterLineFrom(const std::string& text) {
  FilterLine line;
  std::istringstream words(text);
  words >> line.type;
  if (!(words >> line.cost)) {
    words.clear();
    words >> line.resultType >> line.cost;
  }
  std::getline(words >> std::ws, line.program);
  // A limit for the size of its documents may stand before the program.
  if (line.program.starts_with("maxsize(")) {
    line.program.erase(0, line.program.find(')'));
    line.program.erase(0, line.program.find_first_not_of(") \t"));
  }
  if (line.program.empty() || line.program == "-") return std::nullopt;
  return line;
}

// A print server gives PostScript printers a command filter by itself.
std::optional<FilterLine> commandFilterAmong(const std::vector<std::string>& lines,
                                             bool refusesCommands) {
  std::vector<FilterLine> found;
  bool hasOne = false;
  for (const std::string& text : lines) {
    if (!isForCommandFiles(text)) continue;
    hasOne = true;
    if (auto line = filterLineFrom(text)) found.push_back(*std::move(line));
  }
  if (!found.empty()) return *std::ranges::min_element(found, {}, &FilterLine::cost);
  const bool isPostScript = lines.empty() || std::ranges::any_of(lines, isFromPostScript);
  if (hasOne || refusesCommands || !isPostScript) return std::nullopt;
  return FilterLine{"application/vnd.cups-command", "application/postscript", 0, "commandtops"};
}

}  // namespace moxsupply
