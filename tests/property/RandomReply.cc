#include "tests/property/RandomReply.h"

#include <algorithm>
#include <array>
#include <limits>
#include <numeric>

#include "simulator/Packets.h"
#include "simulator/Requests.h"

namespace moxsupply::testing {

namespace {

using simulator::Reply;

constexpr std::uint8_t kStart = 0xA5;
// A host reads the first 5 bytes of a packet, then up to 512 at a time.
constexpr std::size_t kFirstRead = 5;
constexpr std::size_t kNextRead = 512;

std::vector<std::size_t> randomPacketSizes(Random& random) {
  if (random.oneIn(3)) return {};
  const std::uint64_t largest = random.oneIn(3) ? 1500 : 120;
  std::vector<std::size_t> sizes(random.below(8));
  for (std::size_t& size : sizes) size = random.oneIn(8) ? 0 : random.within(1, largest);
  return sizes;
}

// The sizes of the pieces in which a packet is sent. The first one holds all of the packet's head:
// of a head in pieces a host takes what came first for the whole.
std::vector<std::size_t> randomPieces(Random& random, std::size_t packetSize) {
  std::vector<std::size_t> pieces;
  while (packetSize > kFirstRead && random.oneIn(2)) {
    pieces.push_back(random.oneIn(2) ? kFirstRead : random.within(kFirstRead, packetSize - 1));
    packetSize -= pieces.back();
  }
  pieces.push_back(packetSize);
  return pieces;
}

// Whether a host's read begins with a start byte inside the packet, which the host then takes for
// the start of another one.
bool isTakenForTwo(std::span<const std::uint8_t> packet, std::span<const std::size_t> pieces) {
  std::size_t at = 0;
  for (const std::size_t size : pieces) {
    const std::size_t end = at + size;
    while (at < end) {
      if (at != 0 && packet[at] == kStart) return true;
      at = std::min(end, at + (at == 0 ? kFirstRead : kNextRead));
    }
  }
  return false;
}

// Cuts each packet into pieces, or sends the whole reply at once. Returns whether a host reads the
// reply right.
bool cutIntoPieces(Random& random, const std::vector<Bytes>& packets, Reply& reply) {
  // Of a packet that takes more than two reads a host asks for too much in the end, and loses the
  // beginning of the next packet if that has come already.
  const bool isHeldApart = std::any_of(packets.begin(), packets.end() - 1, [](const Bytes& packet) {
    return packet.size() > kFirstRead + kNextRead;
  });
  const bool inPieces = isHeldApart || random.oneIn(4);
  reply.writes.clear();
  for (const Bytes& packet : packets) {
    const auto pieces = inPieces ? randomPieces(random, packet.size()) : std::vector{packet.size()};
    if (isTakenForTwo(packet, pieces)) return false;
    if (!inPieces) continue;
    for (const std::size_t size : pieces) reply.writes.push_back({.size = size});
  }
  return true;
}

std::size_t startOfLast(const std::vector<Bytes>& packets) {
  return std::transform_reduce(packets.begin(), packets.end() - 1, std::size_t{0}, std::plus{},
                               [](const Bytes& packet) { return packet.size(); });
}

}  // namespace

Bytes randomStray(Random& random) {
  constexpr std::array<std::uint8_t, 3> kQueries = {0x07, 0x21, 0x81};
  constexpr std::uint8_t kNoQuery = 0x03;  // the third byte of all queries is lower
  if (random.oneIn(2)) return simulator::prefixPacket();
  Bytes body = random.bytes(random.within(3, 30));
  std::ranges::replace(body, kStart, std::uint8_t{0});
  if (random.oneIn(2)) body[0] = 0xE0;
  if (random.oneIn(2)) body[1] = random.of(kQueries);
  body[2] = std::max(body[2], kNoQuery);
  Bytes packet = {kStart, 0x00, static_cast<std::uint8_t>(1 + body.size()), 0x50};
  packet.insert(packet.end(), body.begin(), body.end());
  return packet;
}

Reply randomReply(Random& random, const Encoder& encoded, std::size_t lastStart,
                  std::size_t mostStrays) {
  Reply reply;
  if (random.oneIn(3)) {
    for (std::size_t i = random.below(mostStrays + 1); i > 0; --i) {
      reply.strays.push_back(randomStray(random));
    }
  }
  std::vector<Bytes> packets;
  do {
    reply.packets = randomPacketSizes(random);
    packets = encoded(reply.packets);
  } while (startOfLast(packets) > lastStart || !cutIntoPieces(random, packets, reply));
  return reply;
}

}  // namespace moxsupply::testing
