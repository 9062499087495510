#include "simulator/Packets.h"

#include <algorithm>
#include <array>

#include "simulator/WireWriter.h"

namespace moxsupply::simulator {

namespace {

constexpr std::uint8_t kStart = 0xA5;
constexpr std::uint8_t kLast = 0x50;
constexpr std::uint8_t kMoreFollow = 0x20;
constexpr std::array<std::uint8_t, 1> kLaterHead = {0xE0};  // hosts do not look at it

constexpr std::size_t kLongestBody = 0xFFFF - 1;  // the length counts the flags too

}  // namespace

std::vector<Bytes> wrapIntoPackets(std::span<const std::uint8_t> head,
                                   std::span<const std::uint8_t> payload,
                                   std::span<const std::size_t> sizes) {
  std::vector<Bytes> packets;
  do {
    std::size_t size = std::min(payload.size(), kLongestBody - head.size());
    if (!sizes.empty()) {
      size = std::min(size, sizes.front());
      sizes = sizes.subspan(1);
    }
    const bool isLast = size == payload.size();
    packets.push_back(WireWriter()
                          .u8(kStart)
                          .u16(1 + head.size() + size)
                          .u8(isLast ? kLast : kLast | kMoreFollow)
                          .bytes(head)
                          .bytes(payload.first(size))
                          .written());
    payload = payload.subspan(size);
    head = kLaterHead;
  } while (!payload.empty());
  return packets;
}

Bytes joinPackets(const std::vector<Bytes>& packets) {
  WireWriter whole;
  for (const Bytes& packet : packets) whole.bytes(packet);
  return whole.written();
}

}  // namespace moxsupply::simulator
