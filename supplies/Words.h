#pragma once

#include <array>
#include <optional>
#include <string_view>

#include "supplies/Supply.h"

namespace moxsupply {

// The words of a report. They stand in files and in metrics of people: never change them.

template <typename Meaning>
struct Word {
  Meaning meaning;
  std::string_view text;
};

constexpr std::array<Word<PrinterKind>, 2> kPrinterKinds = {{
    {PrinterKind::kLaser, "Laser"},
    {PrinterKind::kInkjet, "Inkjet"},
}};
constexpr std::array<Word<SupplyKind>, 4> kSupplyKinds = {{
    {SupplyKind::kToner, "toner"},
    {SupplyKind::kInk, "ink"},
    {SupplyKind::kFuser, "fuser"},
    {SupplyKind::kOther, "other"},
}};
constexpr std::array<Word<Color>, 7> kColors = {{
    {Color::kNone, ""},
    {Color::kCyan, "Cyan"},
    {Color::kMagenta, "Magenta"},
    {Color::kYellow, "Yellow"},
    {Color::kBlack, "Black"},
    {Color::kThreeColors, "Color"},
    {Color::kPhoto, "Photo"},
}};
constexpr std::array<Word<SupplyStatus>, 5> kSupplyStatuses = {{
    {SupplyStatus::kCorrect, "Correct"},
    {SupplyStatus::kEmpty, "Empty"},
    {SupplyStatus::kMissing, "Missing"},
    {SupplyStatus::kInvalid, "Invalid"},
    {SupplyStatus::kIncorrect, "Incorrect"},
}};

// The word for a meaning; every meaning has one in its table.
template <typename Words, typename Meaning>
[[nodiscard]] constexpr std::string_view wordIn(const Words& words, Meaning meaning) {
  for (const auto& word : words) {
    if (word.meaning == meaning) return word.text;
  }
  return {};
}

// What a word means; nothing when it is none of the table.
template <typename Meaning, std::size_t size>
[[nodiscard]] constexpr std::optional<Meaning> meaningIn(
    const std::array<Word<Meaning>, size>& words, std::string_view text) {
  for (const auto& word : words) {
    if (word.text == text) return word.meaning;
  }
  return std::nullopt;
}

[[nodiscard]] constexpr std::string_view wordOf(PrinterKind kind) {
  return wordIn(kPrinterKinds, kind);
}
[[nodiscard]] constexpr std::string_view wordOf(SupplyKind kind) {
  return wordIn(kSupplyKinds, kind);
}
[[nodiscard]] constexpr std::string_view wordOf(Color color) { return wordIn(kColors, color); }
[[nodiscard]] constexpr std::string_view wordOf(SupplyStatus status) {
  return wordIn(kSupplyStatuses, status);
}

}  // namespace moxsupply
