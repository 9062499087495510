#include "explain/ExplainedLevels.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "front/InkjetLevels.h"
#include "front/LaserSupplies.h"
#include "npa/Merging.h"

namespace moxsupply {

namespace {

std::string wordsForColor(std::string_view color) {
  if (color == "Color") return "three colours";
  std::string words(color);
  std::ranges::transform(words, words.begin(), [](unsigned char c) { return std::tolower(c); });
  return words;
}

// Says which items each cartridge's level is made of.
class Cartridges {
 public:
  Cartridges(Explanation& text, const Dictionary& sent) : mText(text), mSent(sent), mItems(sent) {
    removeUnknownCartridges(mItems);
  }

  void explain() {
    const PrintHead* head = printHeadOf(mItems);
    if (!mItems.contains("kPrintHead")) {
      mText.note(fmt::format("no item 0019: the print head counts as a {}", head->name));
    }
    if (head == nullptr) {
      return mText.note("a print head that is not known: the first cartridge fails the query");
    }
    for (std::size_t index = 0; index < cartridgeCount(mItems); ++index) {
      explainCartridge(index, *head);
    }
    if (beginsWithThreeColors(mItems)) {
      mText.note("the first cartridge has three colours: a third and a fourth are not reported");
    }
  }

 private:
  void explainCartridge(std::size_t index, const PrintHead& head) {
    const CartridgeCode* cartridge = cartridgeIn(mItems, index);
    if (cartridge == nullptr) {
      const Key& key = kCartridgeKeys.at(index);
      if (mSent.contains(key)) {
        mText.note(fmt::format("{} has a code that is not known: it is left out", key.text()));
      }
      return;
    }
    ++mNumber;
    if (head.levels == LevelSource::kDots) {
      explainDots(dotLevelOf(index, cartridge->kind));
    } else {
      explainInk(inkLevelOf(index, mItems));
    }
  }

  void explainDots(const DotLevel* level) {
    if (level == nullptr) return say("no part in the level of this print head: a status alone");
    std::vector<std::string> counts;
    for (const Key& count : level->counts) counts.push_back(count.text());
    say(fmt::format("{}, {} of {}", wordsForColor(level->role.color), fmt::join(counts, ", "),
                    level->capacity.text()));
    if (counts.size() > 1) {
      mText.note("the least counts, and each count carries the one before it in its lowest byte");
    }
  }

  void explainInk(const InkLevel& level) {
    const auto inks = inksOf(level, mItems);
    const bool isPhoto = inks.data() == level.photoInks.data();
    const std::string color = wordsForColor(level.role.color);
    if (inks.size() > 1) {
      say(fmt::format("{}, the least of {}", color,
                      isPhoto ? "the three photo inks" : "the three inks"));
      mText.note("an ink that did not come repeats the one before it");
      return;
    }
    const Key& ink = inks.front();
    say(fmt::format("{}, from {}", color, ink.text()));
    const auto value = firstByte(mItems, ink);
    if (!value) mText.note("it did not come: the level is 0");
    if (value && *value > 100) mText.note("a level above 100 is reported as it came");
    if (level.photoSign && *level.photoSign != level.photoInks.front()) {
      mText.note(fmt::format("{} follows the magenta photo item, which {}", color,
                             isPhoto ? "came" : "did not come"));
    }
  }

  void say(std::string_view what) {
    mText.line(fmt::format("        Supply {}: {}", mNumber, what));
  }

  Explanation& mText;
  const Dictionary& mSent;
  Dictionary mItems;  // without the cartridges that do not exist
  int mNumber = 0;
};

void explainColour(Explanation& text, const Dictionary& supply) {
  const auto* description = supply.get<std::string>("Description");
  if (description == nullptr) return;
  int words = 0;
  for (const std::string_view word : kColorWords) {
    if (description->find(word) != std::string::npos) ++words;
  }
  if (words > 1) {
    text.note(
        fmt::format("of several colour words the last of {} counts", fmt::join(kColorWords, ", ")));
  }
}

}  // namespace

void explainInkjetLevels(Explanation& text, const Dictionary& items) {
  text.line("Levels:");
  Cartridges(text, items).explain();
}

void explainLaserLevels(Explanation& text, const Dictionary& table, const Dictionary& record) {
  const std::int32_t count = reportedSupplies(table.number("Supplies Count"));
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
