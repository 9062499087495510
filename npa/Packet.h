#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "npa/BigEndianReader.h"

namespace moxsupply {

constexpr std::uint8_t kPacketStart = 0xA5;

// The first four bytes of a packet.
struct PacketHead {
  std::uint8_t start;    // first byte; A5 in a packet that is one
  std::uint16_t length;  // second and third byte: how many bytes follow the third
  std::uint8_t flags;    // fourth byte; counted by `length`

  static std::optional<PacketHead> read(const BigEndianReader& reply,
                                        std::size_t position) noexcept {
    const auto start = reply.u8(position);
    const auto length = reply.u16(position + 1);
    const auto flags = reply.u8(position + 3);
    if (!flags) return std::nullopt;
    return PacketHead{*start, *length, *flags};
  }

  // The whole packet with start byte and length, 3 to 65,538.
  [[nodiscard]] std::uint32_t size() const noexcept { return length + 3U; }

  // More packets of the same reply follow this one.
  [[nodiscard]] bool moreFollow() const noexcept { return (flags & 0x20) != 0; }
};

}  // namespace moxsupply
