// The model-family record of a laser printer's answer to the supplies query.

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string>

#include "explain/ExplainedReply.h"
#include "npa/BigEndianReader.h"
#include "npa/ModelRecords.h"

namespace moxsupply {

namespace {

// What people call the fields.
struct Words {
  Key key;
  std::string_view words;
};
constexpr auto kWords = std::to_array<Words>({
    {"Supplies Count", "number of supplies"},
    {"Record Length", "record length, not used"},
    {"Supply Location", "supply location"},
    {"Toner Prediction", "record type"},
    {"Supply ID", "supply number"},
    {"Page Count First", "first page count"},
    {"Page Count Current", "current page count"},
    {"Page Level Current", "current page level"},
    {"Page Level Previous", "previous page level"},
    {"Levels Count", "number of levels"},
    {"Current Transition", "current transition"},
    {"Toner Type", "toner type"},
    {"Toner Capacity", "toner capacity"},
    {"Last Level Light", "last level, light"},
    {"Last Level Dark", "last level, dark"},
    {"Light Gradiation", "light gradation"},
    {"Dark Gradiation", "dark gradation"},
    {"Current Vantor", "current Vantor value"},
    {"Supply Count", "supply count"},
    {"Current Supply Count", "current supply count"},
    {"Pages Capacity", "capacity in pages"},
    {"Max Dot Count", "maximum dot count"},
    {"Current Dot Count", "current dot count"},
});

std::string wordsFor(const RecordField& field) {
  const auto* row = std::ranges::find(kWords, field.key, &Words::key);
  std::string words = row == kWords.end() ? field.key.text() : std::string(row->words);
  if (field.level == Level::kMaximum) words += ": the maximum level";
  if (field.level == Level::kCurrent) words += ": the current level";
  return words;
}

class RecordWalk {
 public:
  RecordWalk(Explanation& text, std::span<const std::uint8_t> record) : mText(text), mIn(record) {}

  void explain() {
    if (mIn.size() == 0) return mText.note("no payload at all");
    const std::size_t n = number(0, 1, "length of the serial number");
    counted(1, n, "serial number");
    const std::uint32_t supplies = field(n, kSuppliesCount);
    field(n, kRecordLength);
    number(n + kSupplyLocation.offset, kSupplyLocation.width, "supply location, of type 1 only");
    switch (static_cast<RecordType>(field(n, kRecordType))) {
      case RecordType::kSingleSupply:
        return explainSingle(n);
      case RecordType::kPageCounts:
        return explainTable(n, supplies, kPageCounts);
      case RecordType::kDotCounts:
        return explainTable(n, supplies, kDotCounts);
    }
    mText.note("no type that is known: the record is passed over");
  }

 private:
  // The number at an offset; 0 when it is cut.
  std::uint32_t number(std::size_t at, std::size_t width, std::string_view name) {
    const auto value = mIn.number(at, width);
    if (!value) {
      if (!mIsCut) mText.note(fmt::format("the record is cut before: {}", name));
      mIsCut = true;
      return 0;
    }
    mText.field(at, mIn.bytesAsFarAsTheyGo(at, width), fmt::format("{}: {}", name, *value));
    if (*value > 0x7FFF'FFFF) mText.note("a number with its top bit set is negative");
    return *value;
  }

  std::uint32_t field(std::size_t base, const RecordField& field) {
    return number(base + field.offset, field.width, wordsFor(field));
  }

  void fields(std::size_t base, std::span<const RecordField> fields) {
    for (const RecordField& each : fields) field(base, each);
  }

  void counted(std::size_t at, std::size_t length, std::string_view name) {
    if (length == 0 || mIsCut) return;
    const auto bytes = mIn.bytesAsFarAsTheyGo(at, length);
    mText.field(at, bytes,
                fmt::format("{}: \"{}\"", name, std::string(bytes.begin(), bytes.end())));
  }

  void explainSingle(std::size_t n) {
    fields(n, kSingleSupply);
    const std::size_t m = number(n + kPartNumberLengthAt, 1, "length of the part number");
    counted(n + kPartNumberLengthAt + 1, m, "part number");
    fields(n + m, kBehindPartNumber);
  }

  void explainTable(std::size_t n, std::uint32_t supplies, std::span<const RecordField> entry) {
    for (std::size_t i = 0; i < supplies && !mIsCut; ++i) {
      const std::size_t at = n + kFirstEntry + i * sizeOfEntry(entry);
      number(at, 1, "supply number");
      fields(at, entry);
    }
    if (mIsCut) mText.note("a supply that is cut is left out");
  }

  Explanation& mText;
  BigEndianReader mIn;
  bool mIsCut = false;
};

}  // namespace

void explainModelRecord(Explanation& text, std::span<const std::uint8_t> payload) {
  RecordWalk(text, payload).explain();
}

}  // namespace moxsupply
