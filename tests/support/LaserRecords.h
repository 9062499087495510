#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "tests/support/Hex.h"

namespace moxsupply::testing {

// Bytes of laser printers, put together piece by piece, for tests in which bytes written out would
// hide what the test is about. Numbers are big-endian and cut to their width.

Bytes u8(std::uint32_t number);
Bytes u16(std::uint32_t number);
Bytes u32(std::uint32_t number);
Bytes joined(const std::vector<Bytes>& parts);

// The first `size` bytes, in a heap block of just that size: a read past their end shows.
Bytes cut(const Bytes& bytes, std::size_t size);

// `value` repeated.
Bytes filled(std::size_t count, std::uint8_t value = 0);

// Writes `bytes` over those of `record` from `offset` on.
void put(Bytes& record, std::size_t offset, const Bytes& bytes);

// A field of a supply, or an element without children: tag, form, length, value. The short form has
// a form byte of 1 and the length behind it; the long form a form byte of 0, two bytes that mean
// nothing, and the length behind those.
Bytes field(std::uint8_t tag, const Bytes& value);
Bytes longField(std::uint8_t tag, const Bytes& value);

// Known fields of a supply: 3, 15 and 16. Levels have two bytes.
Bytes description(std::string_view text);
Bytes maxLevel(std::uint32_t level);
Bytes currentLevel(std::uint32_t level);

// A supply of the table: a head of 12 bytes, then the fields. The field count is right, and the
// seventh byte is 0.
Bytes supply(std::uint8_t number, const std::vector<Bytes>& fields);

// The group, element 2, with one child: the table, element 8, of these supplies.
Bytes groupWithTable(std::uint16_t suppliesCount, const std::vector<Bytes>& supplies);

// The first 44 bytes of a supplies record.
Bytes recordHead(std::uint16_t elementCount);

// A whole supplies record: its head, one element of another kind, the group with the table. The
// first supply's entry begins at offset kFirstSupply.
Bytes suppliesRecord(std::uint16_t suppliesCount, const std::vector<Bytes>& supplies);
Bytes suppliesRecord(const std::vector<Bytes>& supplies);
constexpr std::size_t kFirstSupply = 61;

// A packet: start byte, length, flags, body.
Bytes packet(std::uint8_t flags, const Bytes& body);
constexpr std::uint8_t kLast = 0x50;
constexpr std::uint8_t kMoreFollow = 0x70;

// The two requests of a laser query, each with the packet that goes before it: 30 and 27 bytes.
const Bytes& deviceRequest();  // asks for the supplies table
const Bytes& queryRequest();   // asks for the model-family record

// Replies of one packet.
Bytes deviceReply(const Bytes& record);  // to the request for the supplies table
Bytes queryReply(const Bytes& record);   // to the request for the model-family record

// A reply of two packets to the same requests, cut after `first` bytes of the record.
Bytes deviceReplyInTwo(const Bytes& record, std::size_t first);
Bytes queryReplyInTwo(const Bytes& record, std::size_t first);

// A model-family record of type 3 with an empty serial number: a table of levels.
struct DotCounts {
  std::uint8_t supply;
  std::uint32_t max;
  std::uint32_t current;
};
Bytes dotCountRecord(const std::vector<DotCounts>& supplies);

}  // namespace moxsupply::testing
