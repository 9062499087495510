#include "tests/support/DictionaryJson.h"

#include <array>
#include <cctype>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <ostream>
#include <variant>

namespace moxsupply {

void PrintTo(const Dictionary& dictionary, std::ostream* out) {
  *out << testing::shown(dictionary);
}

namespace testing {

namespace {

std::string nameOf(const Key& key) {
  const std::string text = key.text();
  const bool isBareNumber =
      !text.empty() && (std::isdigit(static_cast<unsigned char>(text[0])) != 0 || text[0] == '-');
  return isBareNumber ? '#' + text : text;
}

Json asJson(const Bytes& bytes) {
  Json pairs = Json::array();
  for (const std::uint8_t byte : bytes) {
    std::array<char, 3> pair{};
    std::snprintf(pair.data(), pair.size(), "%02X", static_cast<unsigned>(byte));
    pairs.push_back(pair.data());
  }
  return pairs;
}

Json asJson(std::int32_t number) { return number; }
Json asJson(const std::string& text) { return text; }

}  // namespace

Json asJson(const Dictionary& dictionary) {
  Json object = Json::object();
  for (const auto& [key, value] : dictionary) {
    object[nameOf(key)] = std::visit([](const auto& held) { return asJson(held); }, value);
  }
  return object;
}

Json asJson(const std::optional<Dictionary>& dictionary) {
  return dictionary ? asJson(*dictionary) : Json();
}

std::string shown(const std::optional<Dictionary>& dictionary) {
  return asJson(dictionary).dump(2, ' ', false, Json::error_handler_t::replace);
}

std::string json(std::string_view text) { return Json::parse(text).dump(2); }

}  // namespace testing
}  // namespace moxsupply
