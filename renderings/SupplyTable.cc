#include "renderings/SupplyTable.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "supplies/Attention.h"
#include "text/TerminalText.h"

namespace moxsupply {

namespace {

constexpr int kBarColumns = 20;
constexpr int kMostNameColumns = 44;

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
    {Color::kCyan, "cyan", "\x1B[36m"},
    {Color::kMagenta, "magenta", "\x1B[35m"},
    {Color::kYellow, "yellow", "\x1B[33m"},
    {Color::kBlack, "black", "\x1B[90m"},
    {Color::kThreeColors, "three-colour", "\x1B[34m"},
    {Color::kPhoto, "photo", "\x1B[94m"},
}};

const ColorRow& rowFor(Color color) {
  return *std::ranges::find(kColorRows, color, &ColorRow::color);
}

// Rounded up: only a level of 0 has no bar at all.
std::string bar(int percentage) {
  const int filled = (percentage * kBarColumns + 99) / 100;
  const bool utf8 = localeIsUtf8();
  std::string drawn;
  for (int i = 0; i < kBarColumns; ++i) {
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

Cell statusOf(const Supply& supply) {
  switch (attentionOf(supply)) {
    case Attention::kNone:
      return {"ok"};
    case Attention::kLow:
      return {"low", kWarning};
    case Attention::kEmpty:
      return {"empty", kAlarm};
    case Attention::kMissing:
      return {"missing", kAlarm};
    case Attention::kWrong:
      break;
  }
  const bool isInvalid = supply.status == SupplyStatus::kInvalid;
  return {isInvalid ? "not valid here" : "wrong cartridge", kAlarm};
}

struct Row {
  Cell name;
  Cell color;
  Cell level;
  Cell percent;
  Cell status;
};

class Table {
 public:
  Table(const Supplies& supplies, bool colored) : mSupplies(supplies), mColored(colored) {
    for (const Supply& supply : supplies.list) {
      mNameColumns = std::max(mNameColumns, columnsOf(nameOf(supply)));
      mColorColumns = std::max(mColorColumns, columnsOf(rowFor(supply.color).word));
    }
  }

  [[nodiscard]] std::string text() const {
    std::string text = line({.name = {"SUPPLY", kBold},
                             .color = {"COLOUR", kBold},
                             .level = {"LEVEL", kBold},
                             .percent = {},
                             .status = {"STATUS", kBold}});
    for (const Supply& supply : mSupplies.list) text += line(rowOf(supply));
    return text;
  }

 private:
  static Row rowOf(const Supply& supply) {
    const ColorRow& color = rowFor(supply.color);
    Row row;
    row.name = {nameOf(supply)};
    row.color = {std::string(color.word)};
    if (supply.level) {
      row.level = {bar(*supply.level), color.sequence};
      row.percent = {fmt::format("{} %", *supply.level)};
    } else {
      const bool isMissing = supply.level.error() == NoLevel::kMissing;
      row.level = {isMissing ? "no cartridge" : "level not known", kDim};
    }
    row.status = statusOf(supply);
    return row;
  }

  [[nodiscard]] std::string line(const Row& row) const {
    std::string line = filled(row.name, mNameColumns + 2) + filled(row.color, mColorColumns + 2) +
                       filled(row.level, kBarColumns) + fmt::format("{:>6}  ", row.percent.text) +
                       filled(row.status, 0);
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

  static std::string nameOf(const Supply& supply) {
    return cutToColumns(forTerminal(supply.name), kMostNameColumns);
  }

  const Supplies& mSupplies;
  bool mColored;
  int mNameColumns = 6;
  int mColorColumns = 6;
};

}  // namespace

std::string supplyTable(const Supplies& supplies, bool colored) {
  return Table(supplies, colored).text();
}

std::string countedSupplies(std::size_t count) {
  return fmt::format("{} {}", count, count == 1 ? "supply" : "supplies");
}

}  // namespace moxsupply
