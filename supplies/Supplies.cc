#include "supplies/Supplies.h"

#include <algorithm>
#include <cstdint>

#include "supplies/Words.h"
#include "text/HarmlessText.h"

namespace moxsupply {

namespace {

std::string textOf(const Dictionary& record, const Key& key) {
  const auto* text = record.get<std::string>(key);
  return text == nullptr ? std::string() : *text;
}

// A laser supply's colour, which the report takes from its name and makes black for want of a word.
// That is right for the toner of a mono printer, and the best guess for other toners; a fuser or a
// container has no colour of its own.
Color colorOfLaserSupply(const Supply& supply, Color reported) {
  if (supply.kind == SupplyKind::kFuser) return Color::kNone;
  const bool isNamed = supply.name.find(wordOf(reported)) != std::string::npos;
  return supply.kind == SupplyKind::kOther && !isNamed ? Color::kNone : reported;
}

Level laserLevel(std::int32_t reported) {
  if (reported < 0) return tl::unexpected(NoLevel::kUnknown);
  return std::min(reported, 100);
}

Level inkjetLevel(std::int32_t reported) {
  if (reported < 0 || reported > 100) return tl::unexpected(NoLevel::kUnknown);
  return reported;
}

// Some printers leave a name empty, or have nothing in it to be seen; people still need one to
// point at.
std::string nameOf(const Dictionary& record, int number, bool isLaser) {
  std::string name = textOf(record, "SupplyName");
  if (!showsNothing(name)) return name;
  return (isLaser ? "Supply " : "Cartridge ") + std::to_string(number);
}

Supply supplyFromRecord(const Dictionary& record, int number, bool isLaser) {
  Supply supply;
  supply.name = nameOf(record, number, isLaser);
  supply.kind = meaningIn(kSupplyKinds, textOf(record, "SupplyType"))
                    .value_or(isLaser ? SupplyKind::kOther : SupplyKind::kInk);
  supply.status =
      meaningIn(kSupplyStatuses, textOf(record, "SupplyStatus")).value_or(SupplyStatus::kCorrect);
  const Color color = meaningIn(kColors, textOf(record, "SupplyColor")).value_or(Color::kNone);
  supply.color = isLaser ? colorOfLaserSupply(supply, color) : color;
  const auto* level = record.get<std::int32_t>("SupplyPercentage");
  if (supply.status == SupplyStatus::kMissing) {
    supply.level = tl::unexpected(NoLevel::kMissing);
  } else if (level != nullptr) {
    supply.level = isLaser ? laserLevel(*level) : inkjetLevel(*level);
  }
  return supply;
}

}  // namespace

Supplies suppliesFromReport(const Dictionary& report) {
  Supplies supplies;
  const std::string head = textOf(report, "PrintHeadType");
  const bool isLaser = head == "LaserSupplies";
  supplies.kind = isLaser ? PrinterKind::kLaser : PrinterKind::kInkjet;
  if (!isLaser) supplies.head = head;
  for (int number = 1;; ++number) {
    const auto* record = report.get<Dictionary>({"Supply", number});
    if (record == nullptr) return supplies;
    supplies.list.push_back(supplyFromRecord(*record, number, isLaser));
  }
}

}  // namespace moxsupply
