#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "history/Prospect.h"
#include "monitoring/PageMemory.h"
#include "monitoring/Prober.h"

namespace moxsupply {

// A printer as pages show it, in pieces of HTML.

// How a printer does, the worst first.
enum class Condition : std::uint8_t { kNeedsSupply, kNoAnswer, kLow, kNotRead, kFine };

struct ConditionRow {
  Condition condition;
  std::string_view style;
  std::string_view words;
  std::string_view symbol;
};
constexpr std::array<ConditionRow, 5> kConditions = {{
    {Condition::kNeedsSupply, "needs", "Needs a supply", "!"},
    {Condition::kNoAnswer, "silent", "No answer", "?"},
    {Condition::kLow, "low", "Running low", "↓"},
    {Condition::kNotRead, "new", "Not read yet", "…"},
    {Condition::kFine, "fine", "Fine", "✓"},
}};
[[nodiscard]] inline const ConditionRow& rowOf(Condition condition) {
  return kConditions.at(static_cast<std::size_t>(condition));
}

[[nodiscard]] Condition conditionOf(const Prober::Printer& printer);

// The same as a line.
[[nodiscard]] std::string stateOf(Condition condition);

// Its place, and its target where that is not its name; empty when there is neither.
[[nodiscard]] std::string whereOf(const ListedPrinter& listed);

// The address of its page, relative to the other pages; for HTML.
[[nodiscard]] std::string linkTo(const ListedPrinter& listed);

// Why it was not read, and what its supplies need; empty when there is nothing to say.
[[nodiscard]] std::string noteOf(const Prober::Printer& printer, Prober::Clock::time_point now);

// How old its reading is, and a button that sends the form "ask" of its page.
[[nodiscard]] std::string ageOf(const Prober::Printer& printer, Prober::Clock::time_point now);

// Its supplies, with what is remembered of them: on a card the first ones, with small curves.
enum class SuppliesLook : std::uint8_t { kCard, kPage };
constexpr std::size_t kMostSuppliesOfACard = 12;
[[nodiscard]] std::string suppliesOf(const Prober::Printer& printer, const PageMemory& memory,
                                     SuppliesLook look);

// "about 12 days left (9 to 20)", or why that is not known; empty for one that is empty.
[[nodiscard]] std::string timeLeft(const Prospect& prospect, Moment now);

// "12 s", "3 min", "2 h", "5 days".
[[nodiscard]] std::string spanInWords(std::chrono::milliseconds span);

// A name of a supply, for HTML.
[[nodiscard]] std::string shownName(std::string_view name);

}  // namespace moxsupply
