// The supplies table of a laser printer's answer to the device query.

#include <fmt/format.h>

#include <array>
#include <optional>
#include <string>

#include "explain/ExplainedReply.h"
#include "npa/BigEndianReader.h"

namespace moxsupply {

namespace {

using Position = std::uint16_t;  // wraps as those of the decoder do

constexpr std::uint32_t kGroup = 2;
constexpr std::uint32_t kTable = 8;
constexpr std::size_t kMostShown = 4096;  // elements and fields; lengths can lead in circles

struct FieldRow {
  std::uint32_t tag;
  std::string_view name;
};
constexpr std::array<FieldRow, 6> kFields = {{
    {1, "Fixed ID"},
    {2, "Installed ID"},
    {3, "Description"},
    {7, "Supply Type"},
    {15, "Max Level"},
    {16, "Current Level"},
}};
constexpr std::uint32_t kDescription = 3;

// Up to which tag fields are skipped ahead of a known one.
constexpr std::uint32_t skippedBefore(std::uint32_t tag) {
  if (tag == 7) return 6;
  return tag == 15 ? 14 : 0;
}

class TableWalk {
 public:
  TableWalk(Explanation& text, std::span<const std::uint8_t> record) : mText(text), mIn(record) {}

  void explain() {
    const auto elements = explainHead();
    if (!elements) return;
    const auto group = find(kFirstElement, kGroup, *elements, "element");
    const auto children = group ? mIn.u16(*group + std::size_t{2}) : std::nullopt;
    if (!children) return noTable("there is no group (tag 2)");
    mText.field(*group, mIn.bytesAsFarAsTheyGo(*group, kContainerHead),
                fmt::format("the group (tag 2), number of children: {}", *children));
    const auto table =
        find(static_cast<Position>(*group + kContainerHead), kTable, *children, "child");
    const auto supplies = table ? mIn.u16(*table + std::size_t{2}) : std::nullopt;
    if (!supplies) return noTable("there is no supplies table (tag 8) in the group");
    mText.field(*table, mIn.bytesAsFarAsTheyGo(*table, kContainerHead),
                fmt::format("the supplies table (tag 8), number of supplies: {}", *supplies));
    if (*supplies == 0) return noTable("it has no supplies");
    if (*supplies > 255) {
      mText.note(fmt::format("the report counts supplies in 8 bits: it has {} of these {}",
                             *supplies % 256, *supplies));
    }
    explainSupplies(static_cast<Position>(*table + kContainerHead), *supplies);
  }

 private:
  static constexpr Position kFirstElement = 44;
  static constexpr std::size_t kContainerHead = 6;
  static constexpr std::size_t kEntryHead = 12;

  void noTable(std::string_view why) { mText.note(fmt::format("{}: nothing is decoded", why)); }

  // Returns how many elements there are; nothing when the record is refused.
  std::optional<std::uint32_t> explainHead() {
    const auto elements = mIn.u16(40);
    mText.field(0, mIn.bytesAsFarAsTheyGo(0, 2), "marker, not 0");
    mText.field(2, mIn.bytesAsFarAsTheyGo(2, 36), "not looked at");
    mText.field(38, mIn.bytesAsFarAsTheyGo(38, 1), "form of the record, 1");
    mText.field(40, mIn.bytesAsFarAsTheyGo(40, 2),
                fmt::format("number of elements: {}", elements.value_or(0)));
    if (mIn.u16(0).value_or(0) == 0) noTable("the marker is 0, or not there");
    if (mIn.u8(38) != 1U) noTable("the form is not 1");
    if (elements.value_or(0) < 2) noTable("fewer than two elements");
    const bool isRefused = mIn.u16(0).value_or(0) == 0 || mIn.u8(38) != 1U || *elements < 2;
    return isRefused ? std::nullopt : elements;
  }

  // Skips the element or field at `at`. Returns where the next one is; nothing when this one is
  // cut, or too many were shown.
  std::optional<Position> skip(Position at, std::string_view what) {
    const auto tag = mIn.u8(at);
    const auto form = mIn.u8(at + std::size_t{1});
    const bool isLong = form == 0U;
    const auto length = mIn.u16(at + std::size_t{isLong ? 4U : 2U});
    if (!form || !length || ++mShown > kMostShown) {
      mText.note(mShown > kMostShown ? "and so on: no more is shown" : "here the record ends");
      return std::nullopt;
    }
    const std::size_t whole = *length + std::size_t{isLong ? 6U : 4U};
    mText.field(at, mIn.bytesAsFarAsTheyGo(at, whole),
                fmt::format("{} {}, {} form: skipped", what, *tag, isLong ? "long" : "short"));
    if (at + whole > 65'535) {
      mText.note("positions wrap at 65536: the walk goes on from the record's beginning");
    }
    return static_cast<Position>(at + whole);
  }

