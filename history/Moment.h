#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace moxsupply {

// A point in time, from 1678 to 2261.
using Moment = std::chrono::sys_time<std::chrono::nanoseconds>;
constexpr Moment kLastMoment =
    std::chrono::sys_days(std::chrono::January / 1 / 2262) - std::chrono::nanoseconds(1);

// Reads RFC 3339 in UTC: 2026-11-21T08:00:00Z, with or without a fraction of a second, of which
// nine digits count; +00:00 stands for Z as well. Nothing for what is none, or is before 1678 or
// after 2261.
[[nodiscard]] std::optional<Moment> momentFrom(std::string_view text);

// The moment like that, with as many digits of a fraction as it has.
[[nodiscard]] std::string momentAsText(Moment moment);

// For people: its day, in UTC.
[[nodiscard]] std::string dayOf(Moment moment);

// Exact to a microsecond, over all of that time.
[[nodiscard]] inline std::chrono::microseconds between(Moment from, Moment to) {
  return std::chrono::floor<std::chrono::microseconds>(to) -
         std::chrono::floor<std::chrono::microseconds>(from);
}
[[nodiscard]] inline double daysBetween(Moment from, Moment to) {
  return std::chrono::duration<double, std::chrono::days::period>(between(from, to)).count();
}

// What `momentFrom` takes, for who gave something else.
constexpr std::string_view kExpectedMoment = "a time in UTC, such as 2026-11-21T08:00:00Z";

}  // namespace moxsupply
