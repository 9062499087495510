#include "tests/property/LaserExpectation.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <string_view>
#include <utility>

namespace moxsupply::testing {

namespace {

using simulator::DotsRecord;
using simulator::LaserModel;
using simulator::LaserSupply;
using simulator::Number;
using simulator::PagesRecord;
using simulator::SingleSupplyRecord;
using simulator::UnknownRecord;

// A dictionary's numbers have a sign, those of the wire have none.
std::int32_t signedOf(std::uint32_t value) { return static_cast<std::int32_t>(value); }

void tell(Dictionary& dictionary, const Key& key, const std::optional<Number>& number) {
  if (number) dictionary.set(key, signedOf(number->value));
}

// Ids and description are found only where an entry begins with them: a field with tag 0 stands
// before them, and a host that skips it skips them too.
bool beginsWithAnUnknownField(const LaserSupply& supply) {
  return std::ranges::any_of(supply.otherFields, [](const auto& field) { return field.tag == 0; });
}

std::optional<std::string> descriptionOf(const LaserSupply& supply) {
  return beginsWithAnUnknownField(supply) ? std::nullopt : supply.description;
}

Dictionary entryOf(const LaserSupply& supply) {
  Dictionary entry;
  if (!beginsWithAnUnknownField(supply)) {
    tell(entry, "Fixed ID", supply.fixedId);
    tell(entry, "Installed ID", supply.installedId);
  }
  if (const auto description = descriptionOf(supply)) entry.set("Description", *description);
  tell(entry, "Supply Type", supply.type);
  tell(entry, "Max Level", supply.maxLevel);
  tell(entry, "Current Level", supply.level);
  return entry;
}

std::int32_t countOf(const LaserModel& printer) {
  return static_cast<std::int32_t>(printer.supplies.size());
}

// ---- The record of the model family.

Dictionary headOf(const LaserModel& printer, std::size_t supplies, std::size_t sizeOfSupply,
                  std::int32_t type) {
  const auto length = printer.recordLength.value_or(static_cast<std::uint8_t>(sizeOfSupply));
  Dictionary head;
  head.set("Serial Number", std::string(printer.serialNumber));
  head.set("Supplies Count", static_cast<std::int32_t>(supplies));
  head.set("Record Length", std::int32_t{length});
  head.set("Toner Prediction", type);
  return head;
}

std::optional<Dictionary> told(const LaserModel& /*printer*/, std::monostate /*none*/) {
  return std::nullopt;
}

std::optional<Dictionary> told(const LaserModel& /*printer*/, const UnknownRecord& /*record*/) {
  return std::nullopt;
}

std::optional<Dictionary> told(const LaserModel& printer, const SingleSupplyRecord& record) {
  Dictionary all = headOf(printer, 1, 35 + record.partNumber.size(), 1);
  all.set("Supply Location", std::int32_t{record.location});
  all.set("Supply ID", std::int32_t{record.supply});
  all.set("Page Count First", signedOf(record.firstPageCount));
  all.set("Page Count Current", signedOf(record.currentPageCount));
  all.set("Page Level Current", signedOf(record.currentPageLevel));
  all.set("Page Level Previous", signedOf(record.previousPageLevel));
  all.set("Levels Count", std::int32_t{record.maxLevel});
  all.set("Kelvo Max Level", std::int32_t{record.maxLevel});
  all.set("Current Transition", std::int32_t{record.level});
  all.set("Kelvo Cur Level", std::int32_t{record.level});
  all.set("Toner Type", std::int32_t{record.tonerType});
  if (!record.partNumber.empty()) all.set("Toner PartNumber", std::string(record.partNumber));
  all.set("Toner Capacity", signedOf(record.tonerCapacity));
  all.set("Last Level Light", std::int32_t{record.lastLevelLight});
  all.set("Last Level Dark", std::int32_t{record.lastLevelDark});
  all.set("Light Gradiation", std::int32_t{record.lightGradation});
  all.set("Dark Gradiation", std::int32_t{record.darkGradation});
  all.set("Current Vantor", std::int32_t{record.currentVantor});
  return all;
}

std::optional<Dictionary> told(const LaserModel& printer, const PagesRecord& record) {
  Dictionary all = headOf(printer, record.supplies.size(), 14, 2);
  for (const PagesRecord::Supply& each : record.supplies) {
    Dictionary supply;
    supply.set("Supply Location", std::int32_t{each.location});
    supply.set("Supply Count", signedOf(each.maxLevel));
    supply.set("Kelvo Max Level", signedOf(each.maxLevel));
    supply.set("Current Supply Count", signedOf(each.level));
    supply.set("Kelvo Cur Level", signedOf(each.level));
    supply.set("Pages Capacity", signedOf(each.pagesCapacity));
    all.set(Key(std::int32_t{each.number}), std::move(supply));
  }
  return all;
}

std::optional<Dictionary> told(const LaserModel& printer, const DotsRecord& record) {
  Dictionary all = headOf(printer, record.supplies.size(), 9, 3);
  for (const DotsRecord::Supply& each : record.supplies) {
    Dictionary supply;
    supply.set("Max Dot Count", signedOf(each.maxLevel));
    supply.set("Kelvo Max Level", signedOf(each.maxLevel));
    supply.set("Current Dot Count", signedOf(each.level));
    supply.set("Kelvo Cur Level", signedOf(each.level));
    all.set(Key(std::int32_t{each.number}), std::move(supply));
  }
  return all;
}

// ---- Both together.

struct Levels {
  std::uint32_t full = 0;
  std::uint32_t left = 0;
};

// The levels in the record, by the number of the supply. A record of several supplies is asked only
// for those from 1 to as many as the table has.
using LevelsByNumber = std::map<std::int32_t, Levels>;

LevelsByNumber levelsIn(const LaserModel& /*printer*/, std::monostate /*none*/) { return {}; }
LevelsByNumber levelsIn(const LaserModel& /*printer*/, const UnknownRecord& /*record*/) {
  return {};
}
LevelsByNumber levelsIn(const LaserModel& /*printer*/, const SingleSupplyRecord& record) {
  return {{record.supply, {.full = record.maxLevel, .left = record.level}}};
}
template <typename Record>
LevelsByNumber levelsIn(const LaserModel& printer, const Record& record) {
  LevelsByNumber levels;
  for (const auto& supply : record.supplies) {
    if (supply.number < 1 || supply.number > countOf(printer)) continue;
    levels[supply.number] = {.full = supply.maxLevel, .left = supply.level};
  }
  return levels;
}

LevelsByNumber levelsInRecord(const LaserModel& printer) {
  return std::visit([&](const auto& record) { return levelsIn(printer, record); }, printer.record);
}

// The supply of that number. Of several the last one counts.
const LaserSupply* supplyNumbered(const LaserModel& printer, std::int32_t number) {
  const auto found =
      std::find_if(printer.supplies.rbegin(), printer.supplies.rend(),
                   [&](const LaserSupply& supply) { return supply.number == number; });
  return found == printer.supplies.rend() ? nullptr : &*found;
}

bool tellsItsLevels(const LaserSupply* supply) {
  return supply != nullptr && supply->maxLevel && supply->level;
}

// ---- The report.

std::string_view typeWord(const LaserSupply& supply) {
  static const std::map<std::uint32_t, std::string_view> kWords = {
      {1, "toner"}, {2, "toner"}, {3, "toner"}, {5, "fuser"}, {6, "ink"}};
  const auto found = supply.type ? kWords.find(supply.type->value) : kWords.end();
  return found == kWords.end() ? "other" : found->second;
}

// Of several colour words the last one of this order counts.
std::string_view colorWord(std::string_view description) {
  for (const std::string_view color : {"Yellow", "Magenta", "Cyan"}) {
    if (description.find(color) != std::string_view::npos) return color;
  }
  return "Black";
}

std::int32_t percentageOf(const Levels& levels) {
  constexpr std::int32_t kNone = std::numeric_limits<std::int32_t>::min();
  if (levels.full == 0) return kNone;
  const std::int64_t percentage = std::int64_t{100} * levels.left / levels.full;
  if (percentage > std::numeric_limits<std::int32_t>::max()) return kNone;
  // A quotient that binary fractions can only come close to may lie below it: 29 of 100 are 28 %.
  const double quotient = static_cast<double>(levels.left) / levels.full;
  const bool fallsShort = quotient * 100.0 < static_cast<double>(percentage);
  return static_cast<std::int32_t>(fallsShort ? percentage - 1 : percentage);
}

Levels levelsOf(const LaserSupply& supply, const LevelsByNumber& inRecord) {
  const auto found = inRecord.find(supply.number);
  if (!tellsItsLevels(&supply) && found != inRecord.end()) return found->second;
  return {.full = supply.maxLevel.value_or(Number{}).value,
          .left = supply.level.value_or(Number{}).value};
}

}  // namespace

Dictionary tableOf(const LaserModel& printer) {
  Dictionary table;
  table.set("Supplies Count", countOf(printer));
  for (const LaserSupply& supply : printer.supplies) {
    table.set({"Supply", supply.number}, entryOf(supply));
  }
  return table;
}

std::optional<Dictionary> recordOf(const LaserModel& printer) {
  return std::visit([&](const auto& record) { return told(printer, record); }, printer.record);
}

Dictionary suppliesOf(const LaserModel& printer) {
  Dictionary supplies = tableOf(printer);
  for (const auto& [number, levels] : levelsInRecord(printer)) {
    const LaserSupply* supply = supplyNumbered(printer, number);
    if (tellsItsLevels(supply)) continue;
    Dictionary entry = supply == nullptr ? Dictionary() : entryOf(*supply);
    entry.set("Max Level", signedOf(levels.full));
    entry.set("Current Level", signedOf(levels.left));
    supplies.set({"Supply", number}, std::move(entry));
  }
  return supplies;
}

ExpectedReport reportOf(const LaserModel& printer) {
  ExpectedReport expected;
  expected.report.set("PrintHeadType", std::string("LaserSupplies"));
  expected.report.set("SupplyCount", countOf(printer));
  const LevelsByNumber inRecord = levelsInRecord(printer);
  for (std::int32_t number = 1; number <= countOf(printer); ++number) {
    const LaserSupply* supply = supplyNumbered(printer, number);
    const auto description = supply == nullptr ? std::nullopt : descriptionOf(*supply);
    if (!description) {  // a supply without a name ends the report
      expected.status = Status::kUndecodable;
      break;
    }
    Dictionary record;
    record.set("SupplyName", std::string(*description));
    record.set("SupplyType", std::string(typeWord(*supply)));
    record.set("SupplyColor", std::string(colorWord(*description)));
    record.set("SupplyPercentage", percentageOf(levelsOf(*supply, inRecord)));
    record.set("SupplyStatus", std::string("Correct"));
    expected.report.set({"Supply", number}, std::move(record));
  }
  return expected;
}

}  // namespace moxsupply::testing
