#include "supplies/Supplies.h"

#include <fmt/format.h>

#include <cstdint>
#include <nlohmann/json.hpp>

namespace moxsupply {

namespace {

using Json = nlohmann::json;

// A laser supply's colour, which the report takes from its name and makes black for want of a word.
// That is right for the toner of a mono printer, and the best guess for other toners; a fuser or a
// container has no colour of its own.
std::string colorOfLaserSupply(const Supply& supply, const std::string& reported) {
  if (supply.type == "fuser") return {};
  const bool isNamed = supply.name.find(reported) != std::string::npos;
  return supply.type == "other" && !isNamed ? std::string() : reported;
}

std::optional<int> laserPercentage(std::int64_t reported) {
  if (reported < 0) return std::nullopt;
  return static_cast<int>(std::min<std::int64_t>(reported, 100));
}

std::optional<int> inkjetPercentage(std::int64_t reported) {
  if (reported < 0 || reported > 100) return std::nullopt;
  return static_cast<int>(reported);
}

// Some printers leave a name empty; people still need one to point at.
std::string nameOf(const Json& record, int number, bool isLaser) {
  std::string name = record.value("SupplyName", "");
  if (name.find_first_not_of(' ') != std::string::npos) return name;
  return fmt::format("{} {}", isLaser ? "Supply" : "Cartridge", number);
}

Supply supplyFromRecord(const Json& record, int number, bool isLaser) {
  Supply supply;
  supply.name = nameOf(record, number, isLaser);
  supply.type = record.value("SupplyType", isLaser ? "other" : "ink");
  supply.status = record.value("SupplyStatus", "");
  const std::string color = record.value("SupplyColor", "");
  supply.color = isLaser ? colorOfLaserSupply(supply, color) : color;
  if (supply.status == "Missing") {
    supply.noLevel = NoLevel::kMissing;
  } else if (record.contains("SupplyPercentage")) {
    const auto reported = record["SupplyPercentage"].get<std::int64_t>();
    supply.percentage = isLaser ? laserPercentage(reported) : inkjetPercentage(reported);
  }
  return supply;
}

}  // namespace

bool isCartridge(const Supply& supply) { return supply.type == "toner" || supply.type == "ink"; }

bool isEmpty(const Supply& supply) { return supply.percentage == 0 || supply.status == "Empty"; }

bool isLow(const Supply& supply) {
  return supply.percentage && *supply.percentage <= kLowLevel && !isEmpty(supply);
}

Supplies suppliesFromReport(std::string_view json) {
  const Json answer = Json::parse(json);
  const Json& report = answer.at("report");
  Supplies supplies;
  const std::string head = report.value("PrintHeadType", "");
  supplies.isLaser = head == "LaserSupplies";
  if (!supplies.isLaser) supplies.head = head;
  for (int number = 1; report.contains(fmt::format("Supply {}", number)); ++number) {
    supplies.list.push_back(
        supplyFromRecord(report[fmt::format("Supply {}", number)], number, supplies.isLaser));
  }
  return supplies;
}

}  // namespace moxsupply
