#include "renderings/SupplyTable.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "text/Columns.h"
#include "text/TerminalText.h"
#include "text/Translated.h"

namespace moxsupply {

namespace {

constexpr int kMostBarColumns = 20;
constexpr int kFewestBarColumns = 5;
constexpr int kMostNameColumns = 44;
constexpr int kFewestNameColumns = 6;
constexpr int kPercentColumns = 6;  // " 100 %"
constexpr int kGap = 2;

constexpr std::string_view kReset = "\x1B[0m";
constexpr std::string_view kBold = "\x1B[1m";
constexpr std::string_view kDim = "\x1B[2m";
constexpr std::string_view kAlarm = "\x1B[31m";
constexpr std::string_view kWarning = "\x1B[33m";

// How a colour is written and drawn. Black is drawn in grey, which shows on a dark terminal too.
struct ColorRow {
  Color color;
  std::string_view word;
  std::string_view sequence;
};
constexpr std::array<ColorRow, 7> kColorRows = {{
    {Color::kNone, "-", ""},
    {Color::kCyan, translatable("cyan"), "\x1B[36m"},
    {Color::kMagenta, translatable("magenta"), "\x1B[35m"},
    {Color::kYellow, translatable("yellow"), "\x1B[33m"},
    {Color::kBlack, translatable("black"), "\x1B[90m"},
    {Color::kThreeColors, translatable("three-colour"), "\x1B[34m"},
    {Color::kPhoto, translatable("photo"), "\x1B[94m"},
}};

const ColorRow& rowFor(Color color) {
  return *std::ranges::find(kColorRows, color, &ColorRow::color);
}

std::string wordFor(Color color) { return translated(rowFor(color).word); }

// Rounded up: only a level of 0 has no bar at all.
std::string bar(int percentage, int columns) {
  const int filled = (percentage * columns + 99) / 100;
  const bool utf8 = localeIsUtf8();
  std::string drawn;
  for (int i = 0; i < columns; ++i) {
    if (i < filled) {
      drawn += utf8 ? "█" : "#";
    } else {
      drawn += utf8 ? "░" : ".";
    }
  }
  return drawn;
}

struct Cell {
  std::string text;
  std::string_view sequence = {};  // its colour
};

Cell statusOf(const Supply& supply, const Measure& measure) {
  switch (attentionOf(supply, measure)) {
    case Attention::kNone:
      return {translated("ok")};
    case Attention::kLow:
      return {translated("low"), kWarning};
    case Attention::kEmpty:
      return {translated("empty"), kAlarm};
    case Attention::kMissing:
      return {translated("missing"), kAlarm};
    case Attention::kWrong:
      break;
  }
  const bool isInvalid = supply.status == SupplyStatus::kInvalid;
  return {isInvalid ? translated("not valid here") : translated("wrong cartridge"), kAlarm};
}

// Why there is no level; empty where there is one.
std::string noLevelOf(const Supply& supply) {
  if (supply.level) return {};
  return supply.level.error() == NoLevel::kMissing ? translated("no cartridge")
                                                   : translated("level not known");
}

struct Row {
  Cell name;
  Cell color;
  Cell level;
  std::string percent = {};
  Cell status;
};

class Table {
 public:
  Table(const Supplies& supplies, bool colored, int columns, const Measure& measure)
      : mSupplies(supplies), mColored(colored), mMeasure(measure) {
    int statusColumns = columnsOf(mHeading.status.text);
    int wordColumns = columnsOf(mHeading.level.text);  // of a word in the place of bar and percent
    for (const Supply& supply : supplies.list) {
      mNameColumns = std::max(mNameColumns, columnsOf(forTerminal(supply.name)));
      mColorColumns = std::max(mColorColumns, columnsOf(wordFor(supply.color)));
      statusColumns = std::max(statusColumns, columnsOf(statusOf(supply, mMeasure).text));
      wordColumns = std::max(wordColumns, columnsOf(noLevelOf(supply)));
    }
    const int rest = columns - 3 * kGap - mColorColumns - kPercentColumns - statusColumns;
    const int fewestBarColumns = std::max(kFewestBarColumns, wordColumns - kPercentColumns);
    mNameColumns = std::min(
        {mNameColumns, kMostNameColumns, std::max(rest - fewestBarColumns, kFewestNameColumns)});
    mBarColumns = std::clamp(rest - mNameColumns, std::max(0, wordColumns - kPercentColumns),
                             kMostBarColumns);
  }

  [[nodiscard]] std::string text() const {
    std::string text = line(mHeading);
    for (const Supply& supply : mSupplies.list) text += line(rowOf(supply));
    return text;
  }

