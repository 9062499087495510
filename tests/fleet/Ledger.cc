#include "tests/fleet/Ledger.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <functional>
#include <utility>

namespace moxsupply::testing {

namespace {

constexpr std::chrono::hours kDay(24);
constexpr std::chrono::minutes kSetRight(5);

std::uint8_t presenceOf(SupplyStatus status) {
  if (status == SupplyStatus::kMissing) return 1;
  return status == SupplyStatus::kInvalid || status == SupplyStatus::kIncorrect ? 2 : 0;
}

}  // namespace

std::size_t Ledger::contentOf(Reading reading) {
  reading.moment = {};
  reading.time = momentAsText({});
  return std::hash<std::string>()(asJson(reading));
}

void Ledger::take(const Reading& reading, const Shown& shown, const Instant& now) {
  auto& entries = mEntries[reading.printer];
  Moment moment = reading.moment;
  if (!entries.empty() && moment < entries.back().kept.moment - kSetRight) {
    std::erase_if(entries, [&](const Entry& entry) { return entry.kept.moment > moment; });
    mTakenOut.insert(reading.printer);
  }
  const std::size_t content = contentOf(reading);
  if (!entries.empty()) {
    const Kept& last = entries.back().kept;
    if (last.content == content && moment - last.moment < kDay) return;
    moment = std::max(moment, last.moment + std::chrono::milliseconds(1));
  }
  Entry entry = {{moment, content}, {}};
  if (!entries.empty()) entry.cartridges = entries.back().cartridges;
  Reading kept = reading;
  kept.moment = moment;
  note(kept, shown, now, entry.cartridges);
  entries.push_back(std::move(entry));
}

void Ledger::note(const Reading& reading, const Shown& shown, const Instant& now,
                  std::vector<Cartridge>& cartridges) {
  cartridges.resize(std::max(cartridges.size(), reading.supplies.size()));
  for (const ReadSupply& supply : reading.supplies) {
    if (!isCartridge(supply)) continue;
    Cartridge& place = cartridges.at(supply.number - 1);
    const std::uint64_t number = shown.cartridges.at(supply.number - 1);
    const auto happens = [&](Event event) {
      mHappened.emplace(Key(reading.printer, supply.number, reading.moment, event),
                        Happened{now.time, place.number, reading.moment > now.moment - kDay});
    };
    const auto presence = presenceOf(supply.status);
    const auto before = std::exchange(place.presence, presence);
    if (number != 0 && number != place.number) {
      const bool isFirst = place.number == 0;
      place = {.number = number, .presence = presence};
      if (!isFirst) happens(Event::kReplaced);
    }
    if (presence != before) {
      constexpr std::array kEvents = {Event::kPresent, Event::kMissing, Event::kWrong};
      happens(kEvents.at(presence));
    }
    if (supply.level && *supply.level <= kLowLevel && !std::exchange(place.wasLow, true)) {
      happens(Event::kLow);
    }
    const bool isEmpty = supply.status == SupplyStatus::kEmpty || supply.level == Level(0);
    if (isEmpty && !std::exchange(place.wasEmpty, true)) happens(Event::kEmpty);
  }
}

std::vector<Ledger::Kept> Ledger::keptOf(const std::string& printer) const {
  std::vector<Kept> kept;
  const auto found = mEntries.find(printer);
  if (found == mEntries.end()) return kept;
  for (const Entry& entry : found->second) kept.push_back(entry.kept);
  return kept;
}

std::size_t Ledger::kept() const {
  std::size_t count = 0;
  for (const auto& [printer, entries] : mEntries) count += entries.size();
  return count;
}

Ledger::Happened* Ledger::told(const Key& key) {
  const auto found = mHappened.find(key);
  return found == mHappened.end() ? nullptr : &found->second;
}

}  // namespace moxsupply::testing
