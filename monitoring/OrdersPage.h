#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "history/Orders.h"
#include "monitoring/PageMemory.h"
#include "monitoring/PrinterList.h"

namespace moxsupply {

// Finds a printer of the list by the name under which it is remembered; null where there is none.
using FindListed = std::function<const ListedPrinter*(std::string_view printer)>;

// The longest time that the page looks ahead.
constexpr std::chrono::days kMostDaysOfOrders(365);

// What to buy within so many days, for people, as HTML without scripts that prints well. `unknown`:
// printers of the list of which nothing is remembered. All text is escaped. At most 2,000,000
// bytes, whatever is needed.
[[nodiscard]] std::string ordersPage(const Orders& orders, std::chrono::days within,
                                     std::size_t unknown, const FindListed& find,
                                     const PageMemory& memory);

}  // namespace moxsupply
