// The supplies table of a laser printer's answer to the device query.

#include <fmt/format.h>

#include <limits>
#include <optional>
#include <string>

#include "explain/ExplainedReply.h"
#include "front/LaserSupplies.h"
#include "npa/BigEndianReader.h"
#include "npa/SuppliesRecord.h"

namespace moxsupply {

namespace {

constexpr std::size_t kMostShown = 4096;  // elements and fields; lengths can lead in circles

class TableWalk {
 public:
  TableWalk(Explanation& text, std::span<const std::uint8_t> record) : mText(text), mIn(record) {}

  void explain() {
    const auto elements = explainHead();
    if (!elements) return;
    const auto group =
        find(kFirstElement, kGroupTag, *elements, "element", "the group", "children");
    if (!group) return noTable(fmt::format("there is no group (tag {})", kGroupTag));
    const auto table = find(group->firstChild, kSuppliesTableTag, group->childCount, "child",
                            "the supplies table", "supplies");
    if (!table) {
      return noTable(
          fmt::format("there is no supplies table (tag {}) in the group", kSuppliesTableTag));
    }
    const std::uint32_t supplies = table->childCount;
    if (supplies == 0) return noTable("it has no supplies");
    if (const auto reported = reportedSupplies(table->childCount); reported != supplies) {
      mText.note(fmt::format("the report counts supplies in 8 bits: it has {} of these {}",
                             reported, supplies));
    }
    explainSupplies(table->firstChild, supplies);
  }

 private:
  void noTable(std::string_view why) { mText.note(fmt::format("{}: nothing is decoded", why)); }

  void show(std::size_t at, std::size_t count, std::string_view meaning) {
    mText.field(at, mIn.bytesAsFarAsTheyGo(at, count), meaning);
  }

  // Returns how many elements there are; nothing when the record is refused.
  std::optional<std::uint16_t> explainHead() {
    constexpr std::size_t kUnread = kMarkerAt + 2;
    const std::uint16_t elements = mIn.u16(kElementCountAt).value_or(0);
    show(kMarkerAt, 2, "marker, not 0");
    show(kUnread, kFormAt - kUnread, "not looked at");
    show(kFormAt, 1, fmt::format("form of the record, {}", kFormOfRecord));
    show(kElementCountAt, 2, fmt::format("number of elements: {}", elements));
    const bool hasMarker = mIn.u16(kMarkerAt).value_or(0) != 0;
    const bool hasForm = mIn.u8(kFormAt) == kFormOfRecord;
    const bool hasElements = elements >= kFewestElements;
    if (!hasMarker) noTable("the marker is 0, or not there");
    if (!hasForm) noTable(fmt::format("the form is not {}", kFormOfRecord));
    if (!hasElements) noTable("fewer than two elements");
    return hasMarker && hasForm && hasElements ? std::optional(elements) : std::nullopt;
  }

  // Skips the element or field at `at`. Returns where the next one is; nothing when this one is
  // cut, or too many were shown.
  std::optional<Position> skip(Position at, std::string_view what) {
    const auto element = SkippedElement::read(mIn, at);
    if (!element || ++mShown > kMostShown) {
      mText.note(mShown > kMostShown ? "and so on: no more is shown" : "here the record ends");
      return std::nullopt;
    }
    show(at, element->size,
         fmt::format("{}, tag {}, {} form: skipped", what, *mIn.u8(at),
                     element->isLong ? "long" : "short"));
    if (at + element->size > std::numeric_limits<Position>::max()) {
      mText.note("positions wrap at 65536: the walk goes on from the record's beginning");
    }
    return static_cast<Position>(at + element->size);
  }

  // The container with `tag`, past at most `mostSkipped` other elements.
  std::optional<Container> find(Position at, std::uint8_t tag, std::uint16_t mostSkipped,
                                std::string_view what, std::string_view name,
                                std::string_view children) {
    for (std::uint32_t skipped = 0; mIn.u8(at) != tag; ++skipped) {
      const auto next = skipped < mostSkipped ? skip(at, what) : std::nullopt;
      if (!next) return std::nullopt;
      at = *next;
    }
    const auto container = Container::read(mIn, at);
    if (container) {
      show(
          at, Container::kHeadSize,
          fmt::format("{} (tag {}), number of {}: {}", name, tag, children, container->childCount));
    }
    return container;
  }

  void explainSupplies(Position at, std::uint32_t count) {
    for (std::uint32_t read = 0; read < count && mShown <= kMostShown; ++read) {
      const auto head = SupplyHead::read(mIn, at);
      if (!head) {
        mText.note(fmt::format("the table breaks off after {} of {} supplies", read, count));
        return;
      }
      if (head->number > count) {
        show(at, 1, "a supply number beyond the count: it ends the table");
        return;
      }
      show(at, SupplyHead::kSize,
           fmt::format("supply {}: {} bytes follow, {} fields", head->number, head->length,
                       head->fieldCount));
      const std::size_t end = at + SupplyHead::kLengthCountsFrom + head->length;
      explainFields(static_cast<Position>(at + SupplyHead::kSize), end, head->fieldCount);
      ++mShown;
      at = static_cast<Position>(end);
    }
  }

  // The known fields come in rising order of their tags; others are skipped on the way to some.
  // `end`: where the supply ends by its own length.
  void explainFields(Position at, std::size_t end, std::uint32_t budget) {
    for (const SupplyField& field : kSupplyFields) {
      while (field.skippedUpTo && mIn.u8(at) && *mIn.u8(at) <= *field.skippedUpTo) {
        if (budget == 0) {
          if (at < end) {
            mText.note(
                fmt::format("nothing is left of the number of fields: the field at {} is "
                            "not skipped but ends the supply",
                            at));
          }
          return;
        }
        const auto next = skip(at, "field");
        if (!next) return;
        at = *next;
        --budget;
      }
      if (mIn.u8(at) != field.tag) continue;
      if (at == end) mText.note("the next supply's number is taken for the tag of a field");
      const auto length = mIn.u16(at + SupplyField::kLengthAt);
      if (!length || !explainField(at, field, *length)) {
        mText.note("the field is cut: the supply ends without it");
        return;
      }
      at = static_cast<Position>(at + SupplyField::kHeadSize + *length);
      if (budget > 0) --budget;
    }
  }

  bool explainField(Position at, const SupplyField& field, std::uint16_t length) {
    const std::size_t valueAt = at + SupplyField::kHeadSize;
    const std::size_t whole = SupplyField::kHeadSize + length;
    const std::string name = fmt::format("{} (tag {})", field.key.text(), field.tag);
    if (field.type == FieldType::kText) {
      const auto value = mIn.bytes(valueAt, length);
      if (!value) return false;
      show(at, whole, fmt::format("{}: \"{}\"", name, std::string(value->begin(), value->end())));
      return true;
    }
    const std::size_t width = SupplyField::widthOfNumber(length);
    const auto value = mIn.number(valueAt, width);
    if (!value) return false;
    show(at, whole, fmt::format("{}: {}", name, static_cast<std::int32_t>(*value)));
    if (width != length) mText.note(fmt::format("a number of {} bytes: four are read", length));
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
