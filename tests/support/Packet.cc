#include "tests/support/Packet.h"

namespace moxsupply::testing {

Bytes packet(std::uint8_t flags, const Bytes& body) {
  const std::size_t length = 1 + body.size();
  const Bytes head = {0xA5, static_cast<std::uint8_t>(length >> 8),
                      static_cast<std::uint8_t>(length), flags};
  return joined({head, body});
}

}  // namespace moxsupply::testing
