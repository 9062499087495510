#include "text/Columns.h"

#include <algorithm>

#include "text/TerminalText.h"

namespace moxsupply {

std::string inColumns(const std::vector<std::vector<std::string>>& rows) {
  std::vector<int> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], columnsOf(row[i]));
  }
  constexpr int kGap = 2;
  std::string text;
  for (const auto& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      text += row[i];
      if (i + 1 == row.size()) break;
      const int gap = widths[i] - columnsOf(row[i]) + kGap;
      text.append(static_cast<std::size_t>(gap), ' ');
    }
    text.erase(text.find_last_not_of(' ') + 1);
    text += '\n';
  }
  return text;
}

}  // namespace moxsupply
