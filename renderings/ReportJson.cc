#include "renderings/ReportJson.h"

#include <array>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <utility>
#include <variant>

#include "json/AsciiJson.h"

namespace moxsupply {

namespace {

using Json = nlohmann::ordered_json;

Json asJson(const Dictionary& dictionary) {
  Json object = Json::object();
  for (const auto& [key, value] : dictionary) {
    object[key.text()] = std::visit(
        []<typename Type>(const Type& held) -> Json {
          if constexpr (std::is_same_v<Type, Dictionary>) {
            return asJson(held);
          } else {
            return held;
          }
        },
        value);
  }
  return object;
}

// Puts a text or a number under `key` of the dictionary where the object has one under that name.
void take(const Key& key, const Json& object, Dictionary& dictionary) {
  const auto found = object.find(key.text());
  if (found == object.end()) return;
  if (found->is_string()) dictionary.set(key, found->get<std::string>());
  if (found->is_number_integer()) {
    const auto number = found->get<std::int64_t>();
    if (std::in_range<std::int32_t>(number)) dictionary.set(key, static_cast<std::int32_t>(number));
  }
}

Dictionary recordFrom(const Json& object) {
  constexpr std::array<Key, 5> kKeys = {"SupplyName", "SupplyType", "SupplyColor",
                                        "SupplyPercentage", "SupplyStatus"};
  Dictionary record;
  for (const Key& key : kKeys) take(key, object, record);
  return record;
}

Dictionary dictionaryFrom(const Json& object) {
  Dictionary dictionary;
  take("PrintHeadType", object, dictionary);
  take("SupplyCount", object, dictionary);
  for (std::int32_t number = 1;; ++number) {
    const Key key("Supply", number);
    const auto record = object.find(key.text());
    if (record == object.end() || !record->is_object()) return dictionary;
    dictionary.add(key, recordFrom(*record));
  }
}

}  // namespace

std::string reportAsJson(const Report& report) {
  const Json json = {{"status", signedNumber(report.status)},
                     {"report", asJson(report.dictionary)}};
  return asciiJson(json) + '\n';
}

Result<Report> reportFromJson(std::string_view json) {
  const Json answer = Json::parse(json, nullptr, /*allow_exceptions=*/false);
  const bool isReport = answer.is_object() && answer.contains("status") &&
                        answer["status"].is_number_integer() && answer.contains("report") &&
                        answer["report"].is_object();
  if (!isReport) return failure(R"(no report: expected an object with "status" and "report")");
  const auto status = static_cast<Status>(answer["status"].get<std::int32_t>());
  return Report{status, dictionaryFrom(answer["report"])};
}

}  // namespace moxsupply
