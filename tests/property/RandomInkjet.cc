#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "simulator/InkjetItems.h"
#include "simulator/InkjetReply.h"
#include "tests/property/RandomPrinter.h"
#include "tests/property/RandomReply.h"

namespace moxsupply::testing {

namespace {

using simulator::InkjetItem;
using simulator::InkjetItemRow;
using simulator::InkjetModel;
using simulator::kInkjetItems;
using simulator::Model;
using simulator::Request;

// A value beginning with `first`, the only byte that counts; rarely one without any byte.
Bytes valueOf(Random& random, std::uint8_t first) {
  if (random.oneIn(40)) return {};
  Bytes value = random.bytes(random.within(1, random.oneIn(40) ? 255 : 4));
  value[0] = first;
  return value;
}

std::uint8_t randomHead(Random& random) {
  if (random.oneIn(12)) return random.byte();
  return static_cast<std::uint8_t>(random.below(3));
}

std::uint8_t randomCartridge(Random& random) {
  constexpr std::array<std::uint8_t, 31> kKnown = {0x10, 0x20, 0x21, 0x30, 0x31, 0x32, 0x3F, 0x50,
                                                   0x51, 0x52, 0x5F, 0x70, 0x71, 0x72, 0x7F, 0x80,
                                                   0x90, 0x91, 0x92, 0xA0, 0xA1, 0xA2, 0xB0, 0xB1,
                                                   0xB2, 0xC0, 0xC1, 0xC2, 0xD0, 0xD1, 0xD2};
  return random.oneIn(10) ? random.byte() : random.of(kKnown);
}

// What an item's first byte may be. Capacities are mostly larger than the counts beside them.
std::uint8_t randomFirstByte(Random& random, std::string_view group) {
  if (group == "head") return randomHead(random);
  if (group == "cartridges") return randomCartridge(random);
  if (group == "capacities" && !random.oneIn(4)) return random.byte() | 0x80;
  return static_cast<std::uint8_t>(random.number(1));
}

// How rare it is that an item of the group is not there: one in so many.
std::uint64_t rarityOfAbsence(const InkjetItemRow& row) {
  if (row.group == "cartridges" && row.name == "1") return 30;
  if (row.name.starts_with("photo-") && row.group == "ink-remaining") return 2;
  return 6;
}

void drawKnownItems(Random& random, std::vector<InkjetItem>& items) {
  for (const InkjetItemRow& row : kInkjetItems) {
    if (random.oneIn(rarityOfAbsence(row))) continue;
    const auto item = [&](std::uint16_t id) -> InkjetItem {
      return {.id = id, .value = valueOf(random, randomFirstByte(random, row.group))};
    };
    const bool hasTwoIds = row.secondId != 0;
    items.push_back(item(hasTwoIds && random.oneIn(2) ? row.secondId : row.id));
    // The same once more, with another value: the later one counts.
    if (random.oneIn(10))
      items.push_back(item(hasTwoIds && random.oneIn(2) ? row.secondId : row.id));
  }
}

// Items of which no host knows anything.
void drawOtherItems(Random& random, std::vector<InkjetItem>& items) {
  const auto isKnown = [](std::uint16_t id) {
    return std::ranges::any_of(kInkjetItems, [&](const InkjetItemRow& row) {
      return row.id == id || (row.secondId == id && id != 0);
    });
  };
  const bool fillTheReply = random.oneIn(10);
  for (std::uint64_t i = fillTheReply ? 18 : random.below(6); i > 0; --i) {
    // Many have a byte in common with an id that is known.
    const auto id =
        static_cast<std::uint16_t>(random.oneIn(2) ? random.below(0x10000) : random.below(0x600));
    if (isKnown(id)) continue;
    const std::uint64_t size = fillTheReply ? random.within(100, 255) : random.below(9);
    items.push_back({.id = id, .value = random.bytes(size)});
  }
}

}  // namespace

Model randomInkjet(Random& random) {
  constexpr std::size_t kAnywhere = 0xFFFF;
  InkjetModel printer;
  drawKnownItems(random, printer.items);
  drawOtherItems(random, printer.items);
  if (random.oneIn(2)) random.shuffle(printer.items);
  while (simulator::inkjetPayload(printer).size() > kMostPayload) printer.items.pop_back();
  // Hosts look at the count only to see whether there are items at all.
  if (random.oneIn(4)) printer.itemCount = static_cast<std::uint16_t>(random.within(1, 0xFFFF));
  if (printer.items.empty()) printer.itemCount = 1;

  Model model;
  model.about = {"a random inkjet printer"};
  // An answer to the loop-back lies before the answer to the query, where it is one of the four
  // packets that a host looks at.
  if (random.oneIn(4)) model.loopBackReply = randomStray(random);
  model.replyTo(Request::kInkjetQuery) = randomReply(
      random, [&](auto sizes) { return simulator::inkjetReply(printer, sizes); }, kAnywhere,
      model.loopBackReply.empty() ? 3 : 2);
  model.printer = std::move(printer);
  return model;
}

}  // namespace moxsupply::testing
