#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "tests/support/Hex.h"
#include "tests/support/Packet.h"
#include "tests/support/Requests.h"

namespace moxsupply::testing {

// Records of laser printers, put together piece by piece, for tests in which bytes written out
// would hide what the test is about.

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
