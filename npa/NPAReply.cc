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

// A reply while its packets come. What a read means is judged by what that read brought.
class GatheredReply {
 public:
  explicit GatheredReply(std::span<std::uint8_t> buffer) noexcept : mStored(buffer) {}

  // How many bytes the next read is to ask for.
  [[nodiscard]] std::uint32_t wanted() const noexcept { return mWanted; }

  // Nothing more belongs to the reply.
  [[nodiscard]] bool isWhole() const noexcept { return mIsWhole; }

  [[nodiscard]] std::size_t size() const noexcept { return mStored.size(); }

  // Takes the `count` bytes that a read brought, in a buffer with zeros behind them.
  void take(const BigEndianReader& read, std::uint32_t count) noexcept {
    if (read.u8(0) == moxsupply::kPacketStart) {
      begin(read, count);  // also in the middle of another packet
    } else if (mReceivedOfPacket < mPacketSize) {
      goOn(read, count);
    } else {
      mWanted = count;  // between packets: dropped, and as many are asked for as came now
    }
  }

 private:
  // A start that comes in pieces is completed with the zeros: its length and flags are taken from
  // the piece that came first.
  void begin(const BigEndianReader& read, std::uint32_t count) noexcept {
    const auto head = PacketHead::read(read, 0);
    mPacketSize = static_cast<std::uint16_t>(head->size());  // 65,536 and more wraps to 0 to 2
    mMoreFollow = head->moreFollow();
    mReceivedOfPacket = count;
    store(read, count);
    if (count < mPacketSize) return wantRestAfter(count);
    // A packet that is whole at once does not end the reply, whatever its flags say. One that is
    // shorter than the read does.
    mWanted = kWantedOfPacketStart;
    mIsWhole = count > mPacketSize;
  }

  void goOn(const BigEndianReader& read, std::uint32_t count) noexcept {
    const std::uint32_t ofPacket = std::min(count, mPacketSize - mReceivedOfPacket);
    mReceivedOfPacket += ofPacket;
    store(read, ofPacket);
    // Only this read is taken off, not all that came of the packet. So a read may ask for more than
    // the packet still has; the surplus is cut off above.
    if (mReceivedOfPacket < mPacketSize) return wantRestAfter(ofPacket);
    mWanted = kWantedOfPacketStart;
    mIsWhole = !mMoreFollow;
  }

  void wantRestAfter(std::uint32_t count) noexcept {
    mWanted = std::min<std::uint32_t>(mPacketSize - count, kReadBufferSize);
  }

  void store(const BigEndianReader& read, std::uint32_t count) noexcept {
    mStored.append(read.bytesAsFarAsTheyGo(0, count));
  }

  BoundedWriter mStored;
  std::uint32_t mWanted = kWantedOfPacketStart;
  std::uint16_t mPacketSize = 0;
  std::uint32_t mReceivedOfPacket = 0;
  bool mMoreFollow = false;
  bool mIsWhole = false;
};

}  // namespace

Status MoxNPAUtilityCommand::getNPAReply(std::span<std::uint8_t> reply,
                                         std::uint32_t& lengthOfResponse,
                                         std::uint32_t timeOut) const noexcept {
  GatheredReply gathered(reply);
  std::array<std::uint8_t, kReadBufferSize> readBuffer{};
  for (std::uint32_t delivered = 0; delivered < kMostBytesOfReply && !gathered.isWhole();) {
    readBuffer.fill(0);
    std::uint32_t count = gathered.wanted();
    if (mFilterCom.readData(readBuffer, count, timeOut) != Status::kSuccess) break;
    delivered += count;
    gathered.take(BigEndianReader(readBuffer), count);
  }

  const bool isReply = gathered.size() >= moxsupply::kShortestReply;
  lengthOfResponse = isReply ? static_cast<std::uint32_t>(gathered.size()) : 0;
  return isReply ? Status::kSuccess : Status::kReadError;
}
