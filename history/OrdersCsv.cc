#include "history/OrdersCsv.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "supplies/Words.h"
#include "text/HarmlessText.h"

namespace moxsupply {

namespace {

std::string neededIn(const Order& order) {
  std::string needed;
  for (const Order::Needed& one : order.needed) {
    needed += fmt::format("{}{} supply {}{}", needed.empty() ? "" : "; ", one.printer, one.supply,
                          one.place ? fmt::format(" ({})", *one.place) : "");
  }
  return needed;
}

// A text as a cell of a table in a file: one line, between quotes, and no formula, which a
// spreadsheet would work out, with whatever a printer calls its cartridge.
std::string csvCell(std::string_view text) {
  // The wide ones are what the others are where wide characters are typed.
  constexpr auto kBeginFormulas =
      std::to_array<std::string_view>({"=", "+", "-", "@", "＝", "＋", "－", "＠"});
  const std::string line = harmlessLine(text, std::string::npos);
  std::string cell = "\"";
  const bool isFormula = std::ranges::any_of(
      kBeginFormulas, [&](std::string_view begin) { return line.starts_with(begin); });
  if (isFormula) cell += '\'';
  for (const char c : line) {
    if (c == '"') cell += '"';
    cell += c;
  }
  return cell + '"';
}

}  // namespace

std::vector<std::string> cellsOf(const Order& order, std::string by) {
  return {order.part,
          order.name,
          std::string(wordOf(order.kind)),
          std::to_string(order.needed.size()),
          std::move(by),
          neededIn(order)};
}

std::string asCsv(const std::vector<Order>& orders) {
  std::string csv = "part,name,type,count,by,needed\r\n";
  for (const Order& order : orders) {
    std::string row;
    for (const std::string& cell : cellsOf(order, momentAsText(order.by()))) {
      row += (row.empty() ? "" : ",") + csvCell(cell);
    }
    csv += row + "\r\n";
  }
  return csv;
}

}  // namespace moxsupply
