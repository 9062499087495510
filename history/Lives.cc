#include "history/Lives.h"

namespace moxsupply {

std::vector<SupplyEvent> PrinterLives::take(const Reading& reading) {
  std::vector<SupplyEvent> events = mWatch.take(reading);
  const CartridgeLife begun = {reading.moment, reading.moment, {}, {}, {}};
  for (const SupplyEvent& event : events) {
    if (event.event == Event::kReplaced) mSupplies.at(event.supply).lives.push_back(begun);
  }
  for (const ReadSupply& supply : reading.supplies) {
    if (!isCartridge(supply)) continue;
    SupplyLives& lives = mSupplies[supply.number];
    if (lives.lives.empty()) lives.lives.push_back(begun);
    lives.last = supply;
    if (!supply.part.empty()) lives.part = supply.part;
    CartridgeLife& life = lives.lives.back();
    life.end = reading.moment;
    if (supply.level) life.levels.push_back({reading.moment, *supply.level, supply.pages.printed});
  }
  for (const SupplyEvent& event : events) {
    CartridgeLife& life = mSupplies.at(event.supply).lives.back();
    if (event.event == Event::kLow) life.lowAt = event.moment;
    if (event.event == Event::kEmpty) life.emptyAt = event.moment;
  }
  return events;
}

}  // namespace moxsupply
