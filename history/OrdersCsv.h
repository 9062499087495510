#pragma once

#include <string>
#include <vector>

#include "history/Orders.h"

namespace moxsupply {

// An order in the cells of a table: part, name, type, count, by, needed in. `by`: as it is to stand
// there.
[[nodiscard]] std::vector<std::string> cellsOf(const Order& order, std::string by);

// Orders as a file for spreadsheets (RFC 4180), with a heading and a row each. No text in it is a
// formula there.
[[nodiscard]] std::string asCsv(const std::vector<Order>& orders);

}  // namespace moxsupply
