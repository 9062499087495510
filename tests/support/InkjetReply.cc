#include "tests/support/InkjetReply.h"

#include "tests/support/Hex.h"
#include "tests/support/Packet.h"

namespace moxsupply::testing {

Bytes inkjetItem(std::uint16_t id, const Bytes& value) {
  return joined({u16(id), u8(static_cast<std::uint32_t>(value.size())), value});
}

Bytes inkjetReply(const std::vector<Bytes>& items) {
  return packet(kLast, joined({hex("E0 81 00 FF"), u16(static_cast<std::uint32_t>(items.size())),
                               joined(items)}));
}

}  // namespace moxsupply::testing
