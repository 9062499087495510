#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace moxsupply {

// Why a supply has no level to show.
enum class NoLevel {
  kUnknown,  // the printer gave none, or one that means nothing
  kMissing,  // there is no cartridge
};

// One supply as people are shown it, here and everywhere.
struct Supply {
  std::string name;    // as the printer or the catalogs name it; not escaped for anything
  std::string type;    // "toner", "fuser", "ink", "other"
  std::string color;   // "Cyan", "Magenta", "Yellow", "Black", "Color", "Photo"; empty: it has none
  std::string status;  // "Correct", "Empty", "Missing", "Invalid", "Incorrect"
  std::optional<int> percentage;  // 0 to 100; none: see `noLevel`
  NoLevel noLevel = NoLevel::kUnknown;
};

// At this level and below a cartridge is low.
constexpr int kLowLevel = 10;

// What is replaced when it is used up, unlike a fuser or a container.
[[nodiscard]] bool isCartridge(const Supply& supply);
[[nodiscard]] bool isEmpty(const Supply& supply);
[[nodiscard]] bool isLow(const Supply& supply);  // but not empty

// What a report says, for people.
struct Supplies {
  int status = 0;  // of the query; negative when it failed, and the report may be partial
  bool isLaser = false;
  std::string head;  // family of an inkjet's print head; empty for a laser printer or when unknown
  std::vector<Supply> list;
};

// Reads the JSON that `moxsupply report` prints.
//
// Of a laser supply, a level above 100 is 100 and -2147483648 is unknown; of an inkjet cartridge, a
// level above 100 is unknown; a missing cartridge has no level. A fuser or a container has no
// colour, whatever colour word the report gives it for want of another.
Supplies suppliesFromReport(std::string_view json);

}  // namespace moxsupply
