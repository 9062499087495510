#include "history/Events.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <numeric>
#include <tuple>
#include <utility>

#include "history/LevelStep.h"
#include "json/AsciiJson.h"

namespace moxsupply {

namespace {

// A level rises by less than this without a new cartridge: one that was shaken by up to 15 points,
// and every level may be told 3 too high or too low. A printer that tells quarters may be one off.
constexpr int kRiseOfANewOne = 25;

// A counter of pages goes back by so many where a printer was switched off before it kept the last.
constexpr std::uint32_t kMostPagesBack = 10;

bool isEmpty(const ReadSupply& supply) {
  return supply.status == SupplyStatus::kEmpty || supply.level == Level(0);
}

}  // namespace

std::string asJson(const SupplyEvent& event) {
  return asciiJson(nlohmann::ordered_json{{"time", event.time},
                                          {"printer", event.printer},
                                          {"supply", event.supply},
                                          {"event", wordOf(event.event)},
                                          {"because", event.because}});
}

CartridgeWatch::Presence CartridgeWatch::presenceOf(SupplyStatus status) {
  switch (status) {
    case SupplyStatus::kMissing:
      return Presence::kMissing;
    case SupplyStatus::kInvalid:
    case SupplyStatus::kIncorrect:
      return Presence::kWrong;
    case SupplyStatus::kCorrect:
    case SupplyStatus::kEmpty:
      break;
  }
  return Presence::kThere;
}

std::optional<std::string> CartridgeWatch::whyAnotherByLevel(const ReadSupply& supply) const {
  if (!mLevel || !supply.level) return std::nullopt;
  const int rise = *supply.level - *mLevel;
  if (rise < kRiseOfANewOne || rise <= levelStep(std::gcd(mStep, *supply.level)))
    return std::nullopt;
  return fmt::format("the level rose from {} to {}", *mLevel, *supply.level);
}

// The first of these that both sides tell of decides, unless it leaves the matter to the next.
std::optional<std::string> CartridgeWatch::whyAnother(const ReadSupply& supply) const {
  if (!mSerial.empty() && !supply.serial.empty()) {
    if (mSerial == supply.serial) return std::nullopt;
    return fmt::format("serial number {} instead of {}", supply.serial, mSerial);
  }
  if (!mPart.empty() && !supply.part.empty() && mPart != supply.part) {
    return fmt::format("part {} instead of {}", supply.part, mPart);
  }
  if (mPrinted && supply.pages.printed) {
    const std::uint32_t printed = *supply.pages.printed;
    if (printed >= *mPrinted) return std::nullopt;
    if (*mPrinted - printed > kMostPagesBack) {
      return fmt::format("the pages that it printed fell from {} to {}", *mPrinted, printed);
    }
  }
  return whyAnotherByLevel(supply);
}

std::vector<CartridgeWatch::Seen> CartridgeWatch::take(const ReadSupply& supply, int lowLevel) {
  std::vector<Seen> seen;
  const auto why = whyAnother(supply);
  if (why) {
    mSerial.clear();
    mPart.clear();
    mPrinted.reset();
    mLevel.reset();
    mWasLow = mWasEmpty = false;
  }
  if (!supply.serial.empty()) mSerial = supply.serial;
  if (!supply.part.empty()) mPart = supply.part;
  if (supply.pages.printed) mPrinted = supply.pages.printed;
  if (supply.level) {
    mLevel = *supply.level;
    mStep = std::gcd(mStep, *mLevel);
  }

  const Presence before = std::exchange(mPresence, presenceOf(supply.status));
  const bool isOther = mPresence != before;
  if (isOther && mPresence == Presence::kThere) {
    seen.push_back(
        {Event::kPresent, before == Presence::kMissing ? "it was missing" : "it was wrong"});
  }
  if (why) seen.push_back({Event::kReplaced, *why});
  if (isOther && mPresence == Presence::kMissing) {
    seen.push_back({Event::kMissing, "the printer says that it is missing"});
  }
  if (isOther && mPresence == Presence::kWrong) {
    seen.push_back({Event::kWrong, supply.status == SupplyStatus::kInvalid
                                       ? "the printer says that it is not made for it"
                                       : "the printer says that it is in the wrong place"});
  }
  if (supply.level && *supply.level <= lowLevel && !std::exchange(mWasLow, true)) {
    seen.push_back(
        {Event::kLow, fmt::format("the level is {}, and {} is low", *supply.level, lowLevel)});
  }
  if (isEmpty(supply) && !std::exchange(mWasEmpty, true)) {
    seen.push_back({Event::kEmpty, supply.status == SupplyStatus::kEmpty ? "the printer says so"
                                                                         : "the level is 0"});
  }
  return seen;
}

std::vector<SupplyEvent> EventWatch::take(const Reading& reading) {
  std::vector<SupplyEvent> events;
  for (const ReadSupply& supply : reading.supplies) {
    if (!isCartridge(supply)) continue;
    for (auto& [event, because] : mCartridges[supply.number].take(supply, mLowLevel)) {
      events.push_back({reading.moment, reading.time, reading.printer, supply.number, event,
                        std::move(because)});
    }
  }
  std::ranges::sort(events, {},
                    [](const SupplyEvent& event) { return std::tuple(event.event, event.supply); });
  return events;
}

}  // namespace moxsupply
