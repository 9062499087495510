#include "simulator/Faults.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <stdexcept>
#include <system_error>

namespace moxsupply::simulator {

namespace {

constexpr std::int64_t kMostBytes = std::numeric_limits<std::uint32_t>::max();
constexpr std::int64_t kLongestPause = 3'600'000;  // milliseconds: an hour
constexpr std::int64_t kLongestLength = 65'535;

using Value = std::optional<std::string_view>;

class FaultMistake : public std::invalid_argument {
 public:
  using std::invalid_argument::invalid_argument;
};

[[noreturn]] void refuse(std::string_view verb, std::string_view expected, const Value& value) {
  throw FaultMistake(fmt::format("{}: expected {}, not {}", verb, expected,
                                 value ? fmt::format("\"{}\"", *value) : "nothing"));
}

std::optional<std::int64_t> wholeNumber(std::string_view text) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

// A number from 0 to `most` of something.
std::int64_t numberFor(std::string_view verb, std::string_view what, std::int64_t most,
                       const Value& value) {
  const auto number = value ? wholeNumber(*value) : std::nullopt;
  if (!number || *number < 0 || *number > most) {
    refuse(verb, fmt::format("{} from 0 to {}", what, most), value);
  }
  return *number;
}

std::size_t bytesFor(std::string_view verb, const Value& value) {
  return static_cast<std::size_t>(
      numberFor(verb, "a number of bytes", kMostBytes, value.value_or("0")));
}

void takeNoValue(std::string_view verb, const Value& value) {
  if (value) throw FaultMistake(fmt::format("{}: takes no value", verb));
}

Faults::Flood floodFor(std::string_view verb, const Value& value) {
  if (!value || *value == "bytes") return Faults::Flood::kBytes;
  if (*value != "packets") refuse(verb, "bytes or packets", value);
  return Faults::Flood::kPackets;
}

Faults::Length lengthFor(std::string_view verb, const Value& value) {
  const bool isRelative = value && (value->starts_with('+') || value->starts_with('-'));
  const auto number =
      value ? wholeNumber(value->substr(value->starts_with('+') ? 1 : 0)) : std::nullopt;
  const bool hasTwoSigns = value && value->starts_with("+-");
  if (!number || hasTwoSigns || *number < -kLongestLength || *number > kLongestLength) {
    refuse(verb, "a length from 0 to 65535, or a difference to the true one such as +1 or -1",
           value);
  }
  return {.value = static_cast<std::int32_t>(*number), .isRelative = isRelative};
}

struct VerbRow {
  std::string_view verb;
  std::string_view usage;
  std::string_view about;
  void (*add)(Faults&, std::string_view verb, const Value&);
};

// clang-format off
constexpr std::array<VerbRow, 11> kVerbs = {{
    {"cut", "cut[=N]", "hang up after N bytes; without N upon the first request",
     [](Faults& faults, std::string_view verb, const Value& value) {
       faults.cut = bytesFor(verb, value);
     }},
    {"reset", "reset[=N]", "reset the connection after N bytes, or upon the first request",
     [](Faults& faults, std::string_view verb, const Value& value) {
       faults.reset = bytesFor(verb, value);
     }},
    {"silent", "silent[=N]", "say no more after N bytes, or nothing at all; stay connected",
     [](Faults& faults, std::string_view verb, const Value& value) {
       faults.silent = bytesFor(verb, value);
     }},
    {"drip", "drip=MS", "send one byte every MS milliseconds",
     [](Faults& faults, std::string_view verb, const Value& value) {
       faults.drip = std::chrono::milliseconds(
           numberFor(verb, "a number of milliseconds", kLongestPause, value));
     }},
    {"wake", "wake=MS", "be asleep for the first MS milliseconds of a connection, then answer",
     [](Faults& faults, std::string_view verb, const Value& value) {
       faults.wake = std::chrono::milliseconds(
           numberFor(verb, "a number of milliseconds", kLongestPause, value));
     }},
    {"flood", "flood[=packets]", "instead of an answer, bytes (or packets) without end",
     [](Faults& faults, std::string_view verb, const Value& value) {
       faults.flood = floodFor(verb, value);
     }},
    {"twice", "twice", "send each answer twice",
     [](Faults& faults, std::string_view verb, const Value& value) {
       takeNoValue(verb, value);
       faults.twice = true;
     }},
    {"wrong-request", "wrong-request", "say of each answer that it is that to another request",
     [](Faults& faults, std::string_view verb, const Value& value) {
       takeNoValue(verb, value);
       faults.wrongRequest = true;
     }},
    {"length", "length=L", "each answer's first packet says that it has L bytes; +1 and -1: so\n"
                           "many more or fewer than it has",
     [](Faults& faults, std::string_view verb, const Value& value) {
       faults.length = lengthFor(verb, value);
     }},
    {"flip", "flip=BIT", "send one bit wrong; bit 0 is the highest of the first byte, bit 15\n"
                         "the lowest of the second. May be given several times",
     [](Faults& faults, std::string_view verb, const Value& value) {
       faults.flips.push_back(static_cast<std::size_t>(
           numberFor(verb, "a bit", 8 * kMostBytes + 7, value)));
     }},
    {"never-close", "never-close", "stay connected when the host has hung up",
     [](Faults& faults, std::string_view verb, const Value& value) {
       takeNoValue(verb, value);
       faults.neverClose = true;
     }},
}};
// clang-format on

}  // namespace

Result<> Faults::add(std::string_view text) try {
  const std::size_t equals = text.find('=');
  const std::string_view verb = text.substr(0, equals);
  const auto* row = std::ranges::find(kVerbs, verb, &VerbRow::verb);
  if (row == kVerbs.end()) {
    std::vector<std::string_view> usages;
    usages.reserve(kVerbs.size());
    for (const VerbRow& known : kVerbs) usages.push_back(known.usage);
    return misuse(
        fmt::format("{}: there is no such fault; there are {}", verb, fmt::join(usages, ", ")));
  }
  row->add(*this, verb,
           equals == std::string_view::npos ? Value() : Value(text.substr(equals + 1)));
  if (flood && (cut || reset || silent || drip)) {
    return misuse("flood: goes with none of cut, reset, silent and drip");
  }
  return {};
} catch (const FaultMistake& mistake) {
  return misuse(mistake.what());
}

std::string describeFaults() {
  std::string text;
  for (const VerbRow& row : kVerbs) {
    std::string about(row.about);
    constexpr std::string_view kNextLine = "\n                  ";
    if (const std::size_t end = about.find('\n'); end != std::string::npos) {
      about.replace(end, 1, kNextLine);
    }
    text += fmt::format("  {:<15} {}\n", row.usage, about);
  }
  return text;
}

}  // namespace moxsupply::simulator
