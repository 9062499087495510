#include "tests/support/InkjetReply.h"

#include "tests/support/Packet.h"

namespace moxsupply::testing {

namespace {

Bytes bigEndian16(std::size_t number) {
  return {static_cast<std::uint8_t>(number >> 8), static_cast<std::uint8_t>(number)};
}

}  // namespace

Bytes inkjetItem(std::uint16_t id, const Bytes& value) {
  return joined({bigEndian16(id), {static_cast<std::uint8_t>(value.size())}, value});
}

Bytes inkjetReply(const std::vector<Bytes>& items) {
  Bytes body = joined({hex("E0 81 00 FF"), bigEndian16(items.size())});
  for (const Bytes& item : items) body = joined({body, item});
  return packet(0x50, body);
}

}  // namespace moxsupply::testing
