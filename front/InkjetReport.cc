#include "front/InkjetReport.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "front/SupplyNames.h"

namespace moxsupply {

namespace {

// The cartridges by index: 0 colour or cyan, 1 black or photo, 2 magenta, 3 yellow.
constexpr std::array<Key, 4> kCartridgeKeys = {"kFirstCartID", "kSecondCartID", "kThirdCartID",
                                               "kFourthCartID"};

constexpr std::array<std::uint8_t, 31> kValidCartridgeCodes = {
    0x10, 0x20, 0x21, 0x30, 0x31, 0x32, 0x3F,                    //
    0x50, 0x51, 0x52, 0x5F, 0x70, 0x71, 0x72,                    //
    0x7F, 0x80, 0x90, 0xA0, 0xB0, 0xC0, 0xD0,                    //
    0x91, 0x92, 0xA1, 0xA2, 0xB1, 0xB2, 0xC1, 0xC2, 0xD1, 0xD2,  //
};

// Stands for the code of a cartridge that is not there; no valid code.
constexpr std::uint8_t kNoCode = 0xFF;

constexpr std::uint8_t kQuarryHead = 0;
constexpr std::uint8_t kMeadowHead = 1;
constexpr std::uint8_t kLanternHead = 2;
constexpr std::uint8_t kUnknownHead = 3;

std::optional<std::string_view> nameOfHead(std::uint8_t headCode) {
  switch (headCode) {
    case kQuarryHead:
      return "Quarry";
    case kMeadowHead:
      return "Meadow";
    case kLanternHead:
      return "Lantern";
    default:
      return std::nullopt;
  }
}

std::string_view statusOfCartridge(std::uint8_t code) {
  switch (code) {
    case 0x10:
      return "Invalid";
    case 0x20:
      return "Missing";
    case 0x21:
      return "Incorrect";
    default:
      return "Correct";
  }
}

bool isPhotoCartridge(std::uint8_t code) {
  return code == 0x70 || code == 0x71 || code == 0x72 || code == 0x7F;
}

bool isThreeColorCartridge(std::uint8_t code) {
  return code == 0xA0 || code == 0xA1 || code == 0xA2;
}

// The first byte of an item, the only one that is looked at; `otherwise` where the item is absent
// or empty.
std::uint8_t firstByte(const Dictionary& items, const Key& key, std::uint8_t otherwise) {
  const auto* value = items.get<Bytes>(key);
  return value == nullptr || value->empty() ? otherwise : value->front();
}

struct CartridgeRole {
  const char* nameKey;
  const char* defaultName;
  std::string_view color;
};

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
    mWord = __builtin_bswap32((mWord & ~0xFFU) | firstByte(mItems, key, lowest));
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

// The level of a cartridge on a "Quarry" or "Meadow" head, which count the dots that were fired.
std::int32_t dotCountPercentage(const Dictionary& items, std::span<const Key> dotCounts,
                                const Key& capacity) {
  DotWord counts(items);
  std::uint32_t smallest = std::numeric_limits<std::uint32_t>::max();
  for (const Key& dotCount : dotCounts) smallest = std::min(smallest, counts.read(dotCount));
  return percentageLeft(smallest, DotWord(items).read(capacity));
}

// The record of a cartridge on a "Quarry" or "Meadow" head. The third and fourth cartridge have no
// role there: their records hold the status alone.
void describeByDotCounts(Dictionary& record, std::size_t index, std::uint8_t code,
                         const Dictionary& items, const SupplyNames& names) {
  constexpr std::array<Key, 3> kColorCounts = {"kDotCountCyan", "kDotCountMagenta",
                                               "kDotCountYellow"};
  constexpr std::array<Key, 3> kPhotoCounts = {"kDotCountPhotoK", "kDotCountPhotoC",
                                               "kDotCountPhotoM"};
  constexpr std::array<Key, 1> kBlackCounts = {"kDotCountBlack"};
  if (index == 0) {
    describe(record, {"Color", "Color", "Color"},
             dotCountPercentage(items, kColorCounts, "kSlot2DotCapacityC"), names);
  } else if (index == 1 && isPhotoCartridge(code)) {
    describe(record, {"Photo", "Photo", "Photo"},
             dotCountPercentage(items, kPhotoCounts, "kPhotoDotCapacity"), names);
  } else if (index == 1) {
    describe(record, {"Black", "Black", "Black"},
             dotCountPercentage(items, kBlackCounts, "kSlot1DotCapacityB"), names);
  }
}

// The smallest of the levels, read one after the other into the same byte: an absent item repeats
// the one before it, and the first is 0.
std::uint8_t smallestLevel(const Dictionary& items, std::initializer_list<Key> levels) {
  std::uint8_t level = 0;
  std::uint8_t smallest = std::numeric_limits<std::uint8_t>::max();
  for (const Key& key : levels) {
    level = firstByte(items, key, level);
    smallest = std::min(smallest, level);
  }
  return smallest;
}

// The record of a cartridge on a "Lantern" head, which tells what is left: 0 to 255, unchanged.
void describeByLevels(Dictionary& record, std::size_t index, const Dictionary& items,
                      const SupplyNames& names) {
  const bool cyanIsPhoto = items.contains("kCyanPhotoInkRemaining");
  const bool magentaIsPhoto = items.contains("kMagentaPhotoInkRemaining");
  const bool colorsAreSeparate = items.contains("kThirdCartID") &&
                                 !isThreeColorCartridge(firstByte(items, "kFirstCartID", kNoCode));

  CartridgeRole role{};
  std::uint8_t level = 0;
  if (index == 0 && colorsAreSeparate) {
    role = {"CyanCartridge", "Cyan Cartridge", "Cyan"};
    level = cyanIsPhoto ? smallestLevel(items, {"kCyanPhotoInkRemaining"})
                        : smallestLevel(items, {"kCyanInkRemaining"});
  } else if (index == 0) {
    role = {"ColorCartridge", "Color Cartridge", "Color"};
    level = cyanIsPhoto
                ? smallestLevel(items, {"kCyanPhotoInkRemaining", "kMagentaPhotoInkRemaining",
                                        "kYellowPhotoInkRemaining"})
                : smallestLevel(
                      items, {"kCyanInkRemaining", "kMagentaInkRemaining", "kYellowInkRemaining"});
  } else if (index == 1) {
    role = {"BlackCartridge", "Black Cartridge", "Black"};
    level = smallestLevel(items, {"kMonoInkRemaining"});
  } else if (index == 2) {
    role = {"MagentaCartridge", "Magenta Cartridge", "Magenta"};
    level = magentaIsPhoto ? smallestLevel(items, {"kMagentaPhotoInkRemaining"})
                           : smallestLevel(items, {"kMagentaInkRemaining"});
  } else {
    // The yellow level follows the magenta photo item: printers report the photo inks together.
    role = {"YellowCartridge", "Yellow Cartridge", "Yellow"};
    level = magentaIsPhoto ? smallestLevel(items, {"kYellowPhotoInkRemaining"})
                           : smallestLevel(items, {"kYellowInkRemaining"});
  }

  describe(record, role, level, names);
  auto& status = *record.get<std::string>("SupplyStatus");
  if (level == 0 && status == "Correct") status = "Empty";
}

// Takes the cartridges away whose codes nobody knows: from here on they are absent.
void removeUnknownCartridges(Dictionary& items) {
  for (const Key& key : kCartridgeKeys) {
    const std::uint8_t code = firstByte(items, key, kNoCode);
    if (std::ranges::find(kValidCartridgeCodes, code) == kValidCartridgeCodes.end()) {
      items.remove(key);
    }
  }
}

}  // namespace

Status addInkjetReport(Dictionary items, const SupplyNames& names, Dictionary& report) {
  if (!items.contains("kFirstCartID")) return Status::kUndecodable;

  const std::uint8_t headCode =
      items.contains("kPrintHead") ? firstByte(items, "kPrintHead", kUnknownHead) : kMeadowHead;
  if (const auto head = nameOfHead(headCode)) report.set("PrintHeadType", std::string(*head));

  removeUnknownCartridges(items);
  const std::uint8_t firstCode = firstByte(items, "kFirstCartID", kNoCode);

  Status status = Status::kSuccess;
  std::uint8_t count = 0;
  for (std::size_t index = 0; index < kCartridgeKeys.size(); ++index) {
    // A three-colour cartridge is the whole colour side, whatever the printer says of further ones.
    if (index == 2 && isThreeColorCartridge(firstCode)) break;
    if (!items.contains(kCartridgeKeys[index])) continue;
    if (headCode >= kUnknownHead) {
      status = Status::kUndecodable;
      break;
    }

    const std::uint8_t code = firstByte(items, kCartridgeKeys[index], kNoCode);
    Dictionary record;
    record.add("SupplyStatus", std::string(statusOfCartridge(code)));
    if (headCode == kLanternHead) {
      describeByLevels(record, index, items, names);
    } else {
      describeByDotCounts(record, index, code, items, names);
    }
    report.set({"Supply", ++count}, std::move(record));
  }
  report.set("SupplyCount", std::int32_t{count});
  return status;
}

}  // namespace moxsupply
