#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "npa/BigEndianReader.h"
#include "values/Dictionary.h"

// The record in the answer to the device query: a head, then elements by tag. Group 2 among them
// has, among its children, table 8, whose children are the supplies.
namespace moxsupply {

// Positions that a walk holds wrap modulo 65536; an offset added to one to look at a byte does not.
using Position = std::uint16_t;

// The head of the record.
constexpr std::size_t kMarkerAt = 0;  // 2 bytes, anything but 0
constexpr std::size_t kFormAt = 38;   // 1 byte
constexpr std::uint8_t kFormOfRecord = 0x01;
constexpr std::size_t kElementCountAt = 40;  // 2 bytes
constexpr std::uint16_t kFewestElements = 2;
constexpr Position kFirstElement = 44;

constexpr std::uint8_t kGroupTag = 0x02;
constexpr std::uint8_t kSuppliesTableTag = 0x08;

// The head of the group, or of the table. Its form byte does not count.
struct Container {
  std::uint16_t childCount;  // third and fourth byte
  Position firstChild;

  static constexpr std::size_t kHeadSize = 6;

  static std::optional<Container> read(const BigEndianReader& record, Position position) noexcept {
    const auto childCount = record.u16(position + std::size_t{2});
    if (!childCount) return std::nullopt;
    return Container{*childCount, static_cast<Position>(position + kHeadSize)};
  }
};

// An element, or a field of a supply, that is passed over: a tag, a form, the length of its body,
// which the long form has two bytes later, and the body, of which nothing need be there.
struct SkippedElement {
  bool isLong;
  std::size_t size;  // head and body, 4 to 65,541

  static std::optional<SkippedElement> read(const BigEndianReader& record,
                                            Position position) noexcept {
    const auto form = record.u8(position + std::size_t{1});
    if (!form) return std::nullopt;
    const bool isLong = *form == 0x00;
    const auto length = record.u16(position + std::size_t{isLong ? 4U : 2U});
    if (!length) return std::nullopt;
    return SkippedElement{isLong, *length + std::size_t{isLong ? 6U : 4U}};
  }
};

// The head of a supply's entry in the table.
struct SupplyHead {
  std::uint8_t number;       // first byte; one beyond the table's count ends the table
  std::uint16_t length;      // fifth and sixth byte: how many bytes follow them
  std::uint16_t fieldCount;  // ninth and tenth byte: how many fields may be skipped

  static constexpr std::size_t kSize = 12;
  static constexpr std::size_t kMarkAt = 6;  // becomes 1 once the entry is read
  static constexpr std::size_t kLengthCountsFrom = 6;

  static std::optional<SupplyHead> read(const BigEndianReader& record, Position position) noexcept {
    if (!record.bytes(position, kSize)) return std::nullopt;
    return SupplyHead{*record.u8(position), *record.u16(position + std::size_t{4}),
                      *record.u16(position + std::size_t{8})};
  }
};

enum class FieldType : bool { kNumber, kText };

// A field of a supply that is known: a tag, a form that does not count, since only skipped fields
// have a long form, the length of the value, and the value.
struct SupplyField {
  std::uint8_t tag;
  Key key;
  FieldType type;
  std::optional<std::uint8_t> skippedUpTo;  // fields up to this tag are skipped on the way to it

  static constexpr std::size_t kLengthAt = 2;  // 2 bytes
  static constexpr std::size_t kHeadSize = 4;

  // How many bytes a number is read from. Lengths 1 and 2 are meant; with any other, four bytes are
  // taken whatever the length says.
  static constexpr std::size_t widthOfNumber(std::uint16_t length) noexcept {
    return length == 1 || length == 2 ? length : 4;
  }
};

// Each is looked for once, in this order.
// clang-format off
constexpr auto kSupplyFields = std::to_array<SupplyField>({
    {0x01, "Fixed ID",      FieldType::kNumber, {}  },
    {0x02, "Installed ID",  FieldType::kNumber, {}  },
    {0x03, "Description",   FieldType::kText,   {}  },
    {0x07, "Supply Type",   FieldType::kNumber, 0x06},
    {0x0F, "Max Level",     FieldType::kNumber, 0x0E},
    {0x10, "Current Level", FieldType::kNumber, {}  },
});
// clang-format on

}  // namespace moxsupply
