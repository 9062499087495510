#include "json/JsonDocument.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <set>
#include <vector>

#include "json/JsonMistake.h"
#include "text/ShortQuote.h"

namespace moxsupply {

namespace {

using nlohmann::json;

// Goes through the document without keeping it, and sees to what a document must not be, before
// memory and time are spent on it.
class Inspection : public nlohmann::json_sax<json> {
 public:
  bool null() override { return value(); }
  bool boolean(bool /*value*/) override { return value(); }
  bool number_integer(json::number_integer_t /*value*/) override { return value(); }
  bool number_unsigned(json::number_unsigned_t /*value*/) override { return value(); }
  bool number_float(json::number_float_t /*value*/, const std::string& /*text*/) override {
    return value();
  }
  bool string(std::string& /*value*/) override { return value(); }
  bool binary(json::binary_t& /*value*/) override { return value(); }
  bool start_object(std::size_t /*size*/) override { return open(false); }
  bool start_array(std::size_t /*size*/) override { return open(true); }
  bool end_object() override { return close(); }
  bool end_array() override { return close(); }

  bool key(std::string& key) override {
    Open& object = mOpen.back();
    object.key = key;
    if (!object.keys.insert(std::move(key)).second) refuse("this key stands twice");
    return true;
  }

  bool parse_error(std::size_t /*position*/, const std::string& /*last*/,
                   const json::exception& error) override {
    if (error.id == kNumberTooLarge) throw JsonMistake("a number is too large");
    throw dynamic_cast<const json::parse_error&>(error);
  }

 private:
  static constexpr int kNumberTooLarge = 406;

  struct Open {
    bool isArray = false;
    std::size_t index = 0;       // of the value that comes next
    std::string key;             // the last one, which that value has
    std::set<std::string> keys;  // all so far
  };

  bool value() {
    if (++mValues > kMostJsonValues) {
      throw JsonMistake(
          fmt::format("more than {} values, the most that there may be", kMostJsonValues));
    }
    if (!mOpen.empty()) ++mOpen.back().index;
    return true;
  }

  bool open(bool isArray) {
    if (mOpen.size() == kMostJsonDepth) {
      refuse(fmt::format("deeper than {} levels, the most that there may be", kMostJsonDepth));
    }
    mOpen.emplace_back().isArray = isArray;
    return true;
  }

  bool close() {
    mOpen.pop_back();
    return value();
  }

  [[noreturn]] void refuse(const std::string& why) const {
    json::json_pointer place;
    for (const Open& open : mOpen) {
      place = open.isArray ? place / open.index : place / shortQuote(open.key);
    }
    throw JsonMistake(shortQuote(place.to_string()) + ": " + why);
  }

  std::vector<Open> mOpen;
  std::size_t mValues = 0;
};

// The library quotes what it read last, however long that is. Of that the end counts.
std::string withShortQuote(const std::string& what) {
  constexpr std::string_view kLast = "last read: '";
  const std::size_t before = what.find(kLast);
  const std::size_t end = what.rfind('\'');
  if (before == std::string::npos || end < before + kLast.size()) return what;
  const std::size_t begin = before + kLast.size();
  return what.substr(0, begin) + shortQuote(what.substr(begin, end - begin), Kept::kEnd) +
         what.substr(end);
}

JsonSyntaxMistake syntaxMistake(const json::parse_error& error, std::string_view text) {
  // `byte` counts the bytes read; the last of them is the one that does not fit.
  const std::string_view before = text.substr(0, std::max<std::size_t>(error.byte, 1) - 1);
  const auto line = static_cast<std::size_t>(std::ranges::count(before, '\n'));
  const std::size_t column = before.size() - (before.rfind('\n') + 1);
  // The library's own place stands before the first colon.
  const std::string what = error.what();
  return {line + 1, column + 1, withShortQuote(what.substr(what.find(": ") + 2))};
}

}  // namespace

json parseJsonDocument(std::string_view text) try {
  Inspection inspection;
  static_cast<void>(json::sax_parse(text, &inspection));
  return json::parse(text);
} catch (const json::parse_error& error) {
  throw syntaxMistake(error, text);
}

}  // namespace moxsupply
