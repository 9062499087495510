#include <algorithm>
#include <utility>

#include "npa/BigEndianReader.h"
#include "npa/CountedText.h"
#include "npa/MoxNPAUtilityCommand.h"
#include "npa/SuppliesRecord.h"

using moxsupply::BigEndianReader;
using moxsupply::Container;
using moxsupply::Dictionary;
using moxsupply::Key;
using moxsupply::Position;
using moxsupply::SkippedElement;
using moxsupply::SupplyField;
using moxsupply::SupplyHead;

namespace {

// Lengths that lead a walk in circles could have it skip four thousand million fields.
#ifdef FUZZING_BUILD_MODE_UNSAFE_FOR_PRODUCTION
constexpr std::uint32_t kMostSkippedFields = 256;  // a fuzzer soon tries nothing but circles
#else
constexpr std::uint32_t kMostSkippedFields = 16'777'216;
#endif

// The first container with `tag` at or after `position`, past at most `mostSkipped` elements.
std::optional<Container> findContainer(const BigEndianReader& record, Position position,
                                       std::uint8_t tag, std::uint16_t mostSkipped) {
  for (std::uint32_t skipped = 0; record.u8(position) != tag; ++skipped) {
    if (skipped >= mostSkipped) return std::nullopt;
    const auto element = SkippedElement::read(record, position);
    if (!element) return std::nullopt;
    position = static_cast<Position>(position + element->size);
  }
  return Container::read(record, position);
}

// The supplies table; nothing when the record is refused.
std::optional<Container> findTable(const BigEndianReader& record) {
  if (record.u16(moxsupply::kMarkerAt).value_or(0) == 0) return std::nullopt;
  if (record.u8(moxsupply::kFormAt) != moxsupply::kFormOfRecord) return std::nullopt;
  const std::uint16_t elementCount = record.u16(moxsupply::kElementCountAt).value_or(0);
  if (elementCount < moxsupply::kFewestElements) return std::nullopt;

  const auto group =
      findContainer(record, moxsupply::kFirstElement, moxsupply::kGroupTag, elementCount);
  if (!group) return std::nullopt;
  auto table =
      findContainer(record, group->firstChild, moxsupply::kSuppliesTableTag, group->childCount);
  if (table && table->childCount == 0) return std::nullopt;
  return table;
}

// Reads the fields of one supply, which come in rising order of their tags. A field that is not
// there is passed by; one that breaks off, or stands where it is neither read nor skipped, ends
// the reading.
class FieldReader {
 public:
  // `budget`: how many fields the entry says it has. It bounds the skipping only: fields that are
  // known are read also when nothing is left of it.
  FieldReader(const BigEndianReader& record, Position position, std::uint16_t budget,
              std::uint32_t& skippedFields)
      : mRecord(record), mPosition(position), mBudget(budget), mSkippedFields(skippedFields) {}

  void read(const SupplyField& field, Dictionary& supply) {
    if (field.skippedUpTo) skipUpTo(*field.skippedUpTo);
    if (mEnded || mRecord.u8(mPosition) != field.tag) return;
    const auto length = mRecord.u16(mPosition + SupplyField::kLengthAt);
    if (!length || !readValue(field, *length, supply)) return end();
    mPosition = static_cast<Position>(mPosition + SupplyField::kHeadSize + *length);
    if (mBudget != 0) --mBudget;
  }

  // The whole table has been skipping for too long: no further entry is to be read.
  [[nodiscard]] bool endsWalk() const { return mEndsWalk; }

 private:
  void skipUpTo(std::uint8_t lastTag) {
    while (!mEnded) {
      const auto tag = mRecord.u8(mPosition);
      if (!tag) return end();
      if (*tag > lastTag) return;
      if (mBudget == 0) return end();
      if (mSkippedFields == kMostSkippedFields) {
        mEndsWalk = true;
        return end();
      }
      const auto field = SkippedElement::read(mRecord, mPosition);
      if (!field) return end();
      mPosition = static_cast<Position>(mPosition + field->size);
      --mBudget;
      ++mSkippedFields;
    }
  }

  // Returns whether the value is there.
  [[nodiscard]] bool readValue(const SupplyField& field, std::uint16_t length,
                               Dictionary& supply) const {
    const std::size_t at = mPosition + SupplyField::kHeadSize;
    if (field.type == moxsupply::FieldType::kText) {
      const auto value = mRecord.bytes(at, length);
      if (!value) return false;
      if (auto text = moxsupply::countedText(*value)) supply.add(field.key, *std::move(text));
      return true;
    }
    const auto value = mRecord.number(at, SupplyField::widthOfNumber(length));
    if (!value) return false;
    supply.add(field.key, static_cast<std::int32_t>(*value));
    return true;
  }

  void end() { mEnded = true; }

  const BigEndianReader& mRecord;
  Position mPosition;
  std::uint16_t mBudget;
  std::uint32_t& mSkippedFields;
  bool mEnded = false;
  bool mEndsWalk = false;
};

struct NumberedSupply {
  std::uint8_t number;
  Dictionary fields;
};

// Goes from one supply of the table to the next.
class SupplyWalk {
 public:
  SupplyWalk(std::span<std::uint8_t> record, const Container& table)
      : mRecord(record),
        mLeft(table.childCount),
        mCount(table.childCount),
        mPosition(table.firstChild) {}

  // The supply that comes next; nothing where the table ends or breaks off.
  std::optional<NumberedSupply> next() {
    const BigEndianReader in(mRecord);
    const auto head = mLeft == 0 ? std::nullopt : SupplyHead::read(in, mPosition);
    if (!head || head->number > mCount) return std::nullopt;
    // Marks the entry as read, for whoever looks at it later.
    moxsupply::wholeRun(mRecord, mPosition + SupplyHead::kMarkAt, 1)->front() = 1;

    NumberedSupply supply = {head->number, {}};
    supply.fields.reserve(moxsupply::kSupplyFields.size());
    FieldReader fields(in, static_cast<Position>(mPosition + SupplyHead::kSize), head->fieldCount,
                       mSkippedFields);
    for (const SupplyField& field : moxsupply::kSupplyFields) fields.read(field, supply.fields);

    mPosition = static_cast<Position>(mPosition + SupplyHead::kLengthCountsFrom + head->length);
    mLeft = fields.endsWalk() ? 0 : mLeft - 1;
    return supply;
  }

 private:
  std::span<std::uint8_t> mRecord;
  std::uint32_t mLeft;  // so many may still be read
  std::uint16_t mCount;
  Position mPosition;
  std::uint32_t mSkippedFields = 0;
};

}  // namespace

std::optional<Dictionary> MoxNPAUtilityCommand::extractSuppliesResponse(
    std::span<std::uint8_t> record, std::uint32_t /*withLength*/) const noexcept try {
  const auto table = findTable(BigEndianReader(record));
  if (!table) return std::nullopt;

  Dictionary supplies;
  supplies.reserve(1 + std::min<std::size_t>(table->childCount, record.size() / SupplyHead::kSize));
  supplies.set("Supplies Count", std::int32_t{table->childCount});
  SupplyWalk walk(record, *table);
  std::uint8_t highestNumber = 0;
  while (auto supply = walk.next()) {
    const Key key = {"Supply", supply->number};
    if (supply->number > highestNumber) {
      // Nearly every supply, since printers number them upwards. To look for its key among all
      // those before it would take an eighth of the time of a long table.
      supplies.add(key, std::move(supply->fields));
      highestNumber = supply->number;
    } else {
      supplies.set(key, std::move(supply->fields));
    }
  }
  return supplies;
} catch (...) {
  return std::nullopt;
}
