// The items of an inkjet printer's answer.

#include <fmt/format.h>

#include <map>
#include <string_view>

#include "explain/ExplainedReply.h"
#include "npa/BigEndianReader.h"
#include "npa/InkjetItems.h"

namespace moxsupply {

namespace {

class ItemsWalk {
 public:
  ItemsWalk(Explanation& text, std::span<const std::uint8_t> payload) : mText(text), mIn(payload) {}

  void explain() {
    const auto count = mIn.u16(0);
    if (!count) return mText.note("fewer than two bytes: there are no items");
    show(0, kFirstItem, fmt::format("number of items: {}", *count));
    if (*count == 0) mText.note("a count of 0: the reply is refused, whatever follows");

    std::size_t items = 0;
    std::size_t at = kFirstItem;
    while (const auto item = InkjetItem::read(mIn, at)) {
      explainItem(at, *item);
      at += item->size();
      ++items;
    }
    if (at < mIn.size()) show(at, mIn.size(), "an item that is cut: it ends the list");
    if (items != *count) {
      mText.note(fmt::format("the count does not count: all {} items are read", items));
    }
  }

 private:
  void explainItem(std::size_t at, const InkjetItem& item) {
    const char* key = item.key();
    if (key == nullptr) {
      return show(at, item.size(), fmt::format("item {:04X}: not known, skipped", item.id));
    }
    show(at, item.size(),
         fmt::format("item {:04X}, {}: {}", item.id, key,
                     item.value.empty()
                         ? "no bytes"
                         : fmt::format("{:02X} ({})", item.value.front(), item.value.front())));
    if (item.value.size() > 1) mText.note("only the first byte of a value counts");
    if (const auto [earlier, isFirst] = mKept.try_emplace(key, item.id); !isFirst) {
      mText.note(fmt::format("this item, the later one, stands in the place of item {:04X}",
                             earlier->second));
      earlier->second = item.id;
    }
  }

  void show(std::size_t at, std::size_t count, std::string_view meaning) {
    mText.field(at, mIn.bytesAsFarAsTheyGo(at, count), meaning);
  }

  Explanation& mText;
  BigEndianReader mIn;
  std::map<std::string_view, std::uint16_t> mKept;  // the ids of the items so far
};

}  // namespace

void explainItems(Explanation& text, std::span<const std::uint8_t> payload) {
  ItemsWalk(text, payload).explain();
}

}  // namespace moxsupply
