#include "simulator/InkjetReply.h"

#include <array>

#include "simulator/Packets.h"
#include "simulator/WireWriter.h"

namespace moxsupply::simulator {

Bytes inkjetPayload(const InkjetModel& printer) {
  WireWriter payload;
  payload.u16(printer.itemCount ? *printer.itemCount : printer.items.size());
  for (const InkjetItem& item : printer.items) {
    payload.u16(item.id);
    payload.u8(item.value.size());
    payload.bytes(item.value);
  }
  return payload.written();
}

std::vector<Bytes> inkjetReply(const InkjetModel& printer, std::span<const std::size_t> sizes) {
  constexpr std::array<std::uint8_t, 4> kHead = {0xE0, 0x81, 0x00, 0xFF};
  return wrapIntoPackets(kHead, inkjetPayload(printer), sizes);
}

}  // namespace moxsupply::simulator
