#include "tests/support/LaserRecords.h"

namespace moxsupply::testing {

namespace {

Bytes replyInTwo(const Bytes& head, const Bytes& record, std::size_t first) {
  return joined({packet(kMoreFollow, joined({head, firstBytes(record, first)})),
                 packet(kLast, joined({hex("00"), bytesFrom(record, first)}))});
}

const Bytes& deviceHead() {
  static const Bytes head = hex("E0 21 01 00");
  return head;
}

const Bytes& queryHead() {
  static const Bytes head = hex("E0 07 02");
  return head;
}

}  // namespace

Bytes field(std::uint8_t tag, const Bytes& value) {
  return joined({u8(tag), u8(1), u16(static_cast<std::uint32_t>(value.size())), value});
}

Bytes longField(std::uint8_t tag, const Bytes& value) {
  return joined(
      {u8(tag), u8(0), hex("EE EE"), u16(static_cast<std::uint32_t>(value.size())), value});
}

Bytes description(std::string_view text) { return field(3, bytesOf(text)); }

Bytes maxLevel(std::uint32_t level) { return field(15, u16(level)); }
Bytes currentLevel(std::uint32_t level) { return field(16, u16(level)); }

Bytes supply(std::uint8_t number, const std::vector<Bytes>& fields) {
  const Bytes body = joined(fields);
  return joined({u8(number), hex("EE EE EE"),
                 u16(static_cast<std::uint32_t>(body.size()) + 6),  // counts from the seventh byte
                 hex("00 EE"), u16(static_cast<std::uint32_t>(fields.size())), hex("EE EE"), body});
}

Bytes groupWithTable(std::uint16_t suppliesCount, const std::vector<Bytes>& supplies) {
  return joined({hex("02 00 00 01 EE EE"),  // the group, one child
                 hex("08 00"), u16(suppliesCount), hex("EE EE"), joined(supplies)});
}

Bytes recordHead(std::uint16_t elementCount) {
  return joined({hex("12 34"), repeated(0xEE, 36), hex("01 EE"), u16(elementCount), hex("EE EE")});
}

Bytes suppliesRecord(std::uint16_t suppliesCount, const std::vector<Bytes>& supplies) {
  return joined({recordHead(2), field(1, hex("EE")), groupWithTable(suppliesCount, supplies)});
}

Bytes suppliesRecord(const std::vector<Bytes>& supplies) {
  return suppliesRecord(static_cast<std::uint16_t>(supplies.size()), supplies);
}

Bytes deviceReply(const Bytes& record) { return packet(kLast, joined({deviceHead(), record})); }
Bytes queryReply(const Bytes& record) { return packet(kLast, joined({queryHead(), record})); }

Bytes deviceReplyInTwo(const Bytes& record, std::size_t first) {
  return replyInTwo(deviceHead(), record, first);
}

Bytes queryReplyInTwo(const Bytes& record, std::size_t first) {
  return replyInTwo(queryHead(), record, first);
}

Bytes dotCountRecord(const std::vector<DotCounts>& supplies) {
  std::vector<Bytes> parts = {hex("00"), u8(static_cast<std::uint32_t>(supplies.size())),
                              hex("EE EE 03")};
  for (const DotCounts& counts : supplies) {
    parts.push_back(joined({u8(counts.supply), u32(counts.max), u32(counts.current)}));
  }
  return joined(parts);
}

}  // namespace moxsupply::testing
