#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "npa/BigEndianReader.h"
#include "npa/CPDTriplet.h"

namespace moxsupply {

// The payload of the answer to the inkjet query: a count of two bytes, which must not be 0 and says
// nothing more, then the items back to back.
constexpr std::size_t kFirstItem = 2;

// An item: an id of two bytes, the length of its value, the value.
struct InkjetItem {
  std::uint16_t id;
  std::span<const std::uint8_t> value;

  static constexpr std::size_t kHeadSize = 3;

  // Nothing when the item is cut.
  static std::optional<InkjetItem> read(const BigEndianReader& payload,
                                        std::size_t offset) noexcept {
    const auto id = payload.u16(offset);
    const auto length = payload.u8(offset + 2);
    if (!id || !length) return std::nullopt;
    const auto value = payload.bytes(offset + kHeadSize, *length);
    if (!value) return std::nullopt;
    return InkjetItem{*id, *value};
  }

  [[nodiscard]] std::size_t size() const noexcept { return kHeadSize + value.size(); }

  // The name under which the item is kept; null for one that is not.
  [[nodiscard]] const char* key() const noexcept {
    const auto* row = std::ranges::find_if(CPDTriplet, [&](const CPDTripletRow& known) {
      return known.key == nullptr || static_cast<std::uint16_t>(known.itemId) == id;
    });
    return row->key;
  }
};

}  // namespace moxsupply
