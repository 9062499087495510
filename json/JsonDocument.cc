#include "json/JsonDocument.h"

#include <fmt/core.h>

#include <algorithm>
#include <set>
#include <vector>

#include "json/JsonMistake.h"

namespace moxsupply {

namespace {

using nlohmann::json;
using Event = json::parse_event_t;

// Follows the parser through the document and knows the keys of every object that is open.
class KeyWatch {
 public:
  void operator()(Event event, const json& parsed) {
    switch (event) {
      case Event::object_start:
      case Event::array_start:
        mOpen.emplace_back().isArray = event == Event::array_start;
        break;
      case Event::key:
        mOpen.back().key = parsed.get<std::string>();
        if (!mOpen.back().keys.insert(mOpen.back().key).second) {
          throw JsonMistake(pointer().to_string() + ": this key stands twice");
        }
        break;
      case Event::object_end:
      case Event::array_end:
        mOpen.pop_back();
        [[fallthrough]];
      case Event::value:
        if (!mOpen.empty()) ++mOpen.back().index;
        break;
    }
  }

 private:
  struct Open {
    bool isArray = false;
    std::size_t index = 0;       // of the value that comes next
    std::string key;             // the last one, which that value has
    std::set<std::string> keys;  // all so far
  };

  [[nodiscard]] json::json_pointer pointer() const {
    json::json_pointer pointer;
    for (const Open& open : mOpen) {
      pointer = open.isArray ? pointer / open.index : pointer / open.key;
    }
    return pointer;
  }

  std::vector<Open> mOpen;
};

JsonSyntaxMistake syntaxMistake(const json::parse_error& error, std::string_view text) {
  // `byte` counts the bytes read; the last of them is the one that does not fit.
  const std::string_view before = text.substr(0, std::max<std::size_t>(error.byte, 1) - 1);
  const auto line = static_cast<std::size_t>(std::ranges::count(before, '\n'));
  const std::size_t column = before.size() - (before.rfind('\n') + 1);
  // The library's own place stands before the first colon.
  const std::string_view what = error.what();
  return {line + 1, column + 1, std::string(what.substr(what.find(": ") + 2))};
}

}  // namespace

json parseJsonDocument(std::string_view text) try {
  KeyWatch watch;
  return json::parse(text, [&](int /*depth*/, Event event, const json& parsed) {
    watch(event, parsed);
    return true;
  });
} catch (const json::parse_error& error) {
  throw syntaxMistake(error, text);
} catch (const json::out_of_range&) {
  throw JsonMistake("a number is too large");
}

}  // namespace moxsupply
