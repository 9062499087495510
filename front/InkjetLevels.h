#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "front/CartridgeCodes.h"
#include "values/Dictionary.h"

// Of which items the level of each cartridge is made, and what decides that: the print head, and
// which cartridges there are.
namespace moxsupply {

// The first byte of an item, the only one that is looked at; nothing where the item is absent or
// empty.
inline std::optional<std::uint8_t> firstByte(const Dictionary& items, const Key& key) noexcept {
  const auto* value = items.get<Bytes>(key);
  if (value == nullptr || value->empty()) return std::nullopt;
  return value->front();
}

// ---- Print heads

// Dots that were fired, or ink that is left.
enum class LevelSource : bool { kDots, kInk };

struct PrintHead {
  std::uint8_t code;
  std::string_view name;
  LevelSource levels;
};

inline constexpr auto kPrintHeads = std::to_array<PrintHead>({
    {0x00, "Quarry", LevelSource::kDots},
    {0x01, "Meadow", LevelSource::kDots},
    {0x02, "Lantern", LevelSource::kInk},
});
constexpr std::uint8_t kHeadWithoutItem = 0x01;

// Null for a head that nobody knows.
inline const PrintHead* printHeadOf(const Dictionary& items) noexcept {
  const auto code =
      items.contains("kPrintHead") ? firstByte(items, "kPrintHead") : kHeadWithoutItem;
  const auto* head = std::ranges::find(kPrintHeads, code, &PrintHead::code);
  return head == kPrintHeads.end() ? nullptr : head;
}

// ---- Cartridges

// By index: 0 colour or cyan, 1 black or photo, 2 magenta, 3 yellow.
inline constexpr std::array<Key, 4> kCartridgeKeys = {"kFirstCartID", "kSecondCartID",
                                                      "kThirdCartID", "kFourthCartID"};

// Null where there is no cartridge, or one of a code that nobody knows.
inline const CartridgeCode* cartridgeIn(const Dictionary& items, std::size_t index) noexcept {
  const auto code = firstByte(items, kCartridgeKeys.at(index));
  const auto* row = std::ranges::find(kCartridgeCodes, code, &CartridgeCode::code);
  return row == kCartridgeCodes.end() ? nullptr : row;
}

inline bool beginsWithThreeColors(const Dictionary& items) noexcept {
  const CartridgeCode* first = cartridgeIn(items, 0);
  return first != nullptr && first->kind == CartridgeKind::kThreeColors;
}

// Takes the cartridges away whose codes nobody knows: from here on they are absent.
inline void removeUnknownCartridges(Dictionary& items) noexcept {
  for (std::size_t index = 0; index < kCartridgeKeys.size(); ++index) {
    if (cartridgeIn(items, index) == nullptr) items.remove(kCartridgeKeys.at(index));
  }
}

// How many of the cartridges are reported at most. One of three colours is the whole colour side,
// whatever the printer says of further ones.
inline std::size_t cartridgeCount(const Dictionary& items) noexcept {
  return beginsWithThreeColors(items) ? 2 : kCartridgeKeys.size();
}

struct CartridgeRole {
  const char* nameKey;
  const char* defaultName;
  std::string_view color;
};

// ---- Levels by dots

struct DotLevel {
  CartridgeRole role;
  std::span<const Key> counts;  // the least of them counts
  Key capacity;
};

inline constexpr std::array<Key, 3> kColorDots = {"kDotCountCyan", "kDotCountMagenta",
                                                  "kDotCountYellow"};
inline constexpr std::array<Key, 3> kPhotoDots = {"kDotCountPhotoK", "kDotCountPhotoC",
                                                  "kDotCountPhotoM"};
inline constexpr std::array<Key, 1> kBlackDots = {"kDotCountBlack"};

inline constexpr DotLevel kColorLevel = {
    {"Color", "Color", "Color"}, kColorDots, "kSlot2DotCapacityC"};
inline constexpr DotLevel kPhotoLevel = {
    {"Photo", "Photo", "Photo"}, kPhotoDots, "kPhotoDotCapacity"};
inline constexpr DotLevel kBlackLevel = {
    {"Black", "Black", "Black"}, kBlackDots, "kSlot1DotCapacityB"};

// Null for the third and the fourth cartridge, which have no role there.
constexpr const DotLevel* dotLevelOf(std::size_t index, CartridgeKind kind) noexcept {
  if (index == 0) return &kColorLevel;
  if (index == 1) return kind == CartridgeKind::kPhoto ? &kPhotoLevel : &kBlackLevel;
  return nullptr;
}

// ---- Levels by ink

struct InkLevel {
  CartridgeRole role;
  std::span<const Key> inks;       // the least of them is the level
  std::span<const Key> photoInks;  // or of these, where the printer sent the item `photoSign`
  std::optional<Key> photoSign;
};

inline constexpr std::array<Key, 3> kInks = {"kCyanInkRemaining", "kMagentaInkRemaining",
                                             "kYellowInkRemaining"};
inline constexpr std::array<Key, 3> kPhotoInks = {
    "kCyanPhotoInkRemaining", "kMagentaPhotoInkRemaining", "kYellowPhotoInkRemaining"};
inline constexpr std::array<Key, 1> kBlackInks = {"kMonoInkRemaining"};

inline constexpr InkLevel kThreeColorInk = {{"ColorCartridge", "Color Cartridge", "Color"},
                                            kInks,
                                            kPhotoInks,
                                            Key("kCyanPhotoInkRemaining")};
inline constexpr InkLevel kCyanInk = {{"CyanCartridge", "Cyan Cartridge", "Cyan"},
                                      std::span(kInks).first<1>(),
                                      std::span(kPhotoInks).first<1>(),
                                      Key("kCyanPhotoInkRemaining")};
inline constexpr InkLevel kBlackInk = {
    {"BlackCartridge", "Black Cartridge", "Black"}, kBlackInks, {}, {}};
inline constexpr InkLevel kMagentaInk = {{"MagentaCartridge", "Magenta Cartridge", "Magenta"},
                                         std::span(kInks).subspan<1, 1>(),
                                         std::span(kPhotoInks).subspan<1, 1>(),
                                         Key("kMagentaPhotoInkRemaining")};
// The yellow level follows the magenta photo item: printers report the photo inks together.
inline constexpr InkLevel kYellowInk = {{"YellowCartridge", "Yellow Cartridge", "Yellow"},
                                        std::span(kInks).last<1>(),
                                        std::span(kPhotoInks).last<1>(),
                                        Key("kMagentaPhotoInkRemaining")};

// `items` without the cartridges that do not exist: the first is of one colour where there is a
// third.
inline const InkLevel& inkLevelOf(std::size_t index, const Dictionary& items) noexcept {
  if (index == 1) return kBlackInk;
  if (index == 2) return kMagentaInk;
  if (index == 3) return kYellowInk;
  const bool colorsAreSeparate = items.contains("kThirdCartID") && !beginsWithThreeColors(items);
  return colorsAreSeparate ? kCyanInk : kThreeColorInk;
}

inline std::span<const Key> inksOf(const InkLevel& level, const Dictionary& items) noexcept {
  return level.photoSign && items.contains(*level.photoSign) ? level.photoInks : level.inks;
}

}  // namespace moxsupply
