#include <algorithm>
#include <utility>

#include "npa/BigEndianReader.h"
#include "npa/CountedText.h"
#include "npa/MoxNPAUtilityCommand.h"

using moxsupply::BigEndianReader;
using moxsupply::Dictionary;
using moxsupply::Key;

namespace {

// Positions that a walk holds wrap modulo 65536; an offset added to one to look at a byte does not.
using Position = std::uint16_t;

constexpr Position kFirstElement = 44;
constexpr Position kContainerHeadSize = 6;
constexpr Position kEntryHeadSize = 12;
constexpr std::uint8_t kGroupTag = 2;
constexpr std::uint8_t kSuppliesTableTag = 8;

// Lengths that lead a walk in circles could have it skip four thousand million fields.
#ifdef FUZZING_BUILD_MODE_UNSAFE_FOR_PRODUCTION
constexpr std::uint32_t kMostSkippedFields = 256;  // a fuzzer soon tries nothing but circles
#else
constexpr std::uint32_t kMostSkippedFields = 16'777'216;
#endif

// How far it is from the element or field at `position` to the next: a body with a head of four
// bytes (short form) or six (long form).
std::optional<Position> stepOver(const BigEndianReader& record, Position position) {
  const auto form = record.u8(position + std::size_t{1});
  if (!form) return std::nullopt;
  const bool isLong = *form == 0;
  const auto length = record.u16(position + std::size_t{isLong ? 4U : 2U});
  if (!length) return std::nullopt;
  return static_cast<Position>(*length + (isLong ? 6 : 4));
}

// The first element with `tag` at or after `position`, past at most `mostSkipped` others.
std::optional<Position> findElement(const BigEndianReader& record, Position position,
                                    std::uint8_t tag, std::uint16_t mostSkipped) {
  for (std::uint32_t skipped = 0; record.u8(position) != tag; ++skipped) {
    if (skipped >= mostSkipped) return std::nullopt;
    const auto step = stepOver(record, position);
    if (!step) return std::nullopt;
    position = static_cast<Position>(position + *step);
  }
  return position;
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

  void number(std::uint8_t tag, const Key& key, Dictionary& supply) {
    if (!isAt(tag)) return;
    const auto length = mRecord.u16(mPosition + std::size_t{2});
    const auto value = length ? numberOfLength(*length) : std::nullopt;
    if (!value) return end();
    supply.add(key, static_cast<std::int32_t>(*value));
    advance(*length);
  }

  void text(std::uint8_t tag, const Key& key, Dictionary& supply) {
    if (!isAt(tag)) return;
    const auto length = mRecord.u16(mPosition + std::size_t{2});
    const auto value = length ? mRecord.bytes(mPosition + std::size_t{4}, *length) : std::nullopt;
    if (!value) return end();
    if (auto text = moxsupply::countedText(*value)) supply.add(key, *std::move(text));
    advance(*length);
  }

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
      const auto step = stepOver(mRecord, mPosition);
      if (!step) return end();
      mPosition = static_cast<Position>(mPosition + *step);
      --mBudget;
      ++mSkippedFields;
    }
  }

  // The whole table has been skipping for too long: no further entry is to be read.
  [[nodiscard]] bool endsWalk() const { return mEndsWalk; }

 private:
  [[nodiscard]] bool isAt(std::uint8_t tag) const {
    return !mEnded && mRecord.u8(mPosition) == tag;
  }

  // Lengths 1 and 2 are meant; with any other, four bytes are taken whatever the length says.
  [[nodiscard]] std::optional<std::uint32_t> numberOfLength(std::uint16_t length) const {
    const std::size_t value = mPosition + std::size_t{4};
    if (length == 1) return mRecord.u8(value);
    if (length == 2) return mRecord.u16(value);
    return mRecord.u32(value);
  }

  // Past a known field. Its form byte does not count: only skipped fields have a long form.
  void advance(std::uint16_t length) {
    mPosition = static_cast<Position>(mPosition + length + 4);
    if (mBudget != 0) --mBudget;
  }

  void end() { mEnded = true; }

  const BigEndianReader& mRecord;
  Position mPosition;
  std::uint16_t mBudget;
  std::uint32_t& mSkippedFields;
  bool mEnded = false;
  bool mEndsWalk = false;
};

}  // namespace

std::optional<Dictionary> MoxNPAUtilityCommand::extractSuppliesResponse(
    std::span<std::uint8_t> record, std::uint32_t /*withLength*/) const noexcept try {
  const BigEndianReader in(record);
  if (in.u16(0).value_or(0) == 0) return std::nullopt;
  if (in.u8(38) != 1) return std::nullopt;
  const std::uint16_t elementCount = in.u16(40).value_or(0);
  if (elementCount < 2) return std::nullopt;

  const auto group = findElement(in, kFirstElement, kGroupTag, elementCount);
  const auto childCount = group ? in.u16(*group + std::size_t{2}) : std::nullopt;
  if (!childCount) return std::nullopt;
  const auto table = findElement(in, static_cast<Position>(*group + kContainerHeadSize),
                                 kSuppliesTableTag, *childCount);
  const auto suppliesCount = table ? in.u16(*table + std::size_t{2}) : std::nullopt;
  if (suppliesCount.value_or(0) == 0) return std::nullopt;

  Dictionary supplies;
  supplies.reserve(1 + std::min<std::size_t>(*suppliesCount, record.size() / kEntryHeadSize));
  supplies.set("Supplies Count", std::int32_t{*suppliesCount});

  auto entry = static_cast<Position>(*table + kContainerHeadSize);
  std::uint32_t skippedFields = 0;
  std::uint8_t highestNumber = 0;
  for (std::uint32_t read = 0; read < *suppliesCount; ++read) {
    const auto supplyNumber = in.u8(entry);
    if (!supplyNumber || *supplyNumber > *suppliesCount) break;
    const auto head = moxsupply::wholeRun(record, entry, kEntryHeadSize);
    if (!head) break;
    head->subspan<6, 1>().front() = 1;  // marks the entry as read, for whoever looks at it later
    const std::uint16_t bodyLength = *in.u16(entry + std::size_t{4});
    const std::uint16_t fieldCount = *in.u16(entry + std::size_t{8});

    Dictionary supply;
    supply.reserve(6);
    FieldReader fields(in, static_cast<Position>(entry + kEntryHeadSize), fieldCount,
                       skippedFields);
    fields.number(1, "Fixed ID", supply);
    fields.number(2, "Installed ID", supply);
    fields.text(3, "Description", supply);
    fields.skipUpTo(6);
    fields.number(7, "Supply Type", supply);
    fields.skipUpTo(14);
    fields.number(15, "Max Level", supply);
    fields.number(16, "Current Level", supply);
    const Key key = {"Supply", *supplyNumber};
    if (*supplyNumber > highestNumber) {
      // Nearly every supply, since printers number them upwards. To look for its key among all
      // those before it would take an eighth of the time of a long table.
      supplies.add(key, std::move(supply));
      highestNumber = *supplyNumber;
    } else {
      supplies.set(key, std::move(supply));
    }

    if (fields.endsWalk()) break;
    entry = static_cast<Position>(entry + bodyLength + 6);
  }
  return supplies;
} catch (...) {
  return std::nullopt;
}
