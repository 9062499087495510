#include "history/Orders.h"

#include <algorithm>
#include <map>
#include <tuple>

namespace moxsupply {

std::optional<Moment> neededBy(const Prospect& supply, Moment at, std::chrono::days within) {
  const Forecast& forecast = supply.forecast;
  switch (supply.attention) {
    case Attention::kEmpty:
    case Attention::kMissing:
    case Attention::kWrong:
      return forecast.asOf;
    case Attention::kLow:
      if (!forecast.emptyAt) return forecast.asOf;
      break;
    case Attention::kNone:
      break;
  }
  if (!forecast.emptyAt || between(at, forecast.emptyAt->earliest) > within) return std::nullopt;
  return forecast.emptyAt->earliest;
}

namespace {

// A supply for which another cartridge is needed.
struct Demand {
  const PrinterProspects* printer = nullptr;
  const Prospect* supply = nullptr;
  Moment by;
};

}  // namespace

Orders ordersFor(const std::vector<PrinterProspects>& printers, Moment at,
                 std::chrono::days within) {
  Orders orders;
  std::vector<Demand> demands;
  for (const PrinterProspects& printer : printers) {
    if (between(printer.asOf, at) >= kSilent) {
      ++orders.silent;
      continue;
    }
    for (const Prospect& supply : printer.supplies) {
      if (const auto by = neededBy(supply, at, within)) demands.push_back({&printer, &supply, *by});
    }
  }
  std::ranges::stable_sort(demands, {}, &Demand::by);

  // Where each kind is in the list: by part, or else by name and type.
  std::map<std::tuple<std::string, std::string, SupplyKind>, std::size_t> places;
  for (const auto& [printer, supply, by] : demands) {
    const auto kind = supply->part.empty() ? std::tuple(std::string(), supply->name, supply->kind)
                                           : std::tuple(supply->part, std::string(), SupplyKind());
    const auto [place, isNew] = places.try_emplace(kind, orders.list.size());
    if (isNew) orders.list.push_back({supply->part, supply->name, supply->kind, {}});
    orders.list[place->second].needed.push_back(
        {printer->printer, supply->supply, printer->place, by});
  }
  return orders;
}

}  // namespace moxsupply
