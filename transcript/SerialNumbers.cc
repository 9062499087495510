#include "transcript/SerialNumbers.h"

#include <algorithm>

namespace moxsupply::transcript {

namespace {

constexpr std::uint8_t kPacketStart = 0xA5;
constexpr std::array<std::uint8_t, 3> kEcho = {0xE0, 0x07, 0x02};  // of the supplies query
constexpr std::size_t kEchoAt = 4;
constexpr std::size_t kLaterHeadSize = 5;
constexpr std::size_t kUncounted = 3;  // bytes of a packet: its start and its length

bool beginsAnswer(std::span<const std::uint8_t> head) {
  return head[0] == kPacketStart && std::ranges::equal(head.subspan(kEchoAt), kEcho);
}

}  // namespace

void SerialNumbers::blankIn(std::span<std::uint8_t> piece) {
  for (std::size_t i = 0; i < piece.size(); ++i) {
    std::shift_left(mLatest.begin(), mLatest.end(), 1);
    mLatest.back() = piece[i];
    if (beginsAnswer(mLatest)) {
      // The head's first bytes may have been taken for a serial number that broke off.
      const auto head = std::span(mLatest).last(std::min(i + 1, kHeadSize));
      std::ranges::copy(head, piece.subspan(i + 1 - head.size()).begin());
      endHead(kHeadSize);
      mLeft = std::nullopt;
    } else if (mLeft != 0U) {
      take(piece[i]);
    }
  }
}

void SerialNumbers::take(std::uint8_t& byte) {
  if (mHeadLeft > 0) {
    if (--mHeadLeft == 0) endHead(kLaterHeadSize);
  } else if (mDataLeft > 0) {
    --mDataLeft;
    takeData(byte);
  } else if (byte == kPacketStart) {
    mHeadLeft = kLaterHeadSize - 1;
  } else {
    byte = '0';
  }
}

void SerialNumbers::takeData(std::uint8_t& byte) {
  if (mLeft) {
    byte = '0';
    --*mLeft;
  } else {
    mLeft = byte;
  }
}

// A head of this size is whole.
void SerialNumbers::endHead(std::size_t size) {
  const auto head = std::span(mLatest).last(size);
  const std::size_t packetSize = kUncounted + (std::size_t{head[1]} << 8U) + head[2];
  mHeadLeft = 0;
  mDataLeft = packetSize - std::min(packetSize, size);
}

}  // namespace moxsupply::transcript
