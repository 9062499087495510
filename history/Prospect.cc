#include "history/Prospect.h"

namespace moxsupply {

PrinterProspects prospectsOf(const Reading& last, const PrinterLives& lives) {
  PrinterProspects prospects = {last.printer, std::nullopt, last.moment, {}};
  if (const auto place = last.labels.find("place"); place != last.labels.end()) {
    prospects.place = place->second;
  }
  for (const ReadSupply& supply : last.supplies) {
    if (!isCartridge(supply)) continue;
    const SupplyLives& remembered = lives.supplies().at(supply.number);
    prospects.supplies.push_back({supply.number, supply.name, supply.kind, remembered.part,
                                  attentionNow(remembered), forecastOf(remembered)});
  }
  return prospects;
}

}  // namespace moxsupply
