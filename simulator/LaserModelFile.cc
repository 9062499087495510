#include "simulator/LaserModelFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace moxsupply::simulator {

namespace {

constexpr std::uint32_t kAny8 = 0xFF;
constexpr std::uint32_t kAny16 = 0xFFFF;
constexpr std::uint32_t kAny32 = std::numeric_limits<std::uint32_t>::max();

// Reads the members of an object into fields, by the width of each; a field whose key is absent
// stays as it is.
class Members {
 public:
  explicit Members(const JsonPlace& object) : mObject(object) {}

  void operator()(std::string_view key, std::uint8_t& field) const { read(key, kAny8, field); }
  void operator()(std::string_view key, std::uint16_t& field) const { read(key, kAny16, field); }
  void operator()(std::string_view key, std::uint32_t& field) const { read(key, kAny32, field); }
  void operator()(std::string_view key, std::string& field) const {
    if (const auto place = mObject.find(key)) field = place->text(kAny8);
  }

 private:
  template <typename Field>
  void read(std::string_view key, std::uint32_t most, Field& field) const {
    if (const auto place = mObject.find(key)) field = static_cast<Field>(place->number(0, most));
  }

  const JsonPlace& mObject;
};

std::uint8_t readByte(const JsonPlace& place) {
  return static_cast<std::uint8_t>(place.number(0, kAny8));
}

// ---- The supplies table.

std::uint32_t mostIn(std::size_t bytes) { return kAny32 >> (8 * (4 - bytes)); }

// A number, sent in `bytes` bytes, or an object which says that as well.
Number readNumber(const JsonPlace& place, std::size_t bytes) {
  if (!place.isObject()) return {.value = place.number(0, mostIn(bytes)), .bytes = bytes};
  place.expectKeys(std::to_array<std::string_view>({"value", "bytes"}));
  const JsonPlace width = place.at("bytes");
  bytes = width.number(1, 4);
  if (bytes == 3) width.expected("1, 2 or 4");
  return {.value = place.at("value").number(0, mostIn(bytes)), .bytes = bytes};
}

Number readType(const JsonPlace& place) {
  if (!place.isText()) return readNumber(place, 1);
  const std::string word = place.text();
  if (word == "toner") return {.value = 1, .bytes = 1};
  if (word == "fuser") return {.value = 5, .bytes = 1};
  if (word == "ink") return {.value = 6, .bytes = 1};
  place.expected(R"("toner", "fuser", "ink" or a number)");
}

// `known`: the tags that have a meaning here, which nothing else may carry.
Element readElement(const JsonPlace& place, std::span<const std::uint8_t> known) {
  place.expectKeys(std::to_array<std::string_view>({"tag", "form", "body"}));
  Element element;
  element.tag = readByte(place.at("tag"));
  if (std::ranges::find(known, element.tag) != known.end()) {
    place.at("tag").expected(
        fmt::format("a tag without a meaning here (these have one: {})", fmt::join(known, ", ")));
  }
  if (const auto form = place.find("form")) {
    element.longForm = form->text() == "long";
    if (!element.longForm && form->text() != "short") form->expected(R"("short" or "long")");
  }
  if (const auto body = place.find("body")) element.body = body->hex(kAny16);
  return element;
}

void readElements(const JsonPlace& owner, std::string_view key, std::span<const std::uint8_t> known,
                  std::vector<Element>& elements) {
  const auto list = owner.find(key);
  if (!list) return;
  elements.clear();
  for (const JsonPlace& place : list->elements()) elements.push_back(readElement(place, known));
}

LaserSupply readSupply(const JsonPlace& place) {
  place.expectKeys(
      std::to_array<std::string_view>({"number", "fixed-id", "installed-id", "description", "type",
                                       "max-level", "level", "other-fields"}));
  constexpr std::array<std::uint8_t, 6> kKnownFields = {1, 2, 3, 7, 15, 16};
  LaserSupply supply;
  const auto number = [&](std::string_view key, std::optional<Number>& field) {
    if (const auto member = place.find(key)) field = readNumber(*member, 4);
  };
  supply.number = readByte(place.at("number"));
  number("fixed-id", supply.fixedId);
  number("installed-id", supply.installedId);
  if (const auto text = place.find("description")) supply.description = text->text(kAny16);
  if (const auto type = place.find("type")) supply.type = readType(*type);
  number("max-level", supply.maxLevel);
  number("level", supply.level);
  readElements(place, "other-fields", kKnownFields, supply.otherFields);
  return supply;
}

// ---- The record of the model family.

SingleSupplyRecord readSingleSupplyRecord(const JsonPlace& place) {
  place.expectKeys(std::to_array<std::string_view>(
      {"type", "length", "location", "supply", "first-page-count", "current-page-count",
       "current-page-level", "previous-page-level", "max-level", "level", "toner-type",
       "part-number", "toner-capacity", "last-level-light", "last-level-dark", "light-gradation",
       "dark-gradation", "current-vantor"}));
  SingleSupplyRecord record;
  const Members member(place);
  member("location", record.location);
  member("supply", record.supply);
  member("first-page-count", record.firstPageCount);
  member("current-page-count", record.currentPageCount);
  member("current-page-level", record.currentPageLevel);
  member("previous-page-level", record.previousPageLevel);
  member("max-level", record.maxLevel);
  member("level", record.level);
  member("toner-type", record.tonerType);
  member("part-number", record.partNumber);
  member("toner-capacity", record.tonerCapacity);
  member("last-level-light", record.lastLevelLight);
  member("last-level-dark", record.lastLevelDark);
  member("light-gradation", record.lightGradation);
  member("dark-gradation", record.darkGradation);
  member("current-vantor", record.currentVantor);
  return record;
}

// The list of a record of several supplies, whose count is a byte.
std::vector<JsonPlace> readRecordSupplies(const JsonPlace& record) {
  record.expectKeys(std::to_array<std::string_view>({"type", "length", "supplies"}));
  const JsonPlace list = record.at("supplies");
  std::vector<JsonPlace> supplies = list.elements();
  if (supplies.size() > kAny8) list.expected("a list of at most 255 supplies");
  return supplies;
}

PagesRecord readPagesRecord(const JsonPlace& place) {
  PagesRecord record;
  for (const JsonPlace& each : readRecordSupplies(place)) {
    each.expectKeys(std::to_array<std::string_view>(
        {"number", "location", "max-level", "level", "pages-capacity"}));
    PagesRecord::Supply& supply = record.supplies.emplace_back();
    const Members member(each);
    supply.number = readByte(each.at("number"));
    member("location", supply.location);
    member("max-level", supply.maxLevel);
    member("level", supply.level);
    member("pages-capacity", supply.pagesCapacity);
  }
  return record;
}

DotsRecord readDotsRecord(const JsonPlace& place) {
  DotsRecord record;
  for (const JsonPlace& each : readRecordSupplies(place)) {
    each.expectKeys(std::to_array<std::string_view>({"number", "max-level", "level"}));
    DotsRecord::Supply& supply = record.supplies.emplace_back();
    const Members member(each);
    supply.number = readByte(each.at("number"));
    member("max-level", supply.maxLevel);
    member("level", supply.level);
  }
  return record;
}

UnknownRecord readUnknownRecord(const JsonPlace& place) {
  place.expectKeys(std::to_array<std::string_view>({"type", "length", "body"}));
  UnknownRecord record{.type = readByte(place.at("type")), .body = {}};
  if (const auto body = place.find("body")) record.body = body->hex(kAny16);
  return record;
}

FamilyRecord readRecord(const JsonPlace& place) {
  switch (readByte(place.at("type"))) {
    case 1:
      return readSingleSupplyRecord(place);
    case 2:
      return readPagesRecord(place);
    case 3:
      return readDotsRecord(place);
    default:
      return readUnknownRecord(place);
  }
}

}  // namespace

LaserModel readLaserModel(const JsonPlace& file) {
  file.expectKeys(std::to_array<std::string_view>({"about", "printer", "supplies", "before-group",
                                                   "after-group", "before-table", "after-table",
                                                   "serial-number", "record", "replies"}));
  constexpr std::array<std::uint8_t, 1> kGroup = {2};
  constexpr std::array<std::uint8_t, 1> kTable = {8};
  LaserModel printer;
  for (const JsonPlace& supply : file.at("supplies").elements()) {
    printer.supplies.push_back(readSupply(supply));
  }
  readElements(file, "before-group", kGroup, printer.beforeGroup);
  readElements(file, "after-group", kGroup, printer.afterGroup);
  readElements(file, "before-table", kTable, printer.beforeTable);
  readElements(file, "after-table", kTable, printer.afterTable);
  Members{file}("serial-number", printer.serialNumber);
  if (const auto record = file.find("record")) {
    printer.record = readRecord(*record);
    if (const auto length = record->find("length")) printer.recordLength = readByte(*length);
  }
  return printer;
}

}  // namespace moxsupply::simulator
