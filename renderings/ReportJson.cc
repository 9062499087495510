#include "renderings/ReportJson.h"

#include <nlohmann/json.hpp>
#include <variant>

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

}  // namespace

std::string reportAsJson(Status status, const Dictionary& report) {
  const Json json = {{"status", signedNumber(status)}, {"report", asJson(report)}};
  return json.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
}

}  // namespace moxsupply
