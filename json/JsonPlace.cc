#include "json/JsonPlace.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "json/JsonDocument.h"
#include "json/JsonMistake.h"
#include "text/ShortQuote.h"

namespace moxsupply {

namespace {

using nlohmann::json;

// The value as JSON, cut to a length that fits a line.
std::string shown(const json& value) {
  if (value.is_object()) return "an object";
  if (value.is_array()) return "a list";
  constexpr std::size_t kLongest = 60;
  const std::string text = documentAsJson(value);
  return text.size() > kLongest ? text.substr(0, kLongest) + "..." : text;
}

std::optional<std::vector<std::uint8_t>> bytesOfHex(std::string_view text) {
  std::vector<std::uint8_t> bytes;
  while (!text.empty()) {
    if (text.front() == ' ') {
      text.remove_prefix(1);
      continue;
    }
    const std::string_view pair = text.substr(0, 2);
    std::uint8_t byte = 0;
    const auto [end, error] = std::from_chars(pair.data(), pair.data() + pair.size(), byte, 16);
    if (error != std::errc() || pair.size() != 2 || end != pair.data() + 2) return std::nullopt;
    bytes.push_back(byte);
    text.remove_prefix(2);
  }
  return bytes;
}

}  // namespace

json::json_pointer JsonPlace::pointerTo(const Step* step) {
  if (step == nullptr) return json::json_pointer();
  const auto within = pointerTo(step->within.get());
  return std::visit([&](const auto& what) { return within / what; }, step->what);
}

void JsonPlace::expectKeys(std::span<const std::string_view> keys) const {
  if (!mValue->is_object()) expected("an object");
  for (const auto& [key, value] : mValue->items()) {
    if (std::ranges::find(keys, key) == keys.end()) {
      JsonPlace(value, mStep, key)
          .complain(fmt::format("unknown key; expected one of: {}", fmt::join(keys, ", ")));
    }
  }
}

std::optional<JsonPlace> JsonPlace::find(std::string_view key) const {
  if (!mValue->is_object()) expected("an object");
  const auto found = mValue->find(key);
  if (found == mValue->end()) return std::nullopt;
  return JsonPlace(*found, mStep, std::string(key));
}

JsonPlace JsonPlace::at(std::string_view key) const {
  const auto found = find(key);
  if (!found) complain(fmt::format("expected the key \"{}\"", key));
  return *found;
}

std::vector<JsonPlace> JsonPlace::elements() const {
  if (!mValue->is_array()) expected("a list");
  std::vector<JsonPlace> places;
  for (const json& value : *mValue) {
    places.push_back(JsonPlace(value, mStep, places.size()));
  }
  return places;
}

std::vector<std::string> JsonPlace::keys() const {
  if (!mValue->is_object()) expected("an object");
  std::vector<std::string> keys;
  for (const auto& [key, value] : mValue->items()) keys.push_back(key);
  return keys;
}

std::uint32_t JsonPlace::number(std::uint32_t least, std::uint32_t most) const {
  const auto* number = mValue->get_ptr<const json::number_unsigned_t*>();
  if (number == nullptr || *number < least || *number > most) {
    expected(fmt::format("a whole number from {} to {}", least, most));
  }
  return static_cast<std::uint32_t>(*number);
}

bool JsonPlace::truth() const {
  if (!mValue->is_boolean()) expected("true or false");
  return mValue->get<bool>();
}

std::string JsonPlace::text(std::size_t longest) const {
  if (!mValue->is_string()) expected("a text");
  auto text = mValue->get<std::string>();
  if (text.size() > longest) expected(fmt::format("a text of at most {} bytes", longest));
  return text;
}

std::vector<std::uint8_t> JsonPlace::hex(std::size_t longest) const {
  const auto bytes = mValue->is_string() ? bytesOfHex(mValue->get<std::string>()) : std::nullopt;
  if (!bytes) expected("bytes as pairs of hex digits, such as \"A5 00\"");
  if (bytes->size() > longest) expected(fmt::format("at most {} bytes", longest));
  return *bytes;
}

void JsonPlace::expected(std::string_view what) const {
  complain(fmt::format("expected {}, not {}", what, shown(*mValue)));
}

void JsonPlace::complain(std::string_view mistake) const {
  const std::string place = shortQuote(pointerTo(mStep.get()).to_string());
  throw JsonMistake(fmt::format("{}{}{}", place, place.empty() ? "" : ": ", mistake));
}

std::string asOneLine(std::string text) {
  std::ranges::replace_if(
      text, [](char c) { return c < ' ' || c > '~'; }, '?');
  return text;
}

}  // namespace moxsupply
