#include "tests/fleet/Figures.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <numeric>

namespace moxsupply::testing {

namespace {

constexpr std::array<const char*, 6> kHabits = {"answer",     "sleep",      "are off at night",
                                                "are silent", "are faulty", "are queues"};

std::string megabytes(double bytes) { return fmt::format("{:.2f} MB", bytes / 1e6); }

std::string hours(std::int64_t seconds) {
  return fmt::format("{}:{:02}:{:02} h", seconds / 3600, seconds / 60 % 60, seconds % 60);
}

}  // namespace

std::int64_t percentile(const std::map<std::int64_t, std::uint64_t>& counts, double percent) {
  std::uint64_t all = 0;
  for (const auto& [number, count] : counts) all += count;
  const double wanted = static_cast<double>(all) * percent / 100;
  std::uint64_t sum = 0;
  for (const auto& [number, count] : counts) {
    sum += count;
    if (static_cast<double>(sum) >= wanted) return number;
  }
  return 0;
}

std::string Figures::inWords() const {
  std::string words;
  auto out = std::back_inserter(words);
  for (auto [habit, counts] : connections) {
    std::ranges::sort(counts);
    fmt::format_to(out, "connections of {} that {}: median {}, most {}\n", counts.size(),
                   kHabits.at(static_cast<std::size_t>(habit)), counts[counts.size() / 2],
                   counts.back());
  }
  if (!ages.empty()) {
    fmt::format_to(
        out, "age of levels of those that answer or sleep: median {}, 99 of 100 {}, most {}\n",
        hours(percentile(ages, 50)), hours(percentile(ages, 99)), hours(ages.rbegin()->first));
  }
  fmt::format_to(out,
                 "scrapes answered: {}; queries begun again: {}; patient ones of strangers: {}\n",
                 scrapes, begunAgain, patient);
  for (std::size_t i = 0; i < days.size(); ++i) {
    const Day& day = days[i];
    if (i > 0 && i + 1 < days.size() && (i + 1) % 7 != 0) continue;
    fmt::format_to(out,
                   "day {}: {} of memory, {} of SQLite's, {} descriptors; store {}, {} readings\n",
                   i + 1, megabytes(static_cast<double>(day.bytes)),
                   megabytes(static_cast<double>(day.bytesOfSqlite)), day.descriptors,
                   megabytes(static_cast<double>(day.bytesOfStore)), day.readings);
  }
  fmt::format_to(out, "digests: {}, of which urgent {}; tries that failed: {}; restarts: {}\n",
                 digests, urgentDigests, failedDigests, restarts);
  fmt::format_to(out,
                 "events: {}; where serial numbers are told, missed {}, false {}; of others, "
                 "missed {}, false {}\n",
                 events, missedBySerial, falseBySerial, missed, wrong);
  return words;
}

}  // namespace moxsupply::testing
