#pragma once

#include <vector>

#include "history/Lives.h"

namespace moxsupply {

// How the level of one cartridge went down, freed of what is no use: jitter, and rises after it was
// shaken. Times are days, negative before the moment from which they count.
struct Descent {
  // How long no lower level was seen than this one.
  struct Plateau {
    double from = 0;  // its first and its last reading
    double to = 0;
    double level = 0;
  };
  // The level passed here, half way from one plateau to the next. A printer that rounds to steps of
  // ten shows 0 when a whole number of steps has been used since then, however it rounds.
  struct Passage {
    double at = 0;
    double level = 0;
  };

  std::vector<Plateau> plateaus;  // each lower than the one before; never empty
  std::vector<Passage> passages;  // between them
};

// The step to which a printer rounds the levels of a supply, by all that it has shown; also where
// it jitters after that.
[[nodiscard]] int stepOf(const std::vector<CartridgeLife>& lives);

// The descent of a life that has levels.
[[nodiscard]] Descent descentOf(const CartridgeLife& life, int step, Moment zero);

}  // namespace moxsupply
