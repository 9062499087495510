#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <tl/expected.hpp>

namespace moxsupply {

enum class PrinterKind : std::uint8_t { kLaser, kInkjet };

enum class SupplyKind : std::uint8_t { kToner, kInk, kFuser, kOther };

enum class Color : std::uint8_t {
  kNone,
  kCyan,
  kMagenta,
  kYellow,
  kBlack,
  kThreeColors,  // cyan, magenta and yellow in one cartridge
  kPhoto,        // black, light cyan and light magenta in one cartridge
};

// What the printer says of a supply that is in it, or is not.
enum class SupplyStatus : std::uint8_t {
  kCorrect,
  kEmpty,
  kMissing,
  kInvalid,    // not made for this printer
  kIncorrect,  // in the wrong place
};

// Why a supply has no level to show.
enum class NoLevel : std::uint8_t {
  kUnknown,  // the printer gave none, or one that means nothing
  kMissing,  // there is no cartridge
};

// Percent, 0 to 100.
using Level = tl::expected<int, NoLevel>;

// Pages, as far as the printer told them.
struct Pages {
  std::optional<std::uint32_t> printed;   // since this supply went in
  std::optional<std::uint32_t> capacity;  // of a new one
};

// One supply as people are shown it, here and everywhere.
struct Supply {
  std::string name;  // as the printer or the catalogs name it; not escaped for anything
  SupplyKind kind = SupplyKind::kOther;
  Color color = Color::kNone;
  SupplyStatus status = SupplyStatus::kCorrect;  // as the printer told it
  Level level = tl::unexpected(NoLevel::kUnknown);

  // What identifies it, as the printer told it; empty where it did not, or where nobody looked.
  std::string part = {};    // of its kind, to buy another one
  std::string serial = {};  // of this very one
  Pages pages = {};
};

// What is replaced when it is used up, unlike a fuser or a container.
[[nodiscard]] inline bool isCartridge(const Supply& supply) {
  return supply.kind == SupplyKind::kToner || supply.kind == SupplyKind::kInk;
}

}  // namespace moxsupply
