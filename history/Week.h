#pragma once

#include <array>
#include <vector>

#include "history/Descent.h"

namespace moxsupply {

// How the use of one supply is spread over the week. Days begin at the time of day from which all
// times here count, which is that of most readings: so a reading a day tells a whole day's use.
class Week {
 public:
  // Learns it from what went down between readings. A printer that nothing is known of is taken for
  // one of an office.
  Week(const std::vector<Descent>& descents, Moment zero);

  // So many mean days' use is usual between two times, in days.
  [[nodiscard]] double usualDays(double from, double to) const { return upTo(to) - upTo(from); }

 private:
  static constexpr std::size_t kDays = 7;
  using PerDay = std::array<double, kDays>;

  void share(const PerDay& use);
  [[nodiscard]] double upTo(double day) const;
  void addUse(const Descent& descent, PerDay& use) const;

  PerDay mShare{};                       // of a mean day's use, from the day that begins at 0
  std::array<double, kDays + 1> mSum{};  // of the shares before it
};

}  // namespace moxsupply
