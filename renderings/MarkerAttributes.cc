#include "renderings/MarkerAttributes.h"

#include <fmt/format.h>
#include <utf8.h>

#include <algorithm>
#include <array>
#include <clocale>
#include <ctime>
#include <cwctype>
#include <map>
#include <string_view>

#include "renderings/PublishedMessages.h"
#include "supplies/Attention.h"
#include "supplies/Words.h"
#include "text/HarmlessText.h"
#include "text/Translated.h"

namespace moxsupply {

namespace {

constexpr std::size_t kLongestLine = 2000;
constexpr std::size_t kLongestName = 255;    // bytes; an IPP name holds no more
constexpr std::size_t kMostCharacters = 40;  // of a name

struct ColorRow {
  Color color;
  std::string_view published;
};
// A cartridge of several colours has them all, one after the other.
constexpr std::array<ColorRow, 7> kPublishedColors = {{
    {Color::kNone, "none"},
    {Color::kCyan, "#00FFFF"},
    {Color::kMagenta, "#FF00FF"},
    {Color::kYellow, "#FFFF00"},
    {Color::kBlack, "#000000"},
    {Color::kThreeColors, "#00FFFF#FF00FF#FFFF00"},
    {Color::kPhoto, "#000000#E0FFFF#FF77FF"},  // black, light cyan, light magenta
}};

std::string publishedColor(Color color) {
  return std::string(std::ranges::find(kPublishedColors, color, &ColorRow::color)->published);
}

int publishedLevel(const Level& level) {
  if (level) return *level;
  return level.error() == NoLevel::kMissing ? kNoCartridge : kUnknownLevel;
}

// Some characters have a meaning on the way to the print server or in its files, and some to
// desktops that take a name for markup.
std::string_view standIn(char c) {
  switch (c) {
    case ',':
      return " /";
    case '"':
      return "\u201D";
    case '\'':
      return "\u2019";
    case '\\':
      return "/";
    case '<':
      return "\u2039";
    case '>':
      return "\u203A";
    case '&':
      return "+";
    default:
      return {};
  }
}

// One harmless line in which nothing has a meaning to the print server.
std::string publishable(std::string_view text, std::size_t mostBytes) {
  std::string line;
  for (const char c : text) {
    const std::string_view instead = standIn(c);
    instead.empty() ? line.push_back(c) : static_cast<void>(line.append(instead));
  }
  return harmlessLine(line, mostBytes);
}

// As people count: a mark that stands on the character before it, such as an accent, is no
// character of its own.
bool isMark(char32_t c) {
  static const locale_t unicode = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  return unicode != nullptr && ::iswctype_l(c, ::wctype_l("combining", unicode), unicode) != 0;
}

// As much of a published text as has room, up to the end of a word where that leaves most of it.
std::string cutToCharacters(const std::string& text, std::size_t most, std::size_t mostBytes) {
  std::size_t characters = 0;
  auto end = text.begin();
  for (auto at = end; at != text.end(); end = at) {
    if (!isMark(utf8::next(at, text.end()))) ++characters;
    if (characters > most || static_cast<std::size_t>(at - text.begin()) > mostBytes) break;
  }
  std::string cut(text.begin(), end);
  if (end != text.end() && *end != ' ') {
    const std::size_t word = cut.find_last_of(' ');
    if (word != std::string::npos && word >= cut.size() / 2) cut.resize(word);
  }
  cut.erase(cut.find_last_not_of(' ') + 1);
  return cut;
}

// A supply's name before it is cut, of which there is something to be seen.
std::string wholeMarkerName(const std::string& name) {
  std::string whole = publishable(name, std::string::npos);
  return whole.empty() ? "?" : whole;
}

// The names of a printer's supplies. Names of which the cut leaves the same are numbered; those
// that the printer itself gave twice stay the same.
std::vector<std::string> markerNames(const std::vector<Supply>& supplies) {
  std::map<std::string, std::vector<std::string>> whole;  // by what the cut leaves of them
  std::vector<std::string> names;
  for (const Supply& supply : supplies) {
    const std::string name = wholeMarkerName(supply.name);
    std::string cut = markerName(supply.name);
    std::vector<std::string>& same = whole[cut];
    const auto number = std::ranges::find(same, name) - same.begin() + 1;
    if (number > std::ssize(same)) same.push_back(name);
    if (number > 1) {
      const std::string end = fmt::format(" {}", number);
      cut = cutToCharacters(name, kMostCharacters - end.size(), kLongestName - end.size()) + end;
    }
    names.push_back(cut);
  }
  return names;
}

// What a message may say of a supply's status.
struct StatusMessage {
  SupplyStatus status;
  std::string_view text;  // with {} for the name
};
constexpr std::array<StatusMessage, 4> kStatusMessages = {{
    {SupplyStatus::kMissing, translatable("{} is missing")},
    {SupplyStatus::kInvalid, translatable("{} is not valid in this printer")},
    {SupplyStatus::kIncorrect, translatable("{} is the wrong cartridge")},
    {SupplyStatus::kEmpty, translatable("{} is empty")},
}};

// What is between two clauses of the message, in every language.
constexpr std::string_view kBetween = "; ";

// When the levels were told, as it stands in a message, in every language.
// Its day is counted without time_t, which may have 32 bits and end with 2038.
constexpr const char* kReportTime = "(%Y-%m-%d %H:%M UTC)";
constexpr int kTmYear = 1900;  // from which std::tm counts

// What a message with {} for a supply's name is published as.
std::string withName(std::string_view text, std::string_view name) {
  constexpr std::string_view kName = "{}";
  const std::size_t at = std::min(text.find(kName), text.size());
  const std::string_view rest = text.substr(std::min(at + kName.size(), text.size()));
  return publishable(fmt::format("{}{}{}", text.substr(0, at), name, rest), std::string::npos);
}

// Empty where nothing is needed.
std::string neededBy(const Supply& supply, const std::string& name, const Measure& measure) {
  switch (attentionOf(supply, measure)) {
    case Attention::kNone:
      return {};
    case Attention::kLow:
      return translated("{} is low ({} %)", name, *supply.level);
    case Attention::kEmpty:
      return translated("{} is empty", name);
    case Attention::kMissing:
      return translated("{} is missing", name);
    case Attention::kWrong:
      break;
  }
  if (supply.status == SupplyStatus::kIncorrect) {
    return translated("{} is the wrong cartridge", name);
  }
  return translated("{} is not valid in this printer", name);
}

void append(std::string& list, std::string_view clause) {
  if (clause.empty()) return;
  if (!list.empty()) list += kBetween;
  list += clause;
}

// Its level is drawn as if it were empty, and nothing else says that it may not be.
bool looksEmpty(const Supply& supply, const Measure& measure) {
  return !supply.level && attentionOf(supply, measure) == Attention::kNone;
}

std::string messageOf(const Supplies& supplies, const std::vector<std::string>& names,
                      const Measure& measure) {
  if (!supplies.list.empty() && !tellsLevels(supplies)) return translated(kTellsNoLevels);
  std::string message;
  std::string unknown;
  for (std::size_t i = 0; i < names.size(); ++i) {
    append(message, neededBy(supplies.list[i], names[i], measure));
    if (looksEmpty(supplies.list[i], measure)) append(unknown, names[i]);
  }
  if (!unknown.empty()) append(message, fmt::format("{}: {}", translated(kUnknownLevels), unknown));
  return message;
}

std::size_t bytesOf(const std::vector<std::string>& values) {
  std::size_t bytes = 0;
  for (const std::string& value : values) bytes += value.size() + 1;
  return bytes;
}

// What a character takes of the room that clients of the print server have for a list, which is no
// more than that of a line here: they put a backslash before each blank.
std::size_t roomOf(char c) { return c == ' ' ? 2 : 1; }

std::size_t roomOf(const std::vector<std::string>& names) {
  std::size_t room = 0;
  for (const std::string& name : names) {
    for (const char c : name) room += roomOf(c);
    ++room;  // a comma
  }
  return room;
}

std::string cutToRoom(const std::string& name, std::size_t room) {
  std::size_t size = 0;
  std::size_t taken = 0;
  while (size < name.size() && taken + roomOf(name[size]) <= room) taken += roomOf(name[size++]);
  if (size == name.size()) return name;
  const std::string cut = harmlessLine(name, size);
  return cut.empty() ? "?" : cut;
}

// Inside the quotes, as the print server takes a value apart.
std::string inQuotes(std::string_view value) {
  std::string text = "'";
  for (const char c : value) {
    if (c == '\\' || c == '\'') text += '\\';
    text += c;
  }
  return text + '\'';
}

template <typename Values>
std::string lineOf(std::string_view key, const Values& values) {
  return fmt::format("ATTR: {}={}\n", key, inQuotes(fmt::format("{}", fmt::join(values, ","))));
}

}  // namespace

std::string markerName(const std::string& name) {
  return cutToCharacters(wholeMarkerName(name), kMostCharacters, kLongestName);
}

bool tellsLevels(const Supplies& supplies) {
  return std::ranges::any_of(supplies.list, [](const Supply& supply) {
    return supply.level || attentionOf(supply) != Attention::kNone;
  });
}

bool saysThatNoLevelsAreTold(std::string_view message) {
  return std::ranges::any_of(kPublishedMessages, [message](const PublishedMessage& published) {
    return published.original == kTellsNoLevels && withName(published.text, "") == message;
  });
}

Color colorPublishedAs(std::string_view published) {
  const auto* row = std::ranges::find(kPublishedColors, published, &ColorRow::published);
  return row == kPublishedColors.end() ? Color::kNone : row->color;
}

SupplyStatus statusToldBy(std::string_view message, std::string_view markerName) {
  const std::string clauses = fmt::format("{0}{1}{0}", kBetween, message);
  for (const auto& [original, text] : kPublishedMessages) {
    const auto* status = std::ranges::find(kStatusMessages, original, &StatusMessage::text);
    if (status == kStatusMessages.end()) continue;
    const std::string clause = fmt::format("{0}{1}{0}", kBetween, withName(text, markerName));
    if (clauses.find(clause) != std::string::npos) return status->status;
  }
  return SupplyStatus::kCorrect;
}

std::string remarkOnLevelsOf(std::optional<std::chrono::sys_seconds> reported) {
  if (!reported) return translated("The levels shown are those of its last report.");
  const auto days = std::chrono::floor<std::chrono::days>(*reported);
  const std::chrono::year_month_day date(days);
  const std::chrono::hh_mm_ss clock(*reported - days);
  std::tm time{};
  time.tm_year = static_cast<int>(date.year()) - kTmYear;
  time.tm_mon = static_cast<int>(static_cast<unsigned>(date.month())) - 1;
  time.tm_mday = static_cast<int>(static_cast<unsigned>(date.day()));
  time.tm_hour = static_cast<int>(clock.hours().count());
  time.tm_min = static_cast<int>(clock.minutes().count());
  std::array<char, 64> text{};
  std::strftime(text.data(), text.size(), kReportTime, &time);
  // Translators: the placeholder is a time, as in "(2026-11-22 13:05 UTC)".
  return translated("The levels shown are those of its last report {}.", text.data());
}

std::optional<std::chrono::sys_seconds> reportTimeToldBy(const std::string& message) {
  const std::size_t at = message.rfind('(');
  std::tm time{};
  const bool isTold =
      at != std::string::npos && ::strptime(message.c_str() + at, kReportTime, &time) != nullptr;
  if (!isTold) return std::nullopt;
  const std::chrono::sys_days day = std::chrono::year(time.tm_year + kTmYear) /
                                    std::chrono::month(static_cast<unsigned>(time.tm_mon + 1)) /
                                    std::chrono::day(static_cast<unsigned>(time.tm_mday));
  return day + std::chrono::hours(time.tm_hour) + std::chrono::minutes(time.tm_min);
}

MarkerAttributes markerAttributes(const Supplies& supplies, const Measure& measure) {
  MarkerAttributes attributes;
  attributes.names = markerNames(supplies.list);
  for (const Supply& supply : supplies.list) {
    attributes.types.emplace_back(wordOf(supply.kind));
    attributes.colors.push_back(publishedColor(supply.color));
    attributes.levels.push_back(publishedLevel(supply.level));
    attributes.lowLevels.push_back(measure.lowLevel);
    attributes.highLevels.push_back(kFullLevel);
  }
  attributes.message = messageOf(supplies, attributes.names, measure);
  return attributes;
}

std::string markerLevelsLine(std::vector<int> levels) {
  constexpr std::size_t kMost = kLongestLine / 6;  // "-100," and what is around them
  levels.resize(std::min(levels.size(), kMost));
  return lineOf("marker-levels", levels);
}

std::vector<std::string> markerLines(MarkerAttributes attributes) {
  constexpr std::size_t kAround = std::string_view("ATTR: marker-high-levels=''\n").size();
  constexpr std::size_t kRoom = kLongestLine - kAround;

  // Colours are the longest of the values that cannot be shortened.
  std::size_t count = attributes.names.size();
  const auto cut = [&](auto& values) { values.resize(std::min(values.size(), count)); };
  while (cut(attributes.colors), cut(attributes.types),
         bytesOf(attributes.colors) > kRoom || bytesOf(attributes.types) > kRoom) {
    --count;
  }
  cut(attributes.names);
  cut(attributes.levels);
  cut(attributes.lowLevels);
  cut(attributes.highLevels);
  if (roomOf(attributes.names) > kRoom) {
    const std::size_t share = kRoom / count - 1;
    for (std::string& name : attributes.names) name = cutToRoom(name, share);
  }

  return {lineOf("marker-names", attributes.names),
          lineOf("marker-types", attributes.types),
          lineOf("marker-colors", attributes.colors),
          lineOf("marker-levels", attributes.levels),
          lineOf("marker-low-levels", attributes.lowLevels),
          lineOf("marker-high-levels", attributes.highLevels)};
}

std::string markerMessageLine(const std::string& message) {
  constexpr std::size_t kLongestMessage = 255;  // for the print server; an IPP text holds 1023
  return message.empty() ? "ATTR: marker-message=\n"
                         : fmt::format("ATTR: marker-message={}\n",
                                       inQuotes(publishable(message, kLongestMessage)));
}

}  // namespace moxsupply
