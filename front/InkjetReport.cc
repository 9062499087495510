#include "front/InkjetReport.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <utility>

#include "front/InkjetLevels.h"
#include "front/SupplyNames.h"

namespace moxsupply {

namespace {

// A record as the report wants it, but for its status.
void describe(Dictionary& record, const CartridgeRole& role, std::int32_t percentage,
              const SupplyNames& names) {
  record.add("SupplyName", names.name(role.nameKey, role.defaultName));
  record.add("SupplyColor", std::string(role.color));
  record.add("SupplyType", std::string("ink"));
  record.add("SupplyPercentage", percentage);
}

// Reads dot counts, or a capacity, one after the other into the same 32-bit word.
//
// An item's first byte replaces the word's lowest byte, then the word's bytes are reversed, also
// when the item is absent. So of cyan c, magenta m and yellow y the values are c * 2^24,
// m * 2^24 + c and y * 2^24 + m: each count carries the one before it in its lowest byte, and the
// percentages of three-colour cartridges have always been made from these.
class DotWord {
 public:
  explicit DotWord(const Dictionary& items) : mItems(items) {}

  std::uint32_t read(const Key& key) {
    const auto lowest = static_cast<std::uint8_t>(mWord);
    mWord = __builtin_bswap32((mWord & ~0xFFU) | firstByte(mItems, key).value_or(lowest));
    return mWord;
  }

 private:
  const Dictionary& mItems;
  std::uint32_t mWord = 0;
};

// What is left of a cartridge of which `used` dots of `capacity` are gone, 0 to 100.
std::int32_t percentageLeft(std::uint32_t used, std::uint32_t capacity) {
  if (capacity == 0) return 0;
  const double left = (1.0 - static_cast<double>(used) / static_cast<double>(capacity)) * 100.0;
  return std::max(0, static_cast<std::int32_t>(left));
}

std::int32_t dotPercentage(const Dictionary& items, std::span<const Key> dotCounts,
                           const Key& capacity) {
  DotWord counts(items);
  std::uint32_t smallest = std::numeric_limits<std::uint32_t>::max();
  for (const Key& dotCount : dotCounts) smallest = std::min(smallest, counts.read(dotCount));
  return percentageLeft(smallest, DotWord(items).read(capacity));
}

// The record of a cartridge on a head that counts dots. Without a role there it holds the status
// alone.
void describeByDots(Dictionary& record, const DotLevel* level, const Dictionary& items,
                    const SupplyNames& names) {
  if (level == nullptr) return;
  describe(record, level->role, dotPercentage(items, level->counts, level->capacity), names);
}

// The smallest of the levels, read one after the other into the same byte: an absent item repeats
// the one before it, and the first is 0.
std::uint8_t smallestLevel(const Dictionary& items, std::span<const Key> inks) {
  std::uint8_t level = 0;
  std::uint8_t smallest = std::numeric_limits<std::uint8_t>::max();
  for (const Key& ink : inks) {
    level = firstByte(items, ink).value_or(level);
    smallest = std::min(smallest, level);
  }
  return smallest;
}

// The record of a cartridge on a head that tells what is left: 0 to 255, unchanged.
void describeByInk(Dictionary& record, const InkLevel& level, const Dictionary& items,
                   const SupplyNames& names) {
  const std::uint8_t smallest = smallestLevel(items, inksOf(level, items));
  describe(record, level.role, smallest, names);
  auto& status = *record.get<std::string>("SupplyStatus");
  if (smallest == 0 && status == "Correct") status = "Empty";
}

}  // namespace

Status addInkjetReport(Dictionary items, const SupplyNames& names, Dictionary& report) {
  if (!items.contains("kFirstCartID")) return Status::kUndecodable;

  const PrintHead* head = printHeadOf(items);
  if (head != nullptr) report.set("PrintHeadType", std::string(head->name));
  removeUnknownCartridges(items);

  Status status = Status::kSuccess;
  std::uint8_t count = 0;
  const std::size_t most = cartridgeCount(items);
  for (std::size_t index = 0; index < most; ++index) {
    const CartridgeCode* cartridge = cartridgeIn(items, index);
    if (cartridge == nullptr) continue;
    if (head == nullptr) {
      status = Status::kUndecodable;
      break;
    }

    Dictionary record;
    record.add("SupplyStatus", std::string(cartridge->status));
    if (head->levels == LevelSource::kDots) {
      describeByDots(record, dotLevelOf(index, cartridge->kind), items, names);
    } else {
      describeByInk(record, inkLevelOf(index, items), items, names);
    }
    report.set({"Supply", ++count}, std::move(record));
  }
  report.set("SupplyCount", std::int32_t{count});
  return status;
}

}  // namespace moxsupply
