#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "monitoring/PageMemory.h"

namespace moxsupply::testing {

inline const Moment kToday = momentFrom("2026-01-15T08:00:00Z").value();

inline Moment inDays(double days) {
  return kToday + std::chrono::round<std::chrono::seconds>(
                      std::chrono::duration<double, std::chrono::days::period>(days));
}

// A curve with a reading a day, of which the last one is today's.
inline Curve dailyCurve(const std::vector<std::optional<int>>& levels) {
  Curve curve = {kToday - std::chrono::days(levels.size() - 1), {}};
  std::uint32_t seconds = 0;
  for (const auto& level : levels) {
    curve.points.push_back({seconds, level});
    seconds += 86400;
  }
  return curve;
}

// What is to be expected of a toner that was read today. `days`: until it is likely empty, and the
// earliest and the latest.
struct DaysLeft {
  double likely = 0;
  double earliest = 0;
  double latest = 0;
};
inline Prospect madeProspect(std::uint32_t number, std::optional<DaysLeft> days,
                             const std::string& because = "because") {
  Prospect prospect;
  prospect.supply = number;
  prospect.name = "Toner " + std::to_string(number);
  prospect.forecast.asOf = kToday;
  prospect.forecast.because = because;
  if (days) {
    prospect.forecast.emptyAt =
        EmptyAt{inDays(days->likely), inDays(days->earliest), inDays(days->latest)};
  }
  return prospect;
}

// A memory that remembers the same of every printer. `remembered` must outlive it.
inline PageMemory memoryOf(const RememberedPrinter& remembered) {
  PageMemory memory{kToday, true};
  memory.find = [&remembered](const ListedPrinter&) { return &remembered; };
  return memory;
}

}  // namespace moxsupply::testing
