#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "history/Moment.h"
#include "supplies/Supplies.h"
#include "supplies/Supply.h"
#include "text/Problem.h"

namespace moxsupply {

// A supply as it stands in a reading.
struct ReadSupply : Supply {
  std::uint32_t number = 0;  // from 1
};

using ReadingLabels = std::map<std::string, std::string, std::less<>>;

// What one printer answered at one moment.
struct Reading {
  Moment moment;
  std::string time;     // the moment as it was written
  std::string printer;  // its name, see printerName
  ReadingLabels labels;
  std::vector<ReadSupply> supplies;

  // All of it as one line of JSON without the line's end, with what is not understood here and with
  // the digits of every number.
  std::string json = {};
};

// A line has at most so many bytes.
constexpr std::size_t kLongestReading = 1U << 20U;

// What a status is called in a reading.
[[nodiscard]] std::string_view wordInReading(SupplyStatus status);

// Reads a line of JSON. What is wrong with it comes back as one harmless line.
[[nodiscard]] Result<Reading> readingFrom(std::string_view line);

// Reads the JSON of a reading, as it came out of another one.
[[nodiscard]] Result<Reading> readingAgain(std::string json);

// What the printer at a device URI answered at a moment: its supplies, by their numbers in its
// report. `labels`: what a list says of it. Nothing where that is no device URI.
[[nodiscard]] std::optional<Reading> readingOf(std::string_view uri, const Supplies& supplies,
                                               Moment moment, const ReadingLabels& labels = {});

// The JSON of a reading that comes from no line.
[[nodiscard]] std::string asJson(const Reading& reading);

// Whether two readings have the same members and values, their moments in whatever notation.
[[nodiscard]] bool areEqual(const Reading& one, const Reading& other);

}  // namespace moxsupply
