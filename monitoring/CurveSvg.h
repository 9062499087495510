#pragma once

#include <optional>
#include <string>

#include "history/Forecast.h"
#include "monitoring/RememberedPrinter.h"
#include "supplies/Supply.h"

namespace moxsupply {

// A curve as a picture in HTML, for a card: where the level was not known, the line has a gap.
// Empty where less than two levels are known.
[[nodiscard]] std::string smallCurve(const Curve& curve, Color color);

// The same for a page of one printer, with the forecast that goes on from its end.
[[nodiscard]] std::string largeCurve(const Curve& curve, Color color,
                                     const std::optional<EmptyAt>& ahead);

// The class of the page's style that has this colour.
[[nodiscard]] std::string_view styleOf(Color color);

}  // namespace moxsupply
