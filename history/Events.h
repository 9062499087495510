#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "history/Moment.h"
#include "history/Reading.h"
#include "supplies/Attention.h"
#include "supplies/Words.h"

namespace moxsupply {

// What happened to a toner or an ink. At one reading they happen in this order.
enum class Event : std::uint8_t { kPresent, kReplaced, kMissing, kWrong, kLow, kEmpty };

constexpr std::array<Word<Event>, 6> kEventWords = {{
    {Event::kPresent, "present"},
    {Event::kReplaced, "replaced"},
    {Event::kMissing, "missing"},
    {Event::kWrong, "wrong"},
    {Event::kLow, "low"},
    {Event::kEmpty, "empty"},
}};
[[nodiscard]] constexpr std::string_view wordOf(Event event) { return wordIn(kEventWords, event); }

struct SupplyEvent {
  Moment moment;
  std::string time;  // the moment as the reading wrote it
  std::string printer;
  std::uint32_t supply = 0;  // its number
  Event event = Event::kPresent;
  std::string because;  // in words
};

// An event as one line of JSON, without the line's end.
[[nodiscard]] std::string asJson(const SupplyEvent& event);

// What is known of the cartridge that is in one place: its life goes until another one is seen
// there.
class CartridgeWatch {
 public:
  struct Seen {
    Event event;
    std::string because;
  };

  // Takes the next reading of it, and returns what happened, in the order of Event. A level at or
  // below `lowLevel` is low.
  std::vector<Seen> take(const ReadSupply& supply, int lowLevel);

 private:
  enum class Presence : std::uint8_t { kThere, kMissing, kWrong };

  static Presence presenceOf(SupplyStatus status);
  [[nodiscard]] std::optional<std::string> whyAnother(const ReadSupply& supply) const;
  [[nodiscard]] std::optional<std::string> whyAnotherByLevel(const ReadSupply& supply) const;

  // What this life told last.
  std::string mSerial;
  std::string mPart;
  std::optional<std::uint32_t> mPrinted;
  std::optional<int> mLevel;

  bool mWasLow = false;  // in this life
  bool mWasEmpty = false;
  Presence mPresence = Presence::kThere;  // whatever the life
  int mStep = 0;                          // the greatest divisor of all levels so far
};

// Watches the cartridges of one printer.
class EventWatch {
 public:
  explicit EventWatch(int lowLevel = kLowLevel) : mLowLevel(lowLevel) {}

  // Takes its next reading, and returns what happened, by event and then by the supply's number.
  std::vector<SupplyEvent> take(const Reading& reading);

 private:
  int mLowLevel;
  std::map<std::uint32_t, CartridgeWatch> mCartridges;
};

}  // namespace moxsupply
