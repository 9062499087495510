#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "history/Events.h"
#include "history/Moment.h"
#include "history/Reading.h"

namespace moxsupply {

// A known level of a cartridge, in percent.
struct LevelAt {
  Moment moment;
  int level = 0;
  std::optional<std::uint32_t> printed = {};  // pages since it went in, where the printer tells
};

// One cartridge, from the first reading of it to the last before another one was seen in its place.
struct CartridgeLife {
  Moment begin;                 // its first reading, with or without a level
  Moment end;                   // its last one
  std::vector<LevelAt> levels;  // in the order of time; readings without a level are left out
  std::optional<Moment> lowAt;  // the events of this life
  std::optional<Moment> emptyAt;
};

// What one place of a printer remembers.
struct SupplyLives {
  ReadSupply last;                   // the last reading of it, as it stands there
  std::string part;                  // the last that was told, in whichever life; or empty
  std::vector<CartridgeLife> lives;  // never empty; the last one is now
};

// The lives of the toners and inks of one printer, from its readings.
class PrinterLives {
 public:
  explicit PrinterLives(int lowLevel = kLowLevel) : mWatch(lowLevel) {}

  // Takes the next reading, in the order of time, and returns what happened.
  std::vector<SupplyEvent> take(const Reading& reading);

  // By number, also those that the last reading does not have any more.
  [[nodiscard]] const std::map<std::uint32_t, SupplyLives>& supplies() const { return mSupplies; }

 private:
  EventWatch mWatch;
  std::map<std::uint32_t, SupplyLives> mSupplies;
};

}  // namespace moxsupply
