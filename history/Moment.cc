#include "history/Moment.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "text/Decimal.h"

namespace moxsupply {

namespace {

namespace chrono = std::chrono;

constexpr int kFirstYear = 1678;
constexpr int kLastYear = 2261;
constexpr std::size_t kDigits = 9;  // of a second's fraction

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Whether `text` looks like the pattern, in which 0 stands for a digit and a letter for itself,
// large or small.
bool looksLike(std::string_view text, std::string_view pattern) {
  return std::ranges::equal(text, pattern, [](char c, char expected) {
    if (expected == '0') return isDigit(c);
    return c == expected || (expected >= 'A' && expected <= 'Z' && c == expected - 'A' + 'a');
  });
}

int numberAt(std::string_view text, std::size_t begin, std::size_t size) {
  return static_cast<int>(*decimal(text.substr(begin, size)));
}

// The fraction of a second, ".5"; nothing for what is none.
std::optional<chrono::nanoseconds> fractionFrom(std::string_view text) {
  if (text.empty()) return chrono::nanoseconds(0);
  const std::string_view digits = text.substr(1);
  if (text.front() != '.' || digits.empty() || !std::ranges::all_of(digits, isDigit)) {
    return std::nullopt;
  }
  std::string nanoseconds(digits.substr(0, kDigits));
  nanoseconds.resize(kDigits, '0');
  return chrono::nanoseconds(*decimal(nanoseconds));
}

}  // namespace

std::optional<Moment> momentFrom(std::string_view text) {
  constexpr std::string_view kPattern = "0000-00-00T00:00:00";
  constexpr auto kZones = std::to_array<std::string_view>({"Z", "z", "+00:00"});
  const auto* const zone =
      std::ranges::find_if(kZones, [&](std::string_view end) { return text.ends_with(end); });
  if (zone == kZones.end()) return std::nullopt;
  text.remove_suffix(zone->size());
  if (!looksLike(text.substr(0, kPattern.size()), kPattern)) return std::nullopt;
  const auto fraction = fractionFrom(text.substr(kPattern.size()));

  const chrono::year_month_day day(chrono::year(numberAt(text, 0, 4)),
                                   chrono::month(static_cast<unsigned>(numberAt(text, 5, 2))),
                                   chrono::day(static_cast<unsigned>(numberAt(text, 8, 2))));
  const int hour = numberAt(text, 11, 2);
  const int minute = numberAt(text, 14, 2);
  const int second = numberAt(text, 17, 2);
  const bool isYearHeld =
      day.year() >= chrono::year(kFirstYear) && day.year() <= chrono::year(kLastYear);
  // A leap second is the first of the next minute.
  const bool isTime = hour < 24 && minute < 60 && second <= 60;
  if (!fraction || !day.ok() || !isYearHeld || !isTime) return std::nullopt;
  return chrono::sys_days(day) + chrono::hours(hour) + chrono::minutes(minute) +
         chrono::seconds(second) + *fraction;
}

std::string momentAsText(Moment moment) {
  const auto days = chrono::floor<chrono::days>(moment);
  const chrono::year_month_day day(days);
  const chrono::hh_mm_ss time(moment - days);
  std::string fraction;
  if (time.subseconds().count() != 0) {
    fraction = fmt::format(".{:09}", time.subseconds().count());
    fraction.resize(fraction.find_last_not_of('0') + 1);
  }
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}{}Z", static_cast<int>(day.year()),
                     static_cast<unsigned>(day.month()), static_cast<unsigned>(day.day()),
                     time.hours().count(), time.minutes().count(), time.seconds().count(),
                     fraction);
}

std::string dayOf(Moment moment) {
  constexpr std::size_t kDay = 10;  // 2026-11-21
  return momentAsText(moment).substr(0, kDay);
}

}  // namespace moxsupply
