#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "simulator/Bytes.h"

namespace moxsupply::simulator {

// Wraps the payload of a reply into its packets.
//
//   A5, length (u16, counts what follows it), flags, body
//
// The body of the first packet is `head`, which names the request that is answered, and payload;
// of a later one a single byte and payload. The flags are 50, and 70 while more packets follow.
//
// `sizes`: payload bytes of each packet, see Reply. No packet takes more than its length can count.
std::vector<Bytes> wrapIntoPackets(std::span<const std::uint8_t> head,
                                   std::span<const std::uint8_t> payload,
                                   std::span<const std::size_t> sizes = {});

// The packets back to back, as they travel.
Bytes joinPackets(const std::vector<Bytes>& packets);

}  // namespace moxsupply::simulator
