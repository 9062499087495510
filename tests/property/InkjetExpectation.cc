#include "tests/property/InkjetExpectation.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/InkjetItems.h"

namespace moxsupply::testing {

namespace {

using simulator::InkjetItem;
using simulator::InkjetItemRow;
using simulator::InkjetModel;

// ---- The items.

// The names of the items, in the order in which the simulator lists them.
// clang-format off
constexpr std::array<std::string_view, simulator::kInkjetItems.size()> kNames = {
    "kPrintHead",
    "kFirstCartID", "kSecondCartID", "kThirdCartID", "kFourthCartID",
    "kDotCountBlack", "kDotCountCyan", "kDotCountMagenta", "kDotCountYellow",
    "kDotCountPhotoK", "kDotCountPhotoC", "kDotCountPhotoM",
    "kDotCountAlternativeC", "kDotCountAlternativeM", "kDotCountAlternativeY",
    "kSlot1DotCapacityB", "kSlot2DotCapacityC", "kAltColorDotCapacity", "kPhotoDotCapacity",
    "kSlot3DotCapacityM", "kSlot4DotCapacityY",
    "kMonoInkRemaining", "kCyanInkRemaining", "kMagentaInkRemaining", "kYellowInkRemaining",
    "kCyanPhotoInkRemaining", "kMagentaPhotoInkRemaining", "kYellowPhotoInkRemaining",
};
// clang-format on

// A printer's items by what they mean, in the words of the simulator. Of items that mean the same
// the last one counts.
class Items {
 public:
  explicit Items(const InkjetModel& printer) : mItems(printer.items) {}

  [[nodiscard]] const Bytes* find(const InkjetItemRow& row) const {
    const auto found = std::find_if(mItems.rbegin(), mItems.rend(), [&](const InkjetItem& item) {
      return item.id == row.id || (row.secondId != 0 && item.id == row.secondId);
    });
    return found == mItems.rend() ? nullptr : &found->value;
  }

  [[nodiscard]] const Bytes* find(std::string_view group, std::string_view name) const {
    return find(*std::ranges::find_if(simulator::kInkjetItems, [&](const InkjetItemRow& row) {
      return row.group == group && row.name == name;
    }));
  }

  [[nodiscard]] bool has(std::string_view group, std::string_view name) const {
    return find(group, name) != nullptr;
  }

  // The byte of an item that counts; nothing where the item is absent or empty.
  [[nodiscard]] std::optional<std::uint8_t> byte(std::string_view group,
                                                 std::string_view name) const {
    const Bytes* value = find(group, name);
    if (value == nullptr || value->empty()) return std::nullopt;
    return value->front();
  }

 private:
  const std::vector<InkjetItem>& mItems;
};

// ---- The cartridges.

constexpr std::array<std::string_view, 4> kSlots = {"1", "2", "3", "4"};

// Whether hosts know cartridges of that code.
bool isKnown(std::uint8_t code) {
  switch (code >> 4) {
    case 0x1:
    case 0x8:
      return (code & 0x0F) == 0;
    case 0x2:
      return (code & 0x0F) <= 1;
    case 0x3:
    case 0x5:
    case 0x7:
      return (code & 0x0F) <= 2 || (code & 0x0F) == 0x0F;
    case 0x9:
    case 0xA:
    case 0xB:
    case 0xC:
    case 0xD:
      return (code & 0x0F) <= 2;
    default:
      return false;
  }
}

struct Cartridges {
  std::array<std::optional<std::uint8_t>, 4> codes;  // by slot; nothing where there is none

  explicit Cartridges(const Items& items) {
    for (std::size_t i = 0; i < kSlots.size(); ++i) {
      codes[i] = items.byte("cartridges", kSlots[i]);
      if (codes[i] && !isKnown(*codes[i])) codes[i].reset();
    }
  }

