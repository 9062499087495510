#include "monitoring/OrdersPage.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>

#include "monitoring/Html.h"
#include "monitoring/ShownPrinter.h"
#include "supplies/Words.h"

namespace moxsupply {

namespace {

constexpr std::size_t kMostBytes = 1'700'000;  // of the rows, but for the last one
constexpr std::size_t kMostNeeded = 50;        // printers of a row
constexpr std::size_t kLongestPart = 40;       // bytes

std::string_view pluralOf(std::size_t count) { return count == 1 ? "" : "s"; }

std::string neededOf(const Order::Needed& needed, const FindListed& find) {
  const ListedPrinter* listed = find(needed.printer);
  const std::string printer =
      listed == nullptr
          ? escaped(needed.printer)
          : fmt::format("<a href=\"{}\">{}</a>", linkTo(*listed), escaped(listed->name));
  const std::string place = escaped(needed.place.value_or(""));
  return fmt::format("<li>{}, supply {}{}\n", printer, needed.supply,
                     place.empty() ? "" : " (" + place + ")");
}

std::string rowOf(const Order& order, const FindListed& find, Moment now) {
  std::string html = fmt::format("<tr><td>{}<td>{}<td>{}<td class=count>{}<td>{}<td><ul>\n",
                                 order.part.empty() ? "–" : escaped(order.part, kLongestPart),
                                 shownName(order.name), wordOf(order.kind), order.needed.size(),
                                 order.by() <= now ? "now" : dayOf(order.by()));
  const std::size_t shown = std::min(order.needed.size(), kMostNeeded);
  for (std::size_t i = 0; i < shown; ++i) html += neededOf(order.needed[i], find);
  if (shown < order.needed.size()) {
    html += fmt::format("<li>and {} more\n", order.needed.size() - shown);
  }
  return html + "</ul>\n";
}

std::string tableOf(const std::vector<Order>& orders, const FindListed& find, Moment now) {
  std::string html =
      "<table class=buy>\n<thead><tr><th scope=col>Part<th scope=col>Cartridge<th "
      "scope=col>Type<th scope=col class=count>Count<th scope=col>By<th scope=col>For</thead>\n"
      "<tbody>\n";
  std::size_t shown = 0;
  while (shown < orders.size() && html.size() < kMostBytes) {
    html += rowOf(orders[shown++], find, now);
  }
  html += "</tbody>\n</table>\n";
  if (shown < orders.size()) {
    html += fmt::format("<p>And {} more kinds, which the file has.</p>\n", orders.size() - shown);
  }
  return html;
}

}  // namespace

std::string ordersPage(const Orders& orders, std::chrono::days within, std::size_t unknown,
                       const FindListed& find, const PageMemory& memory) {
  const auto days = within.count();
  std::size_t cartridges = 0;
  for (const Order& order : orders.list) cartridges += order.needed.size();
  std::string html = pageBegins("To buy – Printer supplies", 0);
  html += fmt::format(
      "<header>\n<nav aria-label=Pages><a href=\"./\">← All printers</a></nav>\n"
      "<div class=title>\n<h1>To buy</h1>\n<p>so that no printer runs out within {} day{}, as of "
      "{}</p>\n</div>\n",
      days, pluralOf(static_cast<std::size_t>(days)), dayOf(memory.now));
  if (memory.isKept) {
    html += fmt::format(
        "<nav aria-label=Time>\n<form><label>Days <input type=number name=within min=0 max={} "
        "value={}></label><button>Show</button></form>\n<a href=\"orders.csv?within={}\">As a file "
        "for spreadsheets</a>\n</nav>\n",
        kMostDaysOfOrders.count(), days, days);
  }
  html += "</header>\n" + sayingWhyNothing(memory) + "<main>\n";
  if (!orders.list.empty()) {
    html += fmt::format("<p>{} cartridge{} of {} kind{}.</p>\n", cartridges, pluralOf(cartridges),
                        orders.list.size(), pluralOf(orders.list.size())) +
            tableOf(orders.list, find, memory.now);
  } else if (memory.isKept && memory.problem.empty()) {
    html += "<p class=empty>Nothing, by what is known.</p>\n";
  }
  if (orders.silent > 0) {
    html += fmt::format("<p class=quiet>{} printer{} not read for {} days, and not counted.</p>\n",
                        orders.silent, orders.silent == 1 ? " was" : "s were", kSilent.count());
  }
  if (memory.isKept && unknown > 0) {
    html += fmt::format(
        "<p class=quiet>Of {} printer{} nothing is remembered yet, and {} not counted.</p>\n",
        unknown, pluralOf(unknown), unknown == 1 ? "it is" : "they are");
  }
  html += "</main>\n";
  return html.append(kPageEnds);
}

}  // namespace moxsupply
