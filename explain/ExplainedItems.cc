// The items of an inkjet printer's answer.

#include <fmt/format.h>

#include <map>
#include <string>

#include "explain/ExplainedReply.h"
#include "npa/BigEndianReader.h"
#include "npa/CPDTriplet.h"

namespace moxsupply {

namespace {

constexpr std::size_t kItemHead = 3;

// The name under which an item is kept; empty when it is not.
std::string nameOfItem(std::uint32_t id) {
  for (const auto& row : CPDTriplet) {
    if (row.key == nullptr) break;
    if ((static_cast<std::uint32_t>(row.itemId) & 0xFFFFU) == id) return row.key;
  }
  return {};
}

}  // namespace

void explainItems(Explanation& text, std::span<const std::uint8_t> payload) {
  const BigEndianReader data(payload);
  const auto count = data.u16(0);
  if (!count) {
    text.note("fewer than two bytes: there are no items");
    return;
  }
  text.field(0, data.bytesAsFarAsTheyGo(0, 2), fmt::format("number of items: {}", *count));
  if (*count == 0) text.note("a count of 0: the reply is refused, whatever follows");

  std::map<std::string, std::uint32_t> kept;
  std::uint32_t items = 0;
  for (std::size_t at = 2; at < data.size(); ++items) {
    const auto id = data.u16(at);
    const auto length = data.u8(at + 2);
    if (!length || data.bytesAsFarAsTheyGo(at + kItemHead, *length).size() < *length) {
      text.field(at, data.bytesAsFarAsTheyGo(at, data.size()),
                 "an item that is cut: it ends the list");
      break;
    }
    const std::string name = nameOfItem(*id);
    const auto first = data.u8(at + kItemHead);
    const std::string value =
        *length == 0 ? "no bytes" : fmt::format("{:02X} ({})", *first, *first);
    text.field(at, data.bytesAsFarAsTheyGo(at, kItemHead + *length),
               name.empty() ? fmt::format("item {:04X}: not known, skipped", *id)
                            : fmt::format("item {:04X}, {}: {}", *id, name, value));
    if (!name.empty() && *length > 1) text.note("only the first byte of a value counts");
    if (!name.empty() && kept.contains(name)) {
      text.note(fmt::format("this item, the later one, stands in the place of item {:04X}",
                            kept.at(name)));
    }
    if (!name.empty()) kept[name] = *id;
    at += kItemHead + *length;
  }
  if (items != *count) {
    text.note(fmt::format("the count does not count: all {} items are read", items));
  }
}

}  // namespace moxsupply
