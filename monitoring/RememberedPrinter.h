#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "history/Events.h"
#include "history/Moment.h"
#include "history/Prospect.h"
#include "history/Store.h"
#include "text/Problem.h"

namespace moxsupply {

// The level of one cartridge over its life, in at most kMostPoints points.
struct Curve {
  static constexpr std::size_t kMostPoints = 60;

  struct Point {
    std::uint32_t seconds = 0;         // since `begin`
    std::optional<std::int8_t> level;  // percent; none where it was not known
    friend bool operator==(const Point&, const Point&) = default;
  };

  Moment begin;
  std::vector<Point> points;  // the first and the last reading are among them
};

// What is remembered of a toner or ink besides its prospect.
struct RememberedCartridge {
  Curve curve;
  bool hasBecomeLow = false;
};

struct RememberedEvent {
  Moment moment;
  std::uint32_t supply = 0;  // its number
  Event event = Event::kPresent;
  std::string because;  // in words
};

// What is kept in memory of what a store has of a printer: a few KB, however many its readings are.
struct RememberedPrinter {
  static constexpr std::size_t kMostEvents = 30;

  PrinterProspects prospects;                   // of the toners and inks of its last reading
  std::vector<RememberedCartridge> cartridges;  // these, in the same order
  std::vector<RememberedEvent> events;          // the newest first, at most kMostEvents
  std::array<std::uint64_t, kEventWords.size()> eventCounts =
      {};  // of all, in the order of kEventWords
};

// Looks at all readings of a printer. Nothing where there are none. `isOver`: gives up, with
// nothing, as soon as it says so. `take`: gets each event, in the order of time.
[[nodiscard]] Result<std::optional<RememberedPrinter>> rememberedPrinter(
    Store& store, const std::string& printer, const std::function<bool()>& isOver,
    const std::function<void(const SupplyEvent&)>& take);

}  // namespace moxsupply
