#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "history/Events.h"
#include "history/Moment.h"
#include "history/Prospect.h"

namespace moxsupply {

// The level of one cartridge over its life, in at most kMostPoints points.
struct Curve {
  static constexpr std::size_t kMostPoints = 60;

  struct Point {
    std::uint32_t seconds = 0;         // since `begin`
    std::optional<std::int8_t> level;  // percent; none where it was not known
  };

  Moment begin;
  std::vector<Point> points;  // the first and the last reading are among them
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

  PrinterProspects prospects;             // of the toners and inks of its last reading
  std::map<std::uint32_t, Curve> curves;  // of these
  std::vector<RememberedEvent> events;    // the newest first, at most kMostEvents
};

}  // namespace moxsupply
