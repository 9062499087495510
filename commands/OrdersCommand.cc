#include "commands/OrdersCommand.h"

#include <fmt/format.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "commands/StoreOption.h"
#include "history/Orders.h"
#include "history/OrdersCsv.h"
#include "history/RememberedPrinters.h"
#include "json/AsciiJson.h"
#include "supplies/Words.h"
#include "text/Columns.h"
#include "text/TerminalText.h"

namespace moxsupply {

namespace {

constexpr std::string_view kCommand = "orders";

enum class OrderFormat : std::uint8_t { kTable, kCsv, kJson };

struct OrdersOptions {
  std::string store;
  std::optional<Moment> at;
  std::uint32_t within = 14;  // days
  std::optional<OrderFormat> format;
};

std::string jsonOf(const Order& order) {
  using Json = nlohmann::ordered_json;
  Json needed = Json::array();
  for (const Order::Needed& one : order.needed) {
    needed.push_back({{"printer", one.printer},
                      {"supply", one.supply},
                      {"place", one.place ? Json(*one.place) : Json()}});
  }
  return asciiJson(Json{{"part", order.part.empty() ? Json() : Json(order.part)},
                        {"name", order.name},
                        {"type", wordOf(order.kind)},
                        {"count", order.needed.size()},
                        {"by", momentAsText(order.by())},
                        {"needed", needed}}) +
         '\n';
}

std::string tableOf(const std::vector<Order>& orders) {
  std::vector<std::vector<std::string>> rows = {
      {"PART", "NAME", "TYPE", "COUNT", "BY", "NEEDED IN"}};
  for (const Order& order : orders) {
    std::vector<std::string> row = cellsOf(order, dayOf(order.by()));
    for (std::string& cell : row) cell = forTerminal(cell);
    if (row.front().empty()) row.front() = '-';
    rows.push_back(std::move(row));
  }
  return inColumns(rows);
}

std::string textOf(const std::vector<Order>& orders, OrderFormat format) {
  switch (format) {
    case OrderFormat::kTable:
      return tableOf(orders);
    case OrderFormat::kCsv:
      return asCsv(orders);
    case OrderFormat::kJson:
      break;
  }
  std::string lines;
  for (const Order& order : orders) lines += jsonOf(order);
  return lines;
}

OrderFormat chosenFormat(std::optional<OrderFormat> format) {
  if (format) return *format;
  return ::isatty(STDOUT_FILENO) == 1 ? OrderFormat::kTable : OrderFormat::kJson;
}

int runOrders(const OrdersOptions& options) {
  auto store = openStoreToRead(kCommand, options.store);
  if (!store) return complain(kCommand, store.error());
  const Moment at = momentOrNow(options.at);
  std::vector<PrinterProspects> printers;
  const auto told =
      forEachRemembered(*store, std::nullopt, at,
                        [&](const PrinterProspects& printer) { printers.push_back(printer); });
  if (!told) return complain(kCommand, told.error());
  const Orders orders = ordersFor(printers, at, std::chrono::days(options.within));
  const int exitStatus = print(kCommand, textOf(orders.list, chosenFormat(options.format)));
  if (orders.silent > 0) {
    fmt::print(
        stderr, "moxsupply orders: {} not read for {} days, and not counted\n",
        orders.silent == 1 ? "1 printer was" : fmt::format("{} printers were", orders.silent),
        kSilent.count());
  }
  return exitStatus;
}

}  // namespace

Command ordersCommand() {
  constexpr std::uint32_t kMostDays = 100000;
  const auto options = std::make_shared<OrdersOptions>();
  return {
      .name = kCommand,
      .usage =
          "moxsupply orders [--store FILE] [--at TIME] [--within DAYS]\n"
          "                        [--format table|csv|json]",
      .about =
          "Tell which cartridges to buy so that no printer runs out.\n"
          "\n"
          "One line for each kind of cartridge, by when it is needed: how many, and where. A "
          "cartridge\n"
          "counts that may be empty within the time, at the earliest of `moxsupply forecast`; that "
          "is\n"
          "empty, missing or wrong now; or that is low and has no forecast yet. A kind is a part\n"
          "number, or the name and the type where the printer does not tell one.",
      .footer =
          "Without --store, the readings are where `moxsupply history` looks for them. A printer "
          "that\n"
          "was not read for 90 days counts no more, which is said on standard error.\n"
          "\n"
          "Exit status: 0 it worked; 1 the store cannot be used, or is not there; 2 the arguments "
          "are\n"
          "wrong.\n",
      .options = {storeOption(options->store),
                  moment("--at", options->at,
                         "as if it were this time, such as\n"
                         "2026-11-21T08:00:00Z; nothing later is looked at"),
                  wholeNumber("--within", options->within, {0, kMostDays}, "DAYS",
                              "what is needed until then (14)"),
                  choice<std::optional<OrderFormat>>("--format", options->format,
                                                     {{"table", OrderFormat::kTable},
                                                      {"csv", OrderFormat::kCsv},
                                                      {"json", OrderFormat::kJson}},
                                                     "FORMAT",
                                                     "table, csv with a heading, or json: a line "
                                                     "each (on a terminal table)")},
      .run = [options] { return runOrders(*options); },
  };
}

}  // namespace moxsupply