  // The first one holds three colours.
  [[nodiscard]] bool isThreeColor() const {
    return codes[0] && *codes[0] >= 0xA0 && *codes[0] <= 0xA2;
  }
};

std::string statusWord(std::uint8_t code) {
  if (code == 0x10) return "Invalid";
  if (code == 0x20) return "Missing";
  if (code == 0x21) return "Incorrect";
  return "Correct";
}

Dictionary supplyRecord(std::string_view name, std::string_view color, std::int32_t percentage,
                        std::string_view status) {
  Dictionary record;
  record.set("SupplyName", std::string(name));
  record.set("SupplyColor", std::string(color));
  record.set("SupplyType", std::string("ink"));
  record.set("SupplyPercentage", percentage);
  record.set("SupplyStatus", std::string(status));
  return record;
}

// ---- Quarry and Meadow: dots that were used, of those that a cartridge is good for.

// Counts are made of one byte each, the highest of four. The lowest is the byte of the ink before;
// an ink that does not say takes over that of the ink before that, which still stands there. The
// first two inks have zeros before them.
std::uint64_t fewestDots(const Items& items, std::initializer_list<std::string_view> inks) {
  std::uint64_t fewest = 0xFFFFFFFF;
  std::uint64_t before = 0;        // the ink before
  std::uint64_t beforeBefore = 0;  // and the one before that
  for (const std::string_view ink : inks) {
    const std::uint64_t dots = items.byte("dot-counts", ink).value_or(beforeBefore);
    fewest = std::min(fewest, dots * 0x1000000 + before);
    beforeBefore = before;
    before = dots;
  }
  return fewest;
}

std::int32_t dotPercentage(const Items& items, std::initializer_list<std::string_view> inks,
                           std::string_view capacity) {
  const std::uint64_t used = fewestDots(items, inks);
  const std::uint64_t all = std::uint64_t{items.byte("capacities", capacity).value_or(0)} << 24;
  if (used >= all) return 0;
  const std::uint64_t percentage = 100 * (all - used) / all;
  // Binary fractions may come out just below a whole number of percent: 9 of 10 used leaves 9 %.
  const double left = 1.0 - static_cast<double>(used) / static_cast<double>(all);
  const bool fallsShort = left * 100.0 < static_cast<double>(percentage);
  return static_cast<std::int32_t>(fallsShort ? percentage - 1 : percentage);
}

Dictionary recordByDots(const Items& items, std::size_t slot, std::uint8_t code) {
  const std::string status = statusWord(code);
  const bool isPhoto = code >> 4 == 0x7;
  if (slot == 0) {
    return supplyRecord("Color", "Color",
                        dotPercentage(items, {"cyan", "magenta", "yellow"}, "colour"), status);
  }
  if (slot == 1 && isPhoto) {
    return supplyRecord(
        "Photo", "Photo",
        dotPercentage(items, {"photo-black", "photo-cyan", "photo-magenta"}, "photo"), status);
  }
  if (slot == 1) {
    return supplyRecord("Black", "Black", dotPercentage(items, {"black"}, "black"), status);
  }
  Dictionary record;  // such heads have no third and fourth cartridge
  record.set("SupplyStatus", std::string(status));
  return record;
}

// ---- Lantern: what remains.

// The least of several inks. An ink that does not say is taken to have as much as the one before
// it, and the first one none.
std::uint8_t leastInk(const Items& items, std::initializer_list<std::string_view> inks) {
  std::vector<std::uint8_t> levels;
  for (const std::string_view ink : inks) {
    const std::uint8_t before = levels.empty() ? std::uint8_t{0} : levels.back();
    levels.push_back(items.byte("ink-remaining", ink).value_or(before));
  }
  return std::ranges::min(levels);
}

Dictionary recordByInk(const Items& items, const Cartridges& cartridges, std::size_t slot,
                       std::uint8_t code) {
  const auto record = [&](std::string_view color, std::initializer_list<std::string_view> inks) {
    const std::uint8_t level = leastInk(items, inks);
    const std::string status = statusWord(code);
    return supplyRecord(std::string(color) + " Cartridge", color, level,
                        level == 0 && status == "Correct" ? "Empty" : status);
  };
  const bool hasPhotoCyan = items.has("ink-remaining", "photo-cyan");
  const bool hasPhotoMagenta = items.has("ink-remaining", "photo-magenta");
  const bool isSeparate = cartridges.codes[2] && !cartridges.isThreeColor();
  switch (slot) {
    case 0:
      if (isSeparate && hasPhotoCyan) return record("Cyan", {"photo-cyan"});
      if (isSeparate) return record("Cyan", {"cyan"});
      if (hasPhotoCyan) return record("Color", {"photo-cyan", "photo-magenta", "photo-yellow"});
      return record("Color", {"cyan", "magenta", "yellow"});
    case 1:
      return record("Black", {"black"});
    case 2:
      if (hasPhotoMagenta) return record("Magenta", {"photo-magenta"});
      return record("Magenta", {"magenta"});
    default:
      // Printers report the photo inks together, and magenta stands for them.
      if (hasPhotoMagenta) return record("Yellow", {"photo-yellow"});
      return record("Yellow", {"yellow"});
  }
}

// ---- The head.

enum class Head : std::uint8_t { kQuarry, kMeadow, kLantern, kUnknown };

Head headOf(const Items& items) {
  if (!items.has("head", "")) return Head::kMeadow;
  const std::uint8_t code = items.byte("head", "").value_or(0xFF);
  return code < 3 ? static_cast<Head>(code) : Head::kUnknown;
}

}  // namespace

Dictionary itemsOf(const InkjetModel& printer) {
  const Items items(printer);
  Dictionary all;
  for (std::size_t i = 0; i < kNames.size(); ++i) {
    const Bytes* value = items.find(simulator::kInkjetItems[i]);
    if (value != nullptr) all.set(Key::fromTable(kNames[i]), Bytes(*value));
  }
  return all;
}

ExpectedReport reportOf(const InkjetModel& printer) {
  const Items items(printer);
  if (!items.has("cartridges", "1")) return {.status = Status::kUndecodable, .report = {}};

  ExpectedReport expected;
  const Head head = headOf(items);
  if (head == Head::kQuarry) expected.report.set("PrintHeadType", std::string("Quarry"));
  if (head == Head::kMeadow) expected.report.set("PrintHeadType", std::string("Meadow"));
  if (head == Head::kLantern) expected.report.set("PrintHeadType", std::string("Lantern"));

  const Cartridges cartridges(items);
  // Beside a cartridge of three colours there is only the black one.
  const std::size_t slots = cartridges.isThreeColor() ? 2 : 4;
  std::int32_t count = 0;
  for (std::size_t slot = 0; slot < slots; ++slot) {
    const auto code = cartridges.codes[slot];
    if (!code) continue;
    if (head == Head::kUnknown) {
      expected.status = Status::kUndecodable;
      break;
    }
    expected.report.set({"Supply", ++count}, head == Head::kLantern
                                                 ? recordByInk(items, cartridges, slot, *code)
                                                 : recordByDots(items, slot, *code));
  }
  expected.report.set("SupplyCount", count);
  return expected;
}

}  // namespace moxsupply::testing
