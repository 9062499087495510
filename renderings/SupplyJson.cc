#include "renderings/SupplyJson.h"

#include <nlohmann/json.hpp>

#include "supplies/Words.h"

namespace moxsupply {

using Json = nlohmann::ordered_json;

Json suppliesAsJson(const Supplies& supplies, const Measure& measure) {
  Json array = Json::array();
  for (const Supply& supply : supplies.list) {
    array.push_back({{"name", supply.name},
                     {"type", wordOf(supply.kind)},
                     {"color", wordOf(supply.color)},
                     {"level", supply.level ? Json(*supply.level) : Json()},
                     {"attention", wordOf(attentionOf(supply, measure))}});
  }
  return array;
}

}  // namespace moxsupply