  std::optional<Position> find(Position at, std::uint32_t tag, std::uint32_t mostSkipped,
                               std::string_view what) {
    for (std::uint32_t skipped = 0; mIn.u8(at) != tag; ++skipped) {
      const auto next =
          skipped < mostSkipped ? skip(at, fmt::format("{}, tag", what)) : std::nullopt;
      if (!next) return std::nullopt;
      at = *next;
    }
    return at;
  }

  void explainSupplies(Position at, std::uint32_t count) {
    for (std::uint32_t read = 0; read < count && mShown <= kMostShown; ++read) {
      const auto number = mIn.u8(at);
      if (!number || mIn.bytesAsFarAsTheyGo(at, kEntryHead).size() < kEntryHead) {
        mText.note(fmt::format("the table breaks off after {} of {} supplies", read, count));
        return;
      }
      if (*number > count) {
        mText.field(at, mIn.bytesAsFarAsTheyGo(at, 1),
                    "a supply number beyond the count: it ends the table");
        return;
      }
      const std::uint32_t length = *mIn.u16(at + std::size_t{4});
      const std::uint32_t fields = *mIn.u16(at + std::size_t{8});
      mText.field(at, mIn.bytesAsFarAsTheyGo(at, kEntryHead),
                  fmt::format("supply {}: {} bytes follow, {} fields", *number, length, fields));
      explainFields(static_cast<Position>(at + kEntryHead), at + std::size_t{6} + length, fields);
      ++mShown;
      at = static_cast<Position>(at + length + 6);
    }
  }

  // The known fields come in rising order of their tags; others are skipped at two places.
  // `end`: where the supply ends by its own length.
  void explainFields(Position at, std::size_t end, std::uint32_t budget) {
    for (const FieldRow& row : kFields) {
      while (mIn.u8(at).value_or(255) <= skippedBefore(row.tag)) {
        if (budget == 0) {
          if (at < end) {
            mText.note(
                fmt::format("nothing is left of the number of fields: the field at {} is "
                            "not skipped but ends the supply",
                            at));
          }
          return;
        }
        const auto next = skip(at, "field, tag");
        if (!next) return;
        at = *next;
        --budget;
      }
      if (mIn.u8(at) != row.tag) continue;
      if (at == end) mText.note("the next supply's number is taken for the tag of a field");
      const auto length = mIn.u16(at + std::size_t{2});
      if (!length || !explainField(at, row, *length)) {
        mText.note("the field is cut: the supply ends without it");
        return;
      }
      at = static_cast<Position>(at + *length + 4);
      if (budget > 0) --budget;
    }
  }

  bool explainField(Position at, const FieldRow& row, std::uint32_t length) {
    const std::size_t valueAt = at + std::size_t{4};
    const auto whole = mIn.bytesAsFarAsTheyGo(at, length + std::size_t{4});
    if (row.tag == kDescription) {
      const auto value = mIn.bytesAsFarAsTheyGo(valueAt, length);
      if (value.size() < length) return false;
      mText.field(at, whole,
                  fmt::format("{} (tag {}): \"{}\"", row.name, row.tag,
                              std::string(value.begin(), value.end())));
      return true;
    }
    const bool isUsual = length == 1 || length == 2 || length == 4;
    const auto value = mIn.number(valueAt, length == 1 || length == 2 ? length : 4);
    if (!value) return false;
    mText.field(
        at, whole,
        fmt::format("{} (tag {}): {}", row.name, row.tag, static_cast<std::int32_t>(*value)));
    if (!isUsual) mText.note(fmt::format("a number of {} bytes: four are read", length));
    if (*value > 0x7FFF'FFFF) mText.note("a number with its top bit set is negative");
    return true;
  }

  Explanation& mText;
  BigEndianReader mIn;
  std::size_t mShown = 0;
};

}  // namespace

void explainSuppliesTable(Explanation& text, std::span<const std::uint8_t> payload) {
  TableWalk(text, payload).explain();
}

}  // namespace moxsupply
