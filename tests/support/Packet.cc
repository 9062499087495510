#include "tests/support/Packet.h"

namespace moxsupply::testing {

Bytes packet(std::uint8_t flags, const Bytes& body) {
  return joined({u8(0xA5), u16(static_cast<std::uint32_t>(body.size()) + 1), u8(flags), body});
}

}  // namespace moxsupply::testing
