#include "tests/property/ModelJson.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "tests/support/Hex.h"

namespace moxsupply::testing {

namespace {

using OrderedJson = nlohmann::ordered_json;
using simulator::DotsRecord;
using simulator::Element;
using simulator::InkjetModel;
using simulator::LaserModel;
using simulator::LaserSupply;
using simulator::Model;
using simulator::Number;
using simulator::PagesRecord;
using simulator::Reply;
using simulator::Request;
using simulator::SingleSupplyRecord;
using simulator::UnknownRecord;

template <typename Elements, typename AsJson>
OrderedJson listOf(const Elements& elements, AsJson asJson) {
  OrderedJson list = OrderedJson::array();
  for (const auto& element : elements) list.push_back(asJson(element));
  return list;
}

// ---- Inkjet.

// The items as they are sent, whatever they mean.
void write(OrderedJson& file, const InkjetModel& printer) {
  file["printer"] = "inkjet";
  file["items-before"] = listOf(printer.items, [](const simulator::InkjetItem& item) {
    return OrderedJson{{"id", fmt::format("{:04X}", item.id)}, {"value", hexText(item.value)}};
  });
  if (printer.itemCount) file["item-count"] = *printer.itemCount;
}

// ---- Laser.

OrderedJson asJson(const Number& number) {
  return {{"value", number.value}, {"bytes", number.bytes}};
}

OrderedJson asJson(const Element& element) {
  return {{"tag", element.tag},
          {"form", element.longForm ? "long" : "short"},
          {"body", hexText(element.body)}};
}

OrderedJson asJson(const std::vector<Element>& elements) {
  return listOf(elements, [](const Element& element) { return asJson(element); });
}

OrderedJson asJson(const LaserSupply& supply) {
  OrderedJson entry = {{"number", supply.number}};
  if (supply.fixedId) entry["fixed-id"] = asJson(*supply.fixedId);
  if (supply.installedId) entry["installed-id"] = asJson(*supply.installedId);
  if (supply.description) entry["description"] = *supply.description;
  if (supply.type) entry["type"] = asJson(*supply.type);
  if (supply.maxLevel) entry["max-level"] = asJson(*supply.maxLevel);
  if (supply.level) entry["level"] = asJson(*supply.level);
  if (!supply.otherFields.empty()) entry["other-fields"] = asJson(supply.otherFields);
  return entry;
}

OrderedJson asJson(std::monostate /*none*/) { return {}; }

OrderedJson asJson(const SingleSupplyRecord& record) {
  return {{"type", 1},
          {"location", record.location},
          {"supply", record.supply},
          {"first-page-count", record.firstPageCount},
          {"current-page-count", record.currentPageCount},
          {"current-page-level", record.currentPageLevel},
          {"previous-page-level", record.previousPageLevel},
          {"max-level", record.maxLevel},
          {"level", record.level},
          {"toner-type", record.tonerType},
          {"part-number", record.partNumber},
          {"toner-capacity", record.tonerCapacity},
          {"last-level-light", record.lastLevelLight},
          {"last-level-dark", record.lastLevelDark},
          {"light-gradation", record.lightGradation},
          {"dark-gradation", record.darkGradation},
          {"current-vantor", record.currentVantor}};
}

OrderedJson asJson(const PagesRecord& record) {
  return {{"type", 2}, {"supplies", listOf(record.supplies, [](const PagesRecord::Supply& supply) {
                          return OrderedJson{{"number", supply.number},
                                             {"location", supply.location},
                                             {"max-level", supply.maxLevel},
                                             {"level", supply.level},
                                             {"pages-capacity", supply.pagesCapacity}};
                        })}};
}

OrderedJson asJson(const DotsRecord& record) {
  return {{"type", 3}, {"supplies", listOf(record.supplies, [](const DotsRecord::Supply& supply) {
                          return OrderedJson{{"number", supply.number},
                                             {"max-level", supply.maxLevel},
                                             {"level", supply.level}};
                        })}};
}

OrderedJson asJson(const UnknownRecord& record) {
  return {{"type", record.type}, {"body", hexText(record.body)}};
}

void write(OrderedJson& file, const LaserModel& printer) {
  file["printer"] = "laser";
  file["serial-number"] = printer.serialNumber;
  file["supplies"] =
      listOf(printer.supplies, [](const LaserSupply& supply) { return asJson(supply); });
  file["before-group"] = asJson(printer.beforeGroup);
  file["after-group"] = asJson(printer.afterGroup);
  file["before-table"] = asJson(printer.beforeTable);
  file["after-table"] = asJson(printer.afterTable);
  OrderedJson record = std::visit([](const auto& kind) { return asJson(kind); }, printer.record);
  if (record.is_null()) return;
  if (printer.recordLength) record["length"] = *printer.recordLength;
  file["record"] = std::move(record);
}

// ---- The replies.

OrderedJson asJson(const Reply& reply) {
  return {{"answers", reply.answers},
          {"strays", listOf(reply.strays, [](const Bytes& stray) { return hexText(stray); })},
          {"packets", reply.packets},
          {"writes", listOf(reply.writes, [](const simulator::WriteCut& cut) {
             return OrderedJson{{"size", cut.size}};
           })}};
}

OrderedJson repliesOf(const Model& model) {
  OrderedJson replies = OrderedJson::object();
  if (!model.loopBackReply.empty()) replies["loop-back"] = hexText(model.loopBackReply);
  if (std::holds_alternative<InkjetModel>(model.printer)) {
    replies["inkjet-query"] = asJson(model.replyTo(Request::kInkjetQuery));
  } else {
    replies["device-query"] = asJson(model.replyTo(Request::kDeviceQuery));
    replies["supplies-query"] = asJson(model.replyTo(Request::kSuppliesQuery));
  }
  return replies;
}

}  // namespace

std::string modelJson(const Model& model) {
  OrderedJson file = {{"about", model.about}};
  std::visit([&](const auto& printer) { write(file, printer); }, model.printer);
  file["replies"] = repliesOf(model);
  return file.dump(1);
}

}  // namespace moxsupply::testing
