#include "json/JsonDocument.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "json/AsciiJson.h"
#include "json/JsonMistake.h"
#include "text/ShortQuote.h"

namespace moxsupply {

namespace {

using nlohmann::json;

// Stands for a number that is no integer of 64 bits. Where the library has read it, it hands its
// digits over as well; what a double would make of them does not matter, nor that it overflows.
class UnreadNumber {
 public:
  UnreadNumber() = default;
  UnreadNumber(double /*ignored*/) {}      // NOLINT(google-explicit-constructor)
  operator double&() { return mIgnored; }  // NOLINT(google-explicit-constructor)
  operator double() const { return 0; }    // NOLINT(google-explicit-constructor)

 private:
  double mIgnored = 0;
};
using JsonText = nlohmann::basic_json<std::map, std::vector, std::string, bool, std::int64_t,
                                      std::uint64_t, UnreadNumber>;

// Makes the document, and sees to what it must not be before more memory and time are spent on it.
class Builder : public nlohmann::json_sax<JsonText> {
 public:
  Builder() noexcept(false) = default;  // the library may throw where it makes a value

  [[nodiscard]] json take() { return std::move(mDocument); }

  bool null() override { return value(nullptr); }
  bool boolean(bool truth) override { return value(truth); }
  bool number_unsigned(std::uint64_t number) override { return value(number); }
  // Only a number with a sign comes here, and -0 would lose it.
  bool number_integer(std::int64_t number) override {
    return number == 0 ? value(digits("-0")) : value(number);
  }
  bool number_float(UnreadNumber /*number*/, const std::string& text) override {
    return value(digits(text));
  }
  bool string(std::string& text) override { return value(std::move(text)); }
  bool binary(JsonText::binary_t& /*value*/) override { return false; }  // is in no text
  bool start_object(std::size_t /*size*/) override { return open(json::object()); }
  bool start_array(std::size_t /*size*/) override { return open(json::array()); }
  bool end_object() override { return close(); }
  bool end_array() override { return close(); }

  bool key(std::string& key) override {
    Open& object = mOpen.back();
    const auto [member, isNew] = object.place->emplace(key, nullptr);
    object.key = std::move(key);
    object.member = &*member;
    if (!isNew) refuse("this key stands twice");
    return true;
  }

  bool parse_error(std::size_t /*position*/, const std::string& /*last*/,
                   const nlohmann::detail::exception& error) override {
    throw dynamic_cast<const json::parse_error&>(error);
  }

 private:
  struct Open {
    json* place;
    json* member = nullptr;  // of an object: the last one, whose value comes next
    std::string key = {};    // of that one
  };

  static json digits(const std::string& text) { return json::binary({text.begin(), text.end()}); }

  json* put(json value) {
    if (mOpen.empty()) return &(mDocument = std::move(value));
    const Open& within = mOpen.back();
    if (within.place->is_object()) return &(*within.member = std::move(value));
    return &within.place->emplace_back(std::move(value));
  }

  bool value(json value) {
    count();
    put(std::move(value));
    return true;
  }

  bool open(json value) {
    if (mOpen.size() == kMostJsonDepth) {
      refuse(fmt::format("deeper than {} levels, the most that there may be", kMostJsonDepth));
    }
    mOpen.push_back({put(std::move(value))});
    return true;
  }

  bool close() {
    mOpen.pop_back();
    count();
    return true;
  }

  void count() {
    if (++mValues <= kMostJsonValues) return;
    throw JsonMistake(
        fmt::format("more than {} values, the most that there may be", kMostJsonValues));
  }

  [[noreturn]] void refuse(const std::string& why) const {
    json::json_pointer place;
    for (const Open& open : mOpen) {
      const bool isObject = open.place->is_object();
      const bool isLast = &open == &mOpen.back();
      if (isObject) {
        place /= shortQuote(open.key);
      } else {
        // Of the lists around it, the last value is the one that is being read.
        place /= open.place->size() - (isLast ? 0 : 1);
      }
    }
    throw JsonMistake(shortQuote(place.to_string()) + ": " + why);
  }

  json mDocument;
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

void write(const json& value, std::string& text) {
  if (value.is_binary()) {
    text.append(value.get_binary().begin(), value.get_binary().end());
  } else if (value.is_object() || value.is_array()) {
    text += value.is_object() ? '{' : '[';
    std::string_view comma;
    for (auto member = value.begin(); member != value.end(); ++member) {
      text += comma;
      if (value.is_object()) text.append(asciiJson(json(member.key()))).append(":");
      write(*member, text);
      comma = ",";
    }
    text += value.is_object() ? '}' : ']';
  } else {
    text += asciiJson(value);
  }
}

}  // namespace

std::string documentAsJson(const json& document) {
  std::string text;
  write(document, text);
  return text;
}

json parseJsonDocument(std::string_view text) try {
  Builder builder;
  static_cast<void>(JsonText::sax_parse(text, &builder));
  return builder.take();
} catch (const json::parse_error& error) {
  throw syntaxMistake(error, text);
}

}  // namespace moxsupply
