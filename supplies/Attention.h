#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "supplies/Supply.h"
#include "supplies/Words.h"

namespace moxsupply {

// What a supply needs of people. One judgement for every page, metric, message and table.
enum class Attention : std::uint8_t { kNone, kLow, kEmpty, kMissing, kWrong };

// Their words for programs: people's scripts compare with them.
constexpr std::array<Word<Attention>, 5> kAttentions = {{
    {Attention::kNone, "none"},
    {Attention::kLow, "low"},
    {Attention::kEmpty, "empty"},
    {Attention::kMissing, "missing"},
    {Attention::kWrong, "wrong"},
}};
[[nodiscard]] constexpr std::string_view wordOf(Attention attention) {
  return wordIn(kAttentions, attention);
}

// At this level and below a cartridge is low, where nobody has chosen another level.
constexpr int kLowLevel = 10;

// The levels that can be chosen: at 0 a cartridge is empty, and at 100 each would be low.
constexpr int kLeastLowLevel = 1;
constexpr int kMostLowLevel = 99;

// By what a supply is judged.
struct Measure {
  int lowLevel = kLowLevel;  // percent: low at this level and below
  bool judgesAll = false;    // fusers and containers by their levels as well
};

// Judges one reading of a supply:
//
//   status              level            cartridge   fuser, container
//   Missing             any              missing     missing
//   Invalid, Incorrect  any              wrong       wrong
//   Empty               any              empty       none
//   Correct             0                empty       none
//   Correct             1 to the low one low         none
//   Correct             more, or unknown none        none
//
// The level of a fuser or a container says nothing, since no two makers mean the same by it; who
// knows better has it judged like that of a cartridge.
[[nodiscard]] Attention attentionOf(const Supply& supply, const Measure& measure = {});

}  // namespace moxsupply
