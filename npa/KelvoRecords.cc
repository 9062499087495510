#include <optional>
#include <utility>

#include "npa/BigEndianReader.h"
#include "npa/CountedText.h"
#include "npa/MoxNPAUtilityCommand.h"

using moxsupply::BigEndianReader;
using moxsupply::Dictionary;
using moxsupply::Key;

namespace {

// A 32-bit value with its top bit set becomes negative.
void store(Dictionary& result, const Key& key, std::optional<std::uint32_t> value) {
  if (value) result.add(key, static_cast<std::int32_t>(*value));
}

void storeText(Dictionary& result, const Key& key, const BigEndianReader& in, std::size_t offset,
               std::size_t length) {
  const auto field = in.bytes(offset, length);
  if (!field) return;
  if (auto text = moxsupply::countedText(*field)) result.add(key, *std::move(text));
}

// The first byte of every record: the length of the serial number that follows it. All further
// offsets are counted from there.
std::size_t serialNumberLength(const BigEndianReader& in) { return in.u8(0).value_or(0); }

// What all three records begin with. `furtherEntries`: how many more the record will have.
Dictionary readHead(const BigEndianReader& in, std::size_t furtherEntries) {
  const std::size_t n = serialNumberLength(in);
  Dictionary result;
  result.reserve(4 + furtherEntries);
  storeText(result, "Serial Number", in, 1, n);
  store(result, "Supplies Count", in.u8(n + 1));
  store(result, "Record Length", in.u8(n + 2));
  store(result, "Toner Prediction", in.u8(n + 4));
  return result;
}

// How many supplies the table of types 2 and 3 is said to have.
std::size_t suppliesCount(const BigEndianReader& in) {
  return in.u8(serialNumberLength(in) + 1).value_or(0);
}

// Reads the table of types 2 and 3, which follows the head: as many entries as "Supplies Count"
// says, as far as they are whole. `readEntry` makes an entry's dictionary; the entry's first byte,
// the supply's number, is the key. A later entry of the same number replaces the earlier one.
template <typename ReadEntry>
void readTable(Dictionary& result, const BigEndianReader& in, std::size_t entrySize,
               ReadEntry readEntry) {
  const std::size_t n = serialNumberLength(in);
  const std::size_t count = suppliesCount(in);
  for (std::size_t i = 0; i < count; ++i) {
    const auto entry = in.bytes(n + 5 + entrySize * i, entrySize);
    if (!entry) return;
    const BigEndianReader fields(*entry);
    result.set(Key(std::int32_t{*fields.u8(0)}), readEntry(fields));
  }
}

bool isEmptyLength(std::uint32_t length) { return static_cast<std::uint16_t>(length) == 0; }

}  // namespace

std::optional<Dictionary> MoxNPAUtilityCommand::parseKelvoS(std::span<const std::uint8_t> record,
                                                            std::uint32_t withLength) const noexcept
    try {
  if (isEmptyLength(withLength)) return std::nullopt;
  const BigEndianReader in(record);
  const std::size_t n = serialNumberLength(in);
  Dictionary result = readHead(in, 18);
  store(result, "Supply Location", in.u8(n + 3));
  store(result, "Supply ID", in.u8(n + 5));
  store(result, "Page Count First", in.u32(n + 6));
  store(result, "Page Count Current", in.u32(n + 10));
  store(result, "Page Level Current", in.u32(n + 14));
  store(result, "Page Level Previous", in.u32(n + 18));
  // The number of levels and the current transition serve as the supply's levels too.
  store(result, "Kelvo Max Level", in.u8(n + 22));
  store(result, "Levels Count", in.u8(n + 22));
  store(result, "Kelvo Cur Level", in.u8(n + 23));
  store(result, "Current Transition", in.u8(n + 23));
  store(result, "Toner Type", in.u8(n + 24));
  const auto partNumberLength = in.u8(n + 25);
  if (!partNumberLength) return result;
  const std::size_t m = *partNumberLength;
  if (m != 0) storeText(result, "Toner PartNumber", in, n + 26, m);
  store(result, "Toner Capacity", in.u32(n + m + 26));
  store(result, "Last Level Light", in.u16(n + m + 30));
  store(result, "Last Level Dark", in.u16(n + m + 32));
  store(result, "Light Gradiation", in.u16(n + m + 34));
  store(result, "Dark Gradiation", in.u16(n + m + 36));
  store(result, "Current Vantor", in.u16(n + m + 38));
  return result;
} catch (...) {
  return std::nullopt;
}

std::optional<Dictionary> MoxNPAUtilityCommand::parseKelvoSC(
    std::span<const std::uint8_t> record, std::uint32_t withLength) const noexcept try {
  if (isEmptyLength(withLength)) return std::nullopt;
  const BigEndianReader in(record);
  Dictionary result = readHead(in, suppliesCount(in));
  readTable(result, in, 14, [](const BigEndianReader& entry) {
    Dictionary supply;
    supply.reserve(6);
    store(supply, "Supply Location", entry.u8(1));
    store(supply, "Kelvo Max Level", entry.u32(2));
    store(supply, "Supply Count", entry.u32(2));
    store(supply, "Kelvo Cur Level", entry.u32(6));
    store(supply, "Current Supply Count", entry.u32(6));
    store(supply, "Pages Capacity", entry.u32(10));
    return supply;
  });
  return result;
} catch (...) {
  return std::nullopt;
}

std::optional<Dictionary> MoxNPAUtilityCommand::parseKelvoColor(
    std::span<const std::uint8_t> record, std::uint32_t withLength) const noexcept try {
  if (isEmptyLength(withLength)) return std::nullopt;
  const BigEndianReader in(record);
  Dictionary result = readHead(in, suppliesCount(in));
  readTable(result, in, 9, [](const BigEndianReader& entry) {
    Dictionary supply;
    supply.reserve(4);
    store(supply, "Kelvo Max Level", entry.u32(1));
    store(supply, "Max Dot Count", entry.u32(1));
    store(supply, "Kelvo Cur Level", entry.u32(5));
    store(supply, "Current Dot Count", entry.u32(5));
    return supply;
  });
  return result;
} catch (...) {
  return std::nullopt;
}
