#include <algorithm>
#include <array>

#include "npa/Answers.h"
#include "npa/BigEndianReader.h"
#include "npa/BoundedWriter.h"
#include "npa/MoxNPAUtilityCommand.h"
#include "npa/Packet.h"

using moxsupply::BigEndianReader;
using moxsupply::BoundedWriter;
using moxsupply::PacketHead;
using moxsupply::Status;

namespace {

constexpr std::uint32_t kReadBufferSize = 512;
// Enough for the start byte, the length, the flags and the first byte of the body.
constexpr std::uint32_t kWantedOfPacketStart = 5;
// No stream of bytes, however well it begins packets, can hold the reader for ever.
constexpr std::uint32_t kMostBytesOfReply = 65'536;

}  // namespace

Status MoxNPAUtilityCommand::getNPAReply(std::span<std::uint8_t> reply,
                                         std::uint32_t& lengthOfResponse,
                                         std::uint32_t timeOut) const noexcept {
  BoundedWriter stored(reply);
  std::array<std::uint8_t, kReadBufferSize> readBuffer{};
  std::uint32_t wanted = kWantedOfPacketStart;
  std::uint16_t packetSize = 0;
  std::uint32_t receivedOfPacket = 0;
  bool morePackets = false;

  for (std::uint32_t delivered = 0; delivered < kMostBytesOfReply;) {
    // A start that comes in pieces is completed with zero bytes: its length and flags are taken
    // from the piece that came first.
    readBuffer.fill(0);
    std::uint32_t count = wanted;
    if (mFilterCom.readData(readBuffer, count, timeOut) != Status::kSuccess) break;
    delivered += count;
    const BigEndianReader read(readBuffer);

    if (read.u8(0) == moxsupply::kPacketStart) {
      // Any read that begins with A5 begins a packet, also in the middle of another.
      const auto head = PacketHead::read(read, 0);
      stored.append(read.bytesAsFarAsTheyGo(0, count));
      packetSize = static_cast<std::uint16_t>(head->size());  // 65,536 and more wraps to 0 to 2
      receivedOfPacket = count;
      morePackets = head->moreFollow();
      if (count > packetSize) break;
      // A packet that is whole at once does not end the reply, whatever its flags say.
      wanted = count == packetSize ? kWantedOfPacketStart
                                   : std::min<std::uint32_t>(packetSize - count, kReadBufferSize);
      continue;
    }

    if (receivedOfPacket >= packetSize) {
      // Between packets: dropped, and the next read asks for as many bytes as came now.
      wanted = count;
      continue;
    }
    count = std::min(count, packetSize - receivedOfPacket);
    stored.append(read.bytesAsFarAsTheyGo(0, count));
    receivedOfPacket += count;
    if (receivedOfPacket == packetSize) {
      if (!morePackets) break;
      wanted = kWantedOfPacketStart;
    } else {
      // Only this read is taken off, not all that came of the packet. So a read may ask for more
      // than the packet still has; the surplus is cut off above.
      wanted = std::min<std::uint32_t>(packetSize - count, kReadBufferSize);
    }
  }

  if (stored.size() < moxsupply::kShortestReply) {
    lengthOfResponse = 0;
    return Status::kReadError;
  }
  lengthOfResponse = static_cast<std::uint32_t>(stored.size());
  return Status::kSuccess;
}
