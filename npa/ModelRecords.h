#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "values/Dictionary.h"

// The record in the answer to the supplies query, in the layout of the printer's model family. It
// begins with a byte n and a serial number of n bytes.
namespace moxsupply {

enum class RecordType : std::uint8_t { kSingleSupply = 1, kPageCounts = 2, kDotCounts = 3 };

// What a field serves as, beside what the printer calls it.
enum class Level : std::uint8_t { kNone, kMaximum, kCurrent };
constexpr Key kMaxLevelOfRecord = "Kelvo Max Level";
constexpr Key kCurrentLevelOfRecord = "Kelvo Cur Level";

struct RecordField {
  std::size_t offset;
  std::size_t width;  // 1, 2 or 4 bytes
  Key key;
  Level level = Level::kNone;
};

// Offsets are counted from n in the head and in the one supply of type 1.
constexpr Key kSerialNumber = "Serial Number";
constexpr RecordField kSuppliesCount = {1, 1, "Supplies Count"};
constexpr RecordField kRecordLength = {2, 1, "Record Length"};
constexpr RecordField kSupplyLocation = {3, 1, "Supply Location"};  // of type 1 only
constexpr RecordField kRecordType = {4, 1, "Toner Prediction"};

// clang-format off
constexpr auto kSingleSupply = std::to_array<RecordField>({
    { 5, 1, "Supply ID"                            },
    { 6, 4, "Page Count First"                     },
    {10, 4, "Page Count Current"                   },
    {14, 4, "Page Level Current"                   },
    {18, 4, "Page Level Previous"                  },
    {22, 1, "Levels Count",         Level::kMaximum},
    {23, 1, "Current Transition",   Level::kCurrent},
    {24, 1, "Toner Type"                           },
});
constexpr std::size_t kPartNumberLengthAt = 25;  // its length m, 1 byte, and then the part number
constexpr Key kPartNumber = "Toner PartNumber";

// From n + m.
constexpr auto kBehindPartNumber = std::to_array<RecordField>({
    {26, 4, "Toner Capacity"                       },
    {30, 2, "Last Level Light"                     },
    {32, 2, "Last Level Dark"                      },
    {34, 2, "Light Gradiation"                     },
    {36, 2, "Dark Gradiation"                      },
    {38, 2, "Current Vantor"                       },
});

// An entry in the tables of types 2 and 3, from its first byte, which is the supply's number. The
// first one stands at n + 5, the others behind it.
constexpr std::size_t kFirstEntry = 5;

constexpr auto kPageCounts = std::to_array<RecordField>({
    { 1, 1, "Supply Location"                      },
    { 2, 4, "Supply Count",         Level::kMaximum},
    { 6, 4, "Current Supply Count", Level::kCurrent},
    {10, 4, "Pages Capacity"                       },
});

constexpr auto kDotCounts = std::to_array<RecordField>({
    { 1, 4, "Max Dot Count",        Level::kMaximum},
    { 5, 4, "Current Dot Count",    Level::kCurrent},
});
// clang-format on

constexpr std::size_t sizeOfEntry(std::span<const RecordField> fields) noexcept {
  return fields.back().offset + fields.back().width;
}

// A field that serves as a level has a second key.
constexpr std::size_t countKeys(std::span<const RecordField> fields) noexcept {
  std::size_t count = fields.size();
  for (const RecordField& field : fields) count += field.level == Level::kNone ? 0 : 1;
  return count;
}

}  // namespace moxsupply
