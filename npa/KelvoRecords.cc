#include <optional>
#include <utility>

#include "npa/BigEndianReader.h"
#include "npa/CountedText.h"
#include "npa/ModelRecords.h"
#include "npa/MoxNPAUtilityCommand.h"

using moxsupply::BigEndianReader;
using moxsupply::Dictionary;
using moxsupply::Key;
using moxsupply::Level;
using moxsupply::RecordField;

namespace {

// Stores a field of the part that begins at `base`. A 32-bit value with its top bit set becomes
// negative.
void store(Dictionary& result, const BigEndianReader& in, std::size_t base,
           const RecordField& field) {
  const auto value = in.number(base + field.offset, field.width);
  if (!value) return;
  const auto number = static_cast<std::int32_t>(*value);
  if (field.level == Level::kMaximum) result.add(moxsupply::kMaxLevelOfRecord, number);
  if (field.level == Level::kCurrent) result.add(moxsupply::kCurrentLevelOfRecord, number);
  result.add(field.key, number);
}

void store(Dictionary& result, const BigEndianReader& in, std::size_t base,
           std::span<const RecordField> fields) {
  for (const RecordField& field : fields) store(result, in, base, field);
}

void storeText(Dictionary& result, const Key& key, const BigEndianReader& in, std::size_t offset,
               std::size_t length) {
  const auto field = in.bytes(offset, length);
  if (!field) return;
  if (auto text = moxsupply::countedText(*field)) result.add(key, *std::move(text));
}

std::size_t serialNumberLength(const BigEndianReader& in) { return in.u8(0).value_or(0); }

// What all three records begin with. `furtherEntries`: how many more the record will have.
Dictionary readHead(const BigEndianReader& in, std::size_t furtherEntries) {
  const std::size_t n = serialNumberLength(in);
  Dictionary result;
  result.reserve(4 + furtherEntries);
  storeText(result, moxsupply::kSerialNumber, in, 1, n);
  store(result, in, n, moxsupply::kSuppliesCount);
  store(result, in, n, moxsupply::kRecordLength);
  store(result, in, n, moxsupply::kRecordType);
  return result;
}

// A record of type 2 or 3: the head, then as many entries as "Supplies Count" says, as far as they
// are whole. An entry's key is the supply's number; a later entry of the same number replaces the
// earlier one.
Dictionary readTable(const BigEndianReader& in, std::span<const RecordField> fieldsOfEntry) {
  const std::size_t n = serialNumberLength(in);
  const std::size_t count = in.u8(n + moxsupply::kSuppliesCount.offset).value_or(0);
  const std::size_t entrySize = sizeOfEntry(fieldsOfEntry);
  Dictionary result = readHead(in, count);
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t entry = n + moxsupply::kFirstEntry + entrySize * i;
    if (!in.bytes(entry, entrySize)) break;
    Dictionary supply;
    supply.reserve(countKeys(fieldsOfEntry));
    store(supply, in, entry, fieldsOfEntry);
    result.set(Key(std::int32_t{*in.u8(entry)}), std::move(supply));
  }
  return result;
}

bool isEmptyLength(std::uint32_t length) { return static_cast<std::uint16_t>(length) == 0; }

}  // namespace

std::optional<Dictionary> MoxNPAUtilityCommand::parseKelvoS(std::span<const std::uint8_t> record,
                                                            std::uint32_t withLength) const noexcept
    try {
  using moxsupply::kBehindPartNumber;
  using moxsupply::kPartNumberLengthAt;
  using moxsupply::kSingleSupply;

  if (isEmptyLength(withLength)) return std::nullopt;
  const BigEndianReader in(record);
  const std::size_t n = serialNumberLength(in);
  Dictionary result = readHead(in, countKeys(kSingleSupply) + countKeys(kBehindPartNumber) + 2);
  store(result, in, n, moxsupply::kSupplyLocation);
  store(result, in, n, kSingleSupply);
  const auto m = in.u8(n + kPartNumberLengthAt);
  if (!m) return result;
  if (*m != 0) storeText(result, moxsupply::kPartNumber, in, n + kPartNumberLengthAt + 1, *m);
  store(result, in, n + *m, kBehindPartNumber);
  return result;
} catch (...) {
  return std::nullopt;
}

std::optional<Dictionary> MoxNPAUtilityCommand::parseKelvoSC(
    std::span<const std::uint8_t> record, std::uint32_t withLength) const noexcept try {
  if (isEmptyLength(withLength)) return std::nullopt;
  return readTable(BigEndianReader(record), moxsupply::kPageCounts);
} catch (...) {
  return std::nullopt;
}

std::optional<Dictionary> MoxNPAUtilityCommand::parseKelvoColor(
    std::span<const std::uint8_t> record, std::uint32_t withLength) const noexcept try {
  if (isEmptyLength(withLength)) return std::nullopt;
  return readTable(BigEndianReader(record), moxsupply::kDotCounts);
} catch (...) {
  return std::nullopt;
}
