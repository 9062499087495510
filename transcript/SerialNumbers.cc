#include "transcript/SerialNumbers.h"

#include <array>

namespace moxsupply::transcript {

namespace {

constexpr std::uint8_t kPacketStart = 0xA5;
constexpr std::uint8_t kMoreFollow = 0x20;
constexpr std::array<std::uint8_t, 3> kEcho = {0xE0, 0x07, 0x02};  // of the supplies query
constexpr std::size_t kEchoAt = 4;
constexpr std::size_t kFirstHead = kEchoAt + kEcho.size();
constexpr std::size_t kLaterHead = 5;

bool looksLikeStart(std::span<const std::uint8_t> piece) {
  return piece[0] == kPacketStart && (piece.size() <= kEchoAt || piece[kEchoAt] == kEcho[0]);
}

}  // namespace

void SerialNumbers::blankIn(std::span<std::uint8_t> piece) {
  // In a later packet the fifth byte says nothing; there the packets' lengths are relied on.
  if (!piece.empty() && mPosition != 0 && looksLikeStart(piece)) {
    mPosition = 0;
    mMoreFollow = false;
  }
  for (std::uint8_t& byte : piece) take(byte);
}

void SerialNumbers::take(std::uint8_t& byte) {
  if (mPosition == 0) {
    if (byte != kPacketStart) return;
    mIsLater = mMoreFollow;
    if (!mIsLater) mIsAnswer = true;  // until its echo says otherwise
    if (!mIsLater) mHasLength = false;
  } else if (mPosition == 1) {
    mPacketSize = std::size_t{byte} << 8;
  } else if (mPosition == 2) {
    mPacketSize += byte + std::size_t{3};
  } else if (mPosition == 3) {
    mMoreFollow = (byte & kMoreFollow) != 0;
  } else if (mPosition < kFirstHead && !mIsLater) {
    mIsAnswer = mIsAnswer && byte == kEcho[mPosition - kEchoAt];
  } else if (mPosition >= (mIsLater ? kLaterHead : kFirstHead) && mIsAnswer) {
    takePayload(byte);
  }
  ++mPosition;
  if (mPosition >= 3 && mPosition >= mPacketSize) mPosition = 0;
}

void SerialNumbers::takePayload(std::uint8_t& byte) {
  if (!mHasLength) {
    mHasLength = true;
    mLeft = byte;
  } else if (mLeft > 0) {
    byte = '0';
    --mLeft;
  }
}

}  // namespace moxsupply::transcript
