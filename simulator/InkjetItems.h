#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace moxsupply::simulator {

// The items that hosts know, in the order in which a model's items are sent. Some are known under
// a second id as well; 0 is no id.
struct InkjetItemRow {
  std::string_view group;  // the words of the model files
  std::string_view name;
  std::uint16_t id;
  std::uint16_t secondId;
};

// clang-format off
constexpr std::array kInkjetItems = std::to_array<InkjetItemRow>({
    {"head",          "",                    0x0019, 0},
    {"cartridges",    "1",                   0x0110, 0x0100},
    {"cartridges",    "2",                   0x0120, 0x0200},
    {"cartridges",    "3",                   0x0130, 0},
    {"cartridges",    "4",                   0x0140, 0},
    {"dot-counts",    "black",               0x0400, 0},
    {"dot-counts",    "cyan",                0x0401, 0},
    {"dot-counts",    "magenta",             0x0402, 0},
    {"dot-counts",    "yellow",              0x0403, 0},
    {"dot-counts",    "photo-black",         0x0404, 0},
    {"dot-counts",    "photo-cyan",          0x0405, 0},
    {"dot-counts",    "photo-magenta",       0x0406, 0},
    {"dot-counts",    "alternative-cyan",    0x0407, 0},
    {"dot-counts",    "alternative-magenta", 0x0408, 0},
    {"dot-counts",    "alternative-yellow",  0x0409, 0},
    {"capacities",    "black",               0x0414, 0x0203},
    {"capacities",    "colour",              0x0415, 0x0103},
    {"capacities",    "alternative-colour",  0x0416, 0},
    {"capacities",    "photo",               0x0417, 0},
    {"capacities",    "magenta",             0x0418, 0},
    {"capacities",    "yellow",              0x0419, 0},
    {"ink-remaining", "black",               0x0427, 0},
    {"ink-remaining", "cyan",                0x0428, 0},
    {"ink-remaining", "magenta",             0x0429, 0},
    {"ink-remaining", "yellow",              0x042A, 0},
    {"ink-remaining", "photo-cyan",          0x042B, 0},
    {"ink-remaining", "photo-magenta",       0x042C, 0},
    {"ink-remaining", "photo-yellow",        0x042D, 0},
});
// clang-format on

}  // namespace moxsupply::simulator
