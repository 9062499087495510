#include "explain/ExplainedLevels.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "npa/Merging.h"

namespace moxsupply {

namespace {

constexpr std::array<Key, 4> kCartridges = {"kFirstCartID", "kSecondCartID", "kThirdCartID",
                                            "kFourthCartID"};

constexpr std::array<std::uint8_t, 31> kKnownCodes = {
    0x10, 0x20, 0x21, 0x30, 0x31, 0x32, 0x3F, 0x50, 0x51, 0x52, 0x5F, 0x70, 0x71, 0x72, 0x7F, 0x80,
    0x90, 0x91, 0x92, 0xA0, 0xA1, 0xA2, 0xB0, 0xB1, 0xB2, 0xC0, 0xC1, 0xC2, 0xD0, 0xD1, 0xD2};

std::optional<std::uint8_t> firstByte(const Dictionary& items, const Key& key) {
  const auto* value = items.get<Bytes>(key);
  return value == nullptr || value->empty() ? std::nullopt : std::optional(value->front());
}

bool isThreeColour(std::optional<std::uint8_t> code) {
  return code && *code >= 0xA0 && *code <= 0xA2;
}

bool isPhoto(std::optional<std::uint8_t> code) {
  return code && ((*code >= 0x70 && *code <= 0x72) || *code == 0x7F);
}

// Says which items one cartridge's level is made of.
class Cartridges {
 public:
  Cartridges(Explanation& text, const Dictionary& items)
      : mText(text), mItems(items), mFirst(firstByte(items, kCartridges[0])) {}

  void explain() {
    if (!mItems.contains("kPrintHead")) {
      mText.note("no item 0019: the print head counts as a Meadow");
    }
    const auto head = mItems.contains("kPrintHead") ? firstByte(mItems, "kPrintHead")
                                                    : std::optional<std::uint8_t>(1);
    if (!head || *head > 2) {
      return mText.note("a print head that is not known: the first cartridge fails the query");
    }
    for (std::size_t index = 0; index < kCartridges.size(); ++index) {
      if (index == 2 && isThreeColour(mFirst)) {
        return mText.note(
            "the first cartridge has three colours: a third and a fourth are not "
            "reported");
      }
      if (isThere(index)) explainCartridge(index, *head == 2);
    }
  }

 private:
  bool isThere(std::size_t index) {
    if (!mItems.contains(kCartridges[index])) return false;
    const auto code = firstByte(mItems, kCartridges[index]);
    const bool isKnown = code && std::ranges::find(kKnownCodes, *code) != kKnownCodes.end();
    if (!isKnown) {
      mText.note(fmt::format("{} has a code that is not known: it is left out",
                             kCartridges[index].text()));
    }
    return isKnown;
  }

  void explainCartridge(std::size_t index, bool isLantern) {
    ++mNumber;
    if (isLantern) {
      explainLantern(index);
    } else if (index == 0) {
      dots("three colours", "kDotCountCyan, kDotCountMagenta, kDotCountYellow",
           "kSlot2DotCapacityC", true);
    } else if (index == 1 && isPhoto(firstByte(mItems, kCartridges[1]))) {
      dots("photo", "kDotCountPhotoK, kDotCountPhotoC, kDotCountPhotoM", "kPhotoDotCapacity", true);
    } else if (index == 1) {
      dots("black", "kDotCountBlack", "kSlot1DotCapacityB", false);
    } else {
      say("no part in the level of this print head: a status alone");
    }
  }

  void dots(std::string_view colour, std::string_view counts, std::string_view capacity,
            bool isSeveral) {
    say(fmt::format("{}, {} of {}", colour, counts, capacity));
    if (isSeveral) {
      mText.note("the least counts, and each count carries the one before it in its lowest byte");
    }
  }

  void explainLantern(std::size_t index) {
    const bool cyanIsPhoto = mItems.contains("kCyanPhotoInkRemaining");
    const bool magentaIsPhoto = mItems.contains("kMagentaPhotoInkRemaining");
    const bool isSeparate = mItems.contains("kThirdCartID") && !isThreeColour(mFirst);
    if (index == 0 && !isSeparate) {
      say(fmt::format("three colours, the least of {}",
                      cyanIsPhoto ? "the three photo inks" : "the three inks"));
      mText.note("an ink that did not come repeats the one before it");
    } else if (index == 0) {
      level("cyan", cyanIsPhoto ? "kCyanPhotoInkRemaining" : "kCyanInkRemaining");
    } else if (index == 1) {
      level("black", "kMonoInkRemaining");
    } else if (index == 2) {
      level("magenta", magentaIsPhoto ? "kMagentaPhotoInkRemaining" : "kMagentaInkRemaining");
    } else {
      level("yellow", magentaIsPhoto ? "kYellowPhotoInkRemaining" : "kYellowInkRemaining");
      mText.note(fmt::format("yellow follows the magenta photo item, which {}",
                             magentaIsPhoto ? "came" : "did not come"));
    }
  }

  void level(std::string_view colour, std::string_view item) {
    const auto value = firstByte(mItems, Key::fromTable(item));
    say(fmt::format("{}, from {}", colour, item));
    if (!value) mText.note("it did not come: the level is 0");
    if (value && *value > 100) mText.note("a level above 100 is reported as it came");
  }

  void say(std::string_view what) {
    mText.line(fmt::format("        Supply {}: {}", mNumber, what));
  }

  Explanation& mText;
  const Dictionary& mItems;
  std::optional<std::uint8_t> mFirst;
  int mNumber = 0;
};

void explainColour(Explanation& text, const Dictionary& supply) {
  const auto* description = supply.get<std::string>("Description");
  if (description == nullptr) return;
  int words = 0;
  for (const char* word : {"Cyan", "Magenta", "Yellow"}) {
    if (description->find(word) != std::string::npos) ++words;
  }
  if (words > 1) text.note("of several colour words the last of Cyan, Magenta, Yellow counts");
}

}  // namespace

void explainInkjetLevels(Explanation& text, const Dictionary& items) {
  text.line("Levels:");
  Cartridges(text, items).explain();
}

void explainLaserLevels(Explanation& text, const Dictionary& table, const Dictionary& record) {
  const std::int32_t count = table.number("Supplies Count") & 0xFF;
  if (count > 0) text.line("Levels:");
  for (std::int32_t i = 1; i <= count; ++i) {
    const auto* supply = table.get<Dictionary>({"Supply", i});
    const bool hasOwn = hasLevels(supply);
    const bool isFilled = !hasOwn && levelsOf(i, record) != nullptr;
    text.line(fmt::format("        Supply {}: {}", i,
                          hasOwn     ? "from the supplies table"
                          : isFilled ? "from the model-family record"
                                     : "not told by either answer"));
    if (supply == nullptr || !supply->contains("Description")) {
      text.note("a supply without a description fails the query");
      return;
    }
    explainColour(text, *supply);
    const bool hasMaximum = isFilled || supply->number("Max Level") != 0;
    if (!hasMaximum) text.note("without a full level the percentage is -2147483648, not known");
  }
}

}  // namespace moxsupply
