#pragma once

#include <optional>
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

// Whether all readings of a life with a level tell pages.
[[nodiscard]] bool tellsPages(const CartridgeLife& life);

// How many pages a life whose readings tell them printed between two times.
[[nodiscard]] double pagesBetween(const CartridgeLife& life, double from, double to, Moment zero);

// What a page takes, in points, by all passages of a supply that tells pages; nothing where it does
// not, or has not had two passages with a page between them.
[[nodiscard]] std::optional<double> pointsAPage(const std::vector<CartridgeLife>& lives,
                                                const std::vector<Descent>& descents, Moment zero);

// The same descent in steps of a point: between two passages the level goes down with the pages,
// and after the last one by so many points a page, until the next passage would be. A life whose
// readings do not all tell pages stays as it is.
[[nodiscard]] Descent byPages(const Descent& descent, const CartridgeLife& life, int step,
                              double pointsAPage, Moment zero);

}  // namespace moxsupply