 private:
  [[nodiscard]] Row rowOf(const Supply& supply) const {
    Row row;
    row.name = {cutToColumns(forTerminal(supply.name), mNameColumns)};
    row.color = {wordFor(supply.color)};
    if (supply.level) {
      row.level = {bar(*supply.level, mBarColumns), rowFor(supply.color).sequence};
      row.percent = fmt::format("{:>{}}", fmt::format("{} %", *supply.level), kPercentColumns);
    } else {
      row.level = {noLevelOf(supply), kDim};
    }
    row.status = statusOf(supply, mMeasure);
    return row;
  }

  [[nodiscard]] std::string line(const Row& row) const {
    const int levelColumns = mBarColumns + kPercentColumns - columnsOf(row.percent);
    std::string line = filled(row.name, mNameColumns + kGap) +
                       filled(row.color, mColorColumns + kGap) + filled(row.level, levelColumns) +
                       row.percent + filled({}, kGap) + filled(row.status, 0);
    line.erase(line.find_last_not_of(' ') + 1);
    return line + '\n';
  }

  // The cell in its colour, with blanks after it up to `columns`.
  [[nodiscard]] std::string filled(const Cell& cell, int columns) const {
    const int blanks = std::max(0, columns - columnsOf(cell.text));
    const bool inColor = mColored && !cell.sequence.empty();
    return fmt::format("{}{}{}{:{}}", inColor ? cell.sequence : "", cell.text,
                       inColor ? kReset : "", "", blanks);
  }

  const Supplies& mSupplies;
  bool mColored;
  Measure mMeasure;
  Row mHeading = {.name = {translated("SUPPLY"), kBold},
                  .color = {translated("COLOUR"), kBold},
                  .level = {translated("LEVEL"), kBold},
                  .status = {translated("STATUS"), kBold}};
  int mNameColumns = columnsOf(mHeading.name.text);
  int mColorColumns = columnsOf(mHeading.color.text);
  int mBarColumns = kMostBarColumns;
};

}  // namespace

std::string supplyTable(const Supplies& supplies, bool colored, int columns,
                        const Measure& measure) {
  return Table(supplies, colored, columns, measure).text();
}

namespace {

std::string wordsFor(const Pages& pages) {
  if (pages.printed && pages.capacity) {
    return translated("{} of {}", *pages.printed, *pages.capacity);
  }
  if (pages.printed) return std::to_string(*pages.printed);
  return pages.capacity ? translated("of {}", *pages.capacity) : "";
}

}  // namespace

std::string supplyDetails(const Supplies& supplies, int columns) {
  constexpr int kMostOtherColumns = 50;  // what an ordinary part, serial number and count take
  const int nameColumns =
      std::clamp(columns - kMostOtherColumns, kFewestNameColumns, kMostNameColumns);
  std::vector<std::vector<std::string>> rows = {
      {translated("SUPPLY"), translated("PART"), translated("SERIAL"), translated("PAGES")}};
  for (const Supply& supply : supplies.list) {
    const std::string pages = wordsFor(supply.pages);
    if (supply.part.empty() && supply.serial.empty() && pages.empty()) continue;
    rows.push_back({cutToColumns(forTerminal(supply.name), nameColumns), forTerminal(supply.part),
                    forTerminal(supply.serial), pages});
  }
  if (rows.size() == 1) {
    return translated("The printer tells no part numbers, serial numbers or pages.") + '\n';
  }
  return inColumns(rows);
}

namespace {

// Empty where nothing is needed.
std::string neededBy(const Supply& supply, const Measure& measure) {
  const std::string name = forTerminal(supply.name);
  switch (attentionOf(supply, measure)) {
    case Attention::kNone:
      return {};
    case Attention::kLow:
      return translated("{} low ({} %)", name, *supply.level);
    case Attention::kEmpty:
      return translated("{} empty", name);
    case Attention::kMissing:
      return translated("{} missing", name);
    case Attention::kWrong:
      break;
  }
  return translated("{} wrong cartridge", name);
}

}  // namespace

std::string needsInWords(const Supplies& supplies, const Measure& measure) {
  std::string needs;
  for (const Supply& supply : supplies.list) {
    const std::string needed = neededBy(supply, measure);
    if (!needed.empty() && !needs.empty()) needs += translated(", ");
    needs += needed;
  }
  return needs;
}

std::string okInWords(const Supplies& supplies) {
  const Supply* lowest = nullptr;
  for (const Supply& supply : supplies.list) {
    const bool counts = isCartridge(supply) && supply.level;
    if (counts && (lowest == nullptr || *supply.level < *lowest->level)) lowest = &supply;
  }
  const std::string count = countedSupplies(supplies.list.size());
  if (lowest == nullptr) return translated("{}, ok", count);
  return translated("{}, ok; lowest: {} {} %", count, forTerminal(lowest->name), *lowest->level);
}

std::string countedSupplies(std::size_t count) {
  return translatedCount(count, "{} supply", "{} supplies", count);
}

}  // namespace moxsupply
