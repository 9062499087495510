// The model-family record of a laser printer's answer to the supplies query.

#include <fmt/format.h>

#include <array>
#include <string>

#include "explain/ExplainedReply.h"
#include "npa/BigEndianReader.h"

namespace moxsupply {

namespace {

struct FieldRow {
  std::size_t width;
  std::string_view name;
};

// Behind the record's type.
constexpr std::array<FieldRow, 9> kSingleSupply = {{
    {1, "supply number"},
    {4, "first page count"},
    {4, "current page count"},
    {4, "current page level"},
    {4, "previous page level"},
    {1, "number of levels: the maximum level"},
    {1, "current transition: the current level"},
    {1, "toner type"},
    {1, "length of the part number"},
}};
// Behind the part number.
constexpr std::array<FieldRow, 6> kBehindPartNumber = {{
    {4, "toner capacity"},
    {2, "last level, light"},
    {2, "last level, dark"},
    {2, "light gradation"},
    {2, "dark gradation"},
    {2, "current Vantor value"},
}};
// Entries of tables.
constexpr std::array<FieldRow, 5> kPageCounts = {{
    {1, "supply number"},
    {1, "supply location"},
    {4, "supply count: the maximum level"},
    {4, "current supply count: the current level"},
    {4, "capacity in pages"},
}};
constexpr std::array<FieldRow, 3> kDotCounts = {{
    {1, "supply number"},
    {4, "maximum dot count: the maximum level"},
    {4, "current dot count: the current level"},
}};

class RecordWalk {
 public:
  RecordWalk(Explanation& text, std::span<const std::uint8_t> record) : mText(text), mIn(record) {}

  void explain() {
    if (mIn.size() == 0) return mText.note("no payload at all");
    const std::size_t serial = number(1, "length of the serial number");
    counted(serial, "serial number");
    const std::uint32_t supplies = number(1, "number of supplies");
    number(1, "record length, not used");
    number(1, "supply location, of type 1 only");
    const std::uint32_t type = number(1, "record type");
    if (type == 1) {
      explainSingle();
    } else if (type == 2) {
      explainTable(supplies, kPageCounts);
    } else if (type == 3) {
      explainTable(supplies, kDotCounts);
    } else {
      mText.note("no type that is known: the record is passed over");
    }
  }

 private:
  // The number that comes next; 0 when it is cut.
  std::uint32_t number(std::size_t width, std::string_view name) {
    const auto value = mIn.number(mAt, width);
    if (!value) {
      if (!mIsCut) mText.note(fmt::format("the record is cut before: {}", name));
      mIsCut = true;
      mAt = mIn.size();
      return 0;
    }
    mText.field(mAt, mIn.bytesAsFarAsTheyGo(mAt, width), fmt::format("{}: {}", name, *value));
    if (*value > 0x7FFF'FFFF) mText.note("a number with its top bit set is negative");
    mAt += width;
    return *value;
  }

  void counted(std::size_t length, std::string_view name) {
    const auto bytes = mIn.bytesAsFarAsTheyGo(mAt, length);
    if (length != 0 && !mIsCut) {
      mText.field(mAt, bytes,
                  fmt::format("{}: \"{}\"", name, std::string(bytes.begin(), bytes.end())));
    }
    mAt += bytes.size();
  }

  template <typename Rows>
  void fields(const Rows& rows) {
    for (const FieldRow& row : rows) mLast = number(row.width, row.name);
  }

  void explainSingle() {
    fields(kSingleSupply);
    counted(mLast, "part number");
    fields(kBehindPartNumber);
  }

  template <typename Rows>
  void explainTable(std::uint32_t supplies, const Rows& rows) {
    for (std::uint32_t i = 0; i < supplies && !mIsCut; ++i) fields(rows);
    if (mIsCut) mText.note("a supply that is cut is left out");
  }

  Explanation& mText;
  BigEndianReader mIn;
  std::size_t mAt = 0;
  std::uint32_t mLast = 0;
  bool mIsCut = false;
};

}  // namespace

void explainModelRecord(Explanation& text, std::span<const std::uint8_t> payload) {
  RecordWalk(text, payload).explain();
}

}  // namespace moxsupply
