#include "tests/support/LaserRecords.h"

#include <algorithm>
#include <cstdlib>

namespace moxsupply::testing {

namespace {

Bytes bytesFrom(const Bytes& bytes, std::size_t offset) {
  return {bytes.begin() + static_cast<std::ptrdiff_t>(offset), bytes.end()};
}

Bytes replyInTwo(const Bytes& head, const Bytes& record, std::size_t first) {
  return joined({packet(kMoreFollow, joined({head, cut(record, first)})),
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

Bytes u8(std::uint32_t number) { return {static_cast<std::uint8_t>(number)}; }
Bytes u16(std::uint32_t number) { return joined({u8(number >> 8), u8(number)}); }
Bytes u32(std::uint32_t number) { return joined({u16(number >> 16), u16(number)}); }

Bytes joined(const std::vector<Bytes>& parts) {
  Bytes whole;
  for (const Bytes& part : parts) whole.insert(whole.end(), part.begin(), part.end());
  return whole;
}

Bytes cut(const Bytes& bytes, std::size_t size) { return {bytes.data(), bytes.data() + size}; }

Bytes filled(std::size_t count, std::uint8_t value) {
  Bytes bytes;
  bytes.resize(count, value);
  return bytes;
}

void put(Bytes& record, std::size_t offset, const Bytes& bytes) {
  if (offset + bytes.size() > record.size()) std::abort();
  std::ranges::copy(bytes, record.begin() + static_cast<std::ptrdiff_t>(offset));
}

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
  return joined({hex("12 34"), filled(36, 0xEE), hex("01 EE"), u16(elementCount), hex("EE EE")});
}

Bytes suppliesRecord(std::uint16_t suppliesCount, const std::vector<Bytes>& supplies) {
  return joined({recordHead(2), field(1, hex("EE")), groupWithTable(suppliesCount, supplies)});
}

Bytes suppliesRecord(const std::vector<Bytes>& supplies) {
  return suppliesRecord(static_cast<std::uint16_t>(supplies.size()), supplies);
}

Bytes packet(std::uint8_t flags, const Bytes& body) {
  return joined({hex("A5"), u16(static_cast<std::uint32_t>(body.size()) + 1), u8(flags), body});
}

const Bytes& deviceRequest() {
  static const Bytes request =
      hex("A5 00 10 80 A4 5B A4 5B 10 EF A4 5B 11 EE 00 FF 13 EC 2E"
          "A5 00 08 50 E0 21 01 00 00 01 08");
  return request;
}

const Bytes& queryRequest() {
  static const Bytes request =
      hex("A5 00 10 80 A4 5B A4 5B 10 EF A4 5B 11 EE 00 FF 13 EC 2E"
          "A5 00 05 50 E0 07 02 00");
  return request;
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
  Bytes record =
      joined({hex("00"), u8(static_cast<std::uint32_t>(supplies.size())), hex("EE EE"), hex("03")});
  for (const DotCounts& counts : supplies) {
    record = joined({record, u8(counts.supply), u32(counts.max), u32(counts.current)});
  }
  return record;
}

}  // namespace moxsupply::testing
