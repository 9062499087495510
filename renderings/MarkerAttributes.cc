#include "renderings/MarkerAttributes.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "renderings/ToldStatuses.h"
#include "supplies/Attention.h"
#include "supplies/Words.h"
#include "text/HarmlessText.h"
#include "text/Translated.h"

namespace moxsupply {

namespace {

constexpr std::size_t kLongestLine = 2000;
constexpr std::size_t kLongestName = 255;  // an IPP name holds no more

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

// Some characters have a meaning on the way to the print server or in its files.
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

// What is between two clauses of the message, in every language.
constexpr std::string_view kBetween = "; ";

// What a message may say of a status, as kToldStatuses has it: text with {} for the supply's name.
std::string clauseOf(std::string_view text, std::string_view name) {
  constexpr std::string_view kName = "{}";
  const std::size_t at = std::min(text.find(kName), text.size() - kName.size());
  const std::string clause =
      fmt::format("{}{}{}", text.substr(0, at), name, text.substr(at + kName.size()));
  return publishable(clause, std::string::npos);
}

// Empty where nothing is needed.
std::string neededBy(const Supply& supply) {
  const std::string name = markerName(supply.name, kLongestName);
  switch (attentionOf(supply)) {
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

std::string messageOf(const Supplies& supplies) {
  std::string message;
  for (const Supply& supply : supplies.list) {
    const std::string needed = neededBy(supply);
    if (needed.empty()) continue;
    if (!message.empty()) message += kBetween;
    message += needed;
  }
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
  return size == name.size() ? name : markerName(name, size);
}

// Inside the quotes, as the print server takes a value apart.
std::string quoted(std::string_view value) {
  std::string text = "'";
  for (const char c : value) {
    if (c == '\\' || c == '\'') text += '\\';
    text += c;
  }
  return text + '\'';
}

template <typename Values>
std::string lineOf(std::string_view key, const Values& values) {
  return fmt::format("ATTR: {}={}\n", key, quoted(fmt::format("{}", fmt::join(values, ","))));
}

}  // namespace

std::string markerName(const std::string& name, std::size_t mostBytes) {
  const std::string marker = publishable(name, mostBytes);
  return marker.empty() ? "?" : marker;
}

Color colorPublishedAs(std::string_view published) {
  const auto* row = std::ranges::find(kPublishedColors, published, &ColorRow::published);
  return row == kPublishedColors.end() ? Color::kNone : row->color;
}

SupplyStatus statusToldBy(std::string_view message, std::string_view markerName) {
  const std::string clauses = fmt::format("{0}{1}{0}", kBetween, message);
  for (const auto& [status, text] : kToldStatuses) {
    const std::string clause = fmt::format("{0}{1}{0}", kBetween, clauseOf(text, markerName));
    if (clauses.find(clause) != std::string::npos) return status;
  }
  return SupplyStatus::kCorrect;
}

MarkerAttributes markerAttributes(const Supplies& supplies) {
  MarkerAttributes attributes;
  for (const Supply& supply : supplies.list) {
    attributes.names.push_back(markerName(supply.name, kLongestName));
    attributes.types.emplace_back(wordOf(supply.kind));
    attributes.colors.push_back(publishedColor(supply.color));
    attributes.levels.push_back(publishedLevel(supply.level));
    attributes.lowLevels.push_back(kLowLevel);
    attributes.highLevels.push_back(kFullLevel);
  }
  attributes.message = messageOf(supplies);
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
                                       quoted(publishable(message, kLongestMessage)));
}

}  // namespace moxsupply
