#include "tests/support/DictionaryText.h"

#include <map>
#include <ostream>
#include <variant>

#include "tests/support/Hex.h"

namespace moxsupply {

void PrintTo(const Dictionary& dictionary, std::ostream* out) { *out << testing::text(dictionary); }

namespace testing {

namespace {

struct ValueText {
  std::string operator()(std::int32_t number) const { return std::to_string(number); }
  std::string operator()(const std::string& words) const { return '"' + words + '"'; }
  std::string operator()(const Bytes& bytes) const { return '<' + hexText(bytes) + '>'; }
  std::string operator()(const Dictionary& nested) const { return text(nested); }
};

}  // namespace

std::string text(const Dictionary& dictionary) {
  std::multimap<std::string, std::string> entries;
  for (const auto& [key, value] : dictionary) {
    entries.emplace(key.text(), std::visit(ValueText(), value));
  }
  std::string line;
  for (const auto& [key, value] : entries) {
    if (!line.empty()) line += ", ";
    line.append(1, '"').append(key).append("\": ").append(value);
  }
  return '{' + line + '}';
}

}  // namespace testing
}  // namespace moxsupply
