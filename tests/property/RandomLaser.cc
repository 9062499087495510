#include <algorithm>
#include <array>
#include <numeric>
#include <utility>

#include "simulator/LaserReply.h"
#include "tests/property/RandomPrinter.h"
#include "tests/property/RandomReply.h"

namespace moxsupply::testing {

namespace {

using simulator::DotsRecord;
using simulator::Element;
using simulator::FamilyRecord;
using simulator::LaserModel;
using simulator::LaserSupply;
using simulator::Model;
using simulator::Number;
using simulator::PagesRecord;
using simulator::Request;
using simulator::SingleSupplyRecord;
using simulator::UnknownRecord;

constexpr std::array<std::size_t, 3> kWidths = {1, 2, 4};

// ---- The supplies table.

Number randomNumber(Random& random) {
  const std::size_t bytes = random.of(kWidths);
  return {.value = random.number(bytes), .bytes = bytes};
}

Number randomType(Random& random) {
  if (random.oneIn(8)) return randomNumber(random);
  return {.value = static_cast<std::uint32_t>(random.below(8)), .bytes = random.of(kWidths)};
}

// Mostly a level of a supply, 0 % to 100 %, otherwise any two numbers.
void drawLevels(Random& random, LaserSupply& supply) {
  supply.maxLevel = randomNumber(random);
  supply.level = randomNumber(random);
  if (random.oneIn(3)) return;
  const std::size_t bytes = random.of(kWidths);
  const std::uint64_t full = random.oneIn(2) ? 100 : random.within(1, 255);
  supply.maxLevel = {.value = static_cast<std::uint32_t>(full), .bytes = bytes};
  supply.level = {.value = static_cast<std::uint32_t>(random.within(0, full)),
                  .bytes = random.of(kWidths)};
}

std::size_t randomBodySize(Random& random) {
  return random.oneIn(12) ? random.below(400) : random.below(20);
}

Element randomElement(Random& random, std::uint8_t tag) {
  return {.tag = tag, .longForm = random.oneIn(2), .body = random.bytes(randomBodySize(random))};
}

// Elements beside the one that hosts look for, which has the tag `wanted`.
std::vector<Element> randomElements(Random& random, std::uint64_t least, std::uint8_t wanted) {
  std::vector<Element> elements(random.within(least, 3));
  for (Element& element : elements) {
    std::uint8_t tag =
        random.oneIn(2) ? static_cast<std::uint8_t>(random.below(20)) : random.byte();
    if (tag == wanted) ++tag;
    element = randomElement(random, tag);
  }
  return elements;
}

// A field that no host knows, of any tag but those with a meaning.
Element randomOtherField(Random& random) {
  constexpr std::array<std::uint8_t, 10> kBelowTheLevels = {4, 5, 6, 8, 9, 10, 11, 12, 13, 14};
  if (random.oneIn(15)) return randomElement(random, 0);
  if (random.oneIn(3)) {
    return randomElement(random, static_cast<std::uint8_t>(random.within(17, 255)));
  }
  return randomElement(random, random.of(kBelowTheLevels));
}

// What the supplies of one printer have in common.
struct Habits {
  bool describesAll = true;
  std::uint64_t levels = 0;  // 0: all supplies have them; 1: none; 2: as it comes
  std::uint64_t others = 0;  // the most fields that nobody knows
};

LaserSupply randomSupply(Random& random, const Habits& habits) {
  LaserSupply supply;
  if (random.oneIn(2)) supply.fixedId = randomNumber(random);
  if (random.oneIn(2)) supply.installedId = randomNumber(random);
  if (habits.describesAll || !random.oneIn(6)) {
    supply.description = random.text(random.oneIn(20) ? 600 : 40);
  }
  if (!random.oneIn(8)) supply.type = randomType(random);
  if (habits.levels != 1) drawLevels(random, supply);
  if (habits.levels == 2 && random.oneIn(2)) supply.maxLevel.reset();
  if (habits.levels == 2 && random.oneIn(2)) supply.level.reset();
  for (std::uint64_t i = random.below(habits.others + 1); i > 0; --i) {
    supply.otherFields.push_back(randomOtherField(random));
  }
  return supply;
}

std::uint64_t randomSupplyCount(Random& random) {
  const std::uint64_t kind = random.below(20);
  if (kind == 0) return random.within(31, 60);
  if (kind < 6) return random.within(9, 30);
  return random.within(1, 8);
}

// 1 and on, in order or out of it, or any numbers up to their count, some then twice.
void numberSupplies(Random& random, std::vector<LaserSupply>& supplies) {
  const std::size_t count = supplies.size();
  std::vector<std::uint8_t> numbers(count);
  std::iota(numbers.begin(), numbers.end(), std::uint8_t{1});
  const std::uint64_t kind = random.below(10);
  if (kind < 3) random.shuffle(numbers);
  if (kind == 3) {
    for (std::uint8_t& number : numbers)
      number = static_cast<std::uint8_t>(random.below(count + 1));
  }
  for (std::size_t i = 0; i < count; ++i) supplies[i].number = numbers[i];
}

// The byte that follows the table; nothing where it is the last of the record.
std::optional<std::uint8_t> tagAfterTable(const LaserModel& printer) {
  if (!printer.afterTable.empty()) return printer.afterTable.front().tag;
  if (!printer.afterGroup.empty()) return printer.afterGroup.front().tag;
  return std::nullopt;
}

// The highest tag of the supply's fields.
std::uint8_t lastTag(const LaserSupply& supply) {
  std::uint8_t last = 0;
  for (const Element& field : supply.otherFields) last = std::max(last, field.tag);
  const auto count = [&](std::uint8_t tag, bool isThere) {
    if (isThere) last = std::max(last, tag);
  };
  count(1, supply.fixedId.has_value());
  count(2, supply.installedId.has_value());
  count(3, supply.description.has_value());
  count(7, supply.type.has_value());
  count(15, supply.maxLevel.has_value());
  count(16, supply.level.has_value());
  return last;
}

// A host that finds an entry's fields read out looks at the byte behind them: the number of the
// next supply, or the tag behind the table, which it takes for a field when it is the tag of one
// that may still come. Such an entry gets a last field that no other can follow.
void closeEntries(LaserModel& printer) {
  constexpr std::array<std::uint8_t, 6> kFields = {1, 2, 3, 7, 15, 16};
  std::optional<std::uint8_t> following = tagAfterTable(printer);
  std::for_each(printer.supplies.rbegin(), printer.supplies.rend(), [&](LaserSupply& supply) {
    const bool isField = following && std::ranges::find(kFields, *following) != kFields.end();
    if (isField && *following > lastTag(supply)) supply.otherFields.push_back({.tag = 200});
    following = supply.number;
  });
}

// Makes the record as long as it may be, by an element before the table.
void fillUp(Random& random, LaserModel& printer) {
  constexpr std::size_t kHeadSize = 4;
  const std::size_t size = simulator::suppliesTable(printer).size() + kHeadSize;
  if (size > kMostPayload) return;
  printer.beforeTable.push_back({.tag = 9, .body = random.bytes(kMostPayload - size)});
}

void drawTable(Random& random, LaserModel& printer) {
  const Habits habits = {.describesAll = !random.oneIn(6),
                         .levels = random.below(3),
                         .others = random.oneIn(2) ? random.below(6) : 0};
  printer.supplies.resize(randomSupplyCount(random));
  for (LaserSupply& supply : printer.supplies) supply = randomSupply(random, habits);

  printer.beforeGroup = randomElements(random, 0, 2);
  // A tree of the group alone is none.
  printer.afterGroup = randomElements(random, printer.beforeGroup.empty() ? 1 : 0, 2);
  printer.beforeTable = randomElements(random, 0, 8);
  printer.afterTable = randomElements(random, 0, 8);
  const auto mostSize = [&] {  // with the fields that close entries
    return simulator::suppliesTable(printer).size() + 4 * printer.supplies.size();
  };
  while (mostSize() > kMostPayload && printer.supplies.size() > 1) printer.supplies.pop_back();

  numberSupplies(random, printer.supplies);
  closeEntries(printer);
  if (random.oneIn(25)) fillUp(random, printer);
}

// ---- The record of the model family.

// The number of a supply, most often one that the table has.
std::uint8_t randomSupplyNumber(Random& random, const LaserModel& printer) {
  if (random.oneIn(6)) return random.byte();
  return static_cast<std::uint8_t>(random.within(1, printer.supplies.size()));
}

SingleSupplyRecord randomSingleSupplyRecord(Random& random, const LaserModel& printer) {
  const auto u8 = [&] { return static_cast<std::uint8_t>(random.number(1)); };
  const auto u16 = [&] { return static_cast<std::uint16_t>(random.number(2)); };
  const auto u32 = [&] { return random.number(4); };
  SingleSupplyRecord record;
  record.location = u8();
  record.supply = randomSupplyNumber(random, printer);
  record.firstPageCount = u32();
  record.currentPageCount = u32();
  record.currentPageLevel = u32();
  record.previousPageLevel = u32();
  record.maxLevel = u8();
  record.level = u8();
  record.tonerType = u8();
  record.partNumber = random.text(random.oneIn(8) ? 255 : 12);
  record.tonerCapacity = u32();
  record.lastLevelLight = u16();
  record.lastLevelDark = u16();
  record.lightGradation = u16();
  record.darkGradation = u16();
  record.currentVantor = u16();
  return record;
}

// The numbers of the supplies that a record of several has: those of the table, any others, none.
std::vector<std::uint8_t> randomRecordNumbers(Random& random, const LaserModel& printer) {
  std::vector<std::uint8_t> numbers;
  const std::uint64_t kind = random.below(8);
  if (kind == 0) {
    numbers.resize(random.oneIn(4) ? random.below(256) : random.below(12));
    for (std::uint8_t& number : numbers) number = randomSupplyNumber(random, printer);
  } else if (kind > 1) {
    numbers.resize(printer.supplies.size());
    std::iota(numbers.begin(), numbers.end(), std::uint8_t{1});
  }
  if (random.oneIn(2)) random.shuffle(numbers);
  return numbers;
}

PagesRecord randomPagesRecord(Random& random, const LaserModel& printer) {
  PagesRecord record;
  for (const std::uint8_t number : randomRecordNumbers(random, printer)) {
    record.supplies.push_back({.number = number,
                               .location = random.byte(),
                               .maxLevel = random.number(random.of(kWidths)),
                               .level = random.number(random.of(kWidths)),
                               .pagesCapacity = random.number(4)});
  }
  return record;
}

DotsRecord randomDotsRecord(Random& random, const LaserModel& printer) {
  DotsRecord record;
  for (const std::uint8_t number : randomRecordNumbers(random, printer)) {
    record.supplies.push_back({.number = number,
                               .maxLevel = random.number(random.of(kWidths)),
                               .level = random.number(random.of(kWidths))});
  }
  return record;
}

UnknownRecord randomUnknownRecord(Random& random) {
  return {
      .type = random.oneIn(4) ? std::uint8_t{0} : static_cast<std::uint8_t>(random.within(4, 255)),
      .body = random.bytes(randomBodySize(random))};
}

FamilyRecord randomRecord(Random& random, const LaserModel& printer) {
  switch (random.below(10)) {
    case 0:
      return {};
    case 1:
      return randomUnknownRecord(random);
    case 2:
    case 3:
    case 4:
      return randomSingleSupplyRecord(random, printer);
    case 5:
    case 6:
      return randomPagesRecord(random, printer);
    default:
      return randomDotsRecord(random, printer);
  }
}

}  // namespace

Model randomLaser(Random& random) {
  constexpr std::size_t kAnywhere = 0xFFFF;
  constexpr std::size_t kBelow256 = 255;  // a host looks for a packet at its position modulo 256
  constexpr std::size_t kMostStrays = 3;  // a host looks at four packets

  LaserModel printer;
  drawTable(random, printer);
  printer.serialNumber = random.text(random.oneIn(8) ? 255 : 20);
  printer.record = randomRecord(random, printer);
  if (random.oneIn(3)) printer.recordLength = random.byte();

  Model model;
  model.about = {"a random laser printer"};
  model.replyTo(Request::kDeviceQuery) = randomReply(
      random, [&](auto sizes) { return simulator::deviceReply(printer, sizes); }, kAnywhere,
      kMostStrays);
  auto& recordReply = model.replyTo(Request::kSuppliesQuery);
  if (std::holds_alternative<std::monostate>(printer.record)) {
    // To have nothing to say takes four packets that say something else, and no waiting.
    recordReply.answers = false;
    for (int i = 0; i < 4; ++i) recordReply.strays.push_back(randomStray(random));
  } else {
    recordReply = randomReply(
        random, [&](auto sizes) { return simulator::suppliesReply(printer, sizes); }, kBelow256,
        kMostStrays);
  }
  model.printer = std::move(printer);
  return model;
}

}  // namespace moxsupply::testing
