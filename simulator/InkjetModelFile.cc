#include "simulator/InkjetModelFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <span>
#include <string>
#include <vector>

#include "simulator/InkjetItems.h"

namespace moxsupply::simulator {

namespace {

constexpr std::size_t kLongestValue = 255;

struct Word {
  std::string_view word;
  std::uint8_t code;
};
constexpr std::array kHeads = std::to_array<Word>({{"Quarry", 0}, {"Meadow", 1}, {"Lantern", 2}});
constexpr std::array kCartridgeStates =
    std::to_array<Word>({{"invalid", 0x10}, {"missing", 0x20}, {"incorrect", 0x21}});

// The rows of a group, such as the dot counts; they stand together.
std::span<const InkjetItemRow> rowsOf(std::string_view group) {
  const auto* const first = std::ranges::find(kInkjetItems, group, &InkjetItemRow::group);
  const auto* const last = std::ranges::find_if(
      first, kInkjetItems.end(), [&](const InkjetItemRow& row) { return row.group != group; });
  return {first, last};
}

// A number is a value of one byte, a text the bytes of a value.
Bytes readValue(const JsonPlace& place) {
  if (place.isText()) return place.hex(kLongestValue);
  return {static_cast<std::uint8_t>(place.number(0, 0xFF))};
}

// Like a value, or one of the words.
Bytes readCode(const JsonPlace& place, std::span<const Word> words) {
  if (place.isText()) {
    const auto found = std::ranges::find(words, place.text(), &Word::word);
    if (found != words.end()) return {found->code};
  }
  return readValue(place);
}

std::uint16_t readId(const JsonPlace& place) {
  const Bytes bytes = place.hex(2);
  if (bytes.size() != 2) place.expected("an id of two bytes, such as \"0110\"");
  return static_cast<std::uint16_t>(bytes[0] << 8 | bytes[1]);
}

// The id of a row's item: the one that `owner` names under "id", or the first.
std::uint16_t readIdOfRow(const JsonPlace& owner, const InkjetItemRow& row) {
  const auto place = owner.find("id");
  if (!place) return row.id;
  const std::uint16_t id = readId(*place);
  if (id == row.id || (id == row.secondId && id != 0)) return id;
  std::string ids = fmt::format(R"("{:04X}")", row.id);
  if (row.secondId != 0) ids += fmt::format(R"( or "{:04X}")", row.secondId);
  place->expected(ids);
}

InkjetItem readCartridge(const JsonPlace& place) {
  place.expectKeys(std::to_array<std::string_view>({"slot", "code", "id"}));
  const std::uint32_t slot = place.at("slot").number(1, 4);
  const InkjetItemRow& row = rowsOf("cartridges")[slot - 1];
  return {.id = readIdOfRow(place, row), .value = readCode(place.at("code"), kCartridgeStates)};
}

// An item of a group: its value, or an object of its value and which id it is sent under.
InkjetItem readGrouped(const JsonPlace& place, const InkjetItemRow& row) {
  if (!place.isObject()) return {.id = row.id, .value = readValue(place)};
  place.expectKeys(std::to_array<std::string_view>({"value", "id"}));
  return {.id = readIdOfRow(place, row), .value = readValue(place.at("value"))};
}

void readGroup(const JsonPlace& file, std::string_view group, std::vector<InkjetItem>& items) {
  const auto place = file.find(group);
  if (!place) return;
  std::vector<std::string_view> names;
  for (const InkjetItemRow& row : rowsOf(group)) names.push_back(row.name);
  place->expectKeys(names);
  for (const InkjetItemRow& row : rowsOf(group)) {
    if (const auto item = place->find(row.name)) items.push_back(readGrouped(*item, row));
  }
}

void readRawItems(const JsonPlace& file, std::string_view key, std::vector<InkjetItem>& items) {
  const auto list = file.find(key);
  if (!list) return;
  for (const JsonPlace& item : list->elements()) {
    item.expectKeys(std::to_array<std::string_view>({"id", "value"}));
    items.push_back({.id = readId(item.at("id")), .value = readValue(item.at("value"))});
  }
}

}  // namespace

InkjetModel readInkjetModel(const JsonPlace& file) {
  file.expectKeys(std::to_array<std::string_view>(
      {"about", "printer", "head", "cartridges", "dot-counts", "capacities", "ink-remaining",
       "items-before", "items-after", "item-count", "replies"}));
  InkjetModel printer;
  readRawItems(file, "items-before", printer.items);
  if (const auto head = file.find("head")) {
    printer.items.push_back({.id = rowsOf("head").front().id, .value = readCode(*head, kHeads)});
  }
  if (const auto cartridges = file.find("cartridges")) {
    for (const JsonPlace& cartridge : cartridges->elements()) {
      printer.items.push_back(readCartridge(cartridge));
    }
  }
  for (const std::string_view group : {"dot-counts", "capacities", "ink-remaining"}) {
    readGroup(file, group, printer.items);
  }
  readRawItems(file, "items-after", printer.items);
  if (const auto count = file.find("item-count")) {
    printer.itemCount = static_cast<std::uint16_t>(count->number(0, 0xFFFF));
  }
  return printer;
}

}  // namespace moxsupply::simulator
