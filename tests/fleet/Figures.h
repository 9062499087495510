#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tests/fleet/OfficePrinter.h"

namespace moxsupply::testing {

// What a run of a fleet has measured.
struct Figures {
  // Connections that were made to each printer, by its habit.
  std::map<Habit, std::vector<std::size_t>> connections;

  // How old the levels were that were served of printers that answer or sleep, in seconds: so many
  // of each age.
  std::map<std::int64_t, std::uint64_t> ages;

  std::uint64_t scrapes = 0;  // that were answered
  std::uint64_t begunAgain = 0;
  std::uint64_t patient = 0;  // queries with the whole deadline of printers that never answered

  struct Day {
    std::size_t bytes = 0;  // of the exporter's rooms
    std::size_t bytesOfSqlite = 0;
    std::size_t descriptors = 0;
    std::uintmax_t bytesOfStore = 0;
    std::size_t readings = 0;  // in the store, of all printers
  };
  std::vector<Day> days;

  std::uint64_t digests = 0;
  std::uint64_t urgentDigests = 0;
  std::uint64_t failedDigests = 0;
  std::uint64_t events = 0;          // that happened, told or not
  std::uint64_t missedBySerial = 0;  // of cartridges whose serial numbers are told
  std::uint64_t falseBySerial = 0;
  std::uint64_t missed = 0;  // of others
  std::uint64_t wrong = 0;   // the same
  std::uint64_t restarts = 0;

  // For people: a line each.
  [[nodiscard]] std::string inWords() const;
};

// The least number that so many of a hundred are not above.
[[nodiscard]] std::int64_t percentile(const std::map<std::int64_t, std::uint64_t>& counts,
                                      double percent);

}  // namespace moxsupply::testing
