#include "simulator/Disturbance.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <utility>

#include "simulator/Requests.h"

namespace moxsupply::simulator {

namespace {

// The bytes of an answer, wherever its writes cut it.
class BytesOf {
 public:
  explicit BytesOf(std::vector<Write>& writes) {
    for (Write& write : writes) {
      for (std::uint8_t& byte : write.bytes) mBytes.emplace_back(byte);
    }
  }
  [[nodiscard]] std::size_t size() const { return mBytes.size(); }
  std::uint8_t& operator[](std::size_t i) { return mBytes[i]; }

 private:
  std::vector<std::reference_wrapper<std::uint8_t>> mBytes;
};

// The fourth to sixth byte of an answer's first packet name the request.
void nameAnotherRequest(std::vector<Write>& answer) {
  constexpr std::size_t kEcho = 4;
  constexpr std::array<std::uint8_t, 3> kDeviceQuery = {0xE0, 0x21, 0x01};
  constexpr std::array<std::uint8_t, 3> kInkjetQuery = {0xE0, 0x81, 0x00};
  BytesOf bytes(answer);
  if (bytes.size() < kEcho + kDeviceQuery.size()) return;
  const bool namesDeviceQuery = bytes[kEcho + 1] == kDeviceQuery[1];
  const auto& other = namesDeviceQuery ? kInkjetQuery : kDeviceQuery;
  for (std::size_t i = 0; i < other.size(); ++i) bytes[kEcho + i] = other.at(i);
}

void lieAboutLength(std::vector<Write>& answer, const Faults::Length& lie) {
  BytesOf bytes(answer);
  if (bytes.size() < 3) return;
  const int truth = bytes[1] << 8 | bytes[2];
  const auto length = static_cast<std::uint16_t>(lie.isRelative ? truth + lie.value : lie.value);
  bytes[1] = static_cast<std::uint8_t>(length >> 8);
  bytes[2] = static_cast<std::uint8_t>(length);
}

void sendTwice(std::vector<Write>& answer) {
  const std::vector<Write> again = answer;
  answer.insert(answer.end(), again.begin(), again.end());
}

// Bytes that begin no packet, or packets that answer nothing.
Write flood(Faults::Flood kind) {
  constexpr std::size_t kSize = 4096;
  const Bytes piece = kind == Faults::Flood::kPackets ? prefixPacket() : Bytes{'x'};
  Bytes bytes;
  while (bytes.size() < kSize) bytes.insert(bytes.end(), piece.begin(), piece.end());
  return {.bytes = std::move(bytes), .then = Then::kAgain};
}

std::vector<Write> inDrops(const std::vector<Write>& answer, std::chrono::milliseconds apart) {
  std::vector<Write> drops;
  for (const Write& write : answer) {
    auto pause = write.pause + apart;
    for (const std::uint8_t byte : write.bytes) {
      drops.push_back({.pause = pause, .bytes = {byte}});
      pause = apart;
    }
    if (write.then != Then::kNext) drops.push_back({.bytes = {}, .then = write.then});
  }
  return drops;
}

// Leaves the first `size` bytes of an answer.
void shorten(std::vector<Write>& answer, std::size_t size) {
  std::size_t kept = 0;
  for (; kept < answer.size() && size > 0; ++kept) {
    Bytes& bytes = answer[kept].bytes;
    bytes.resize(std::min(bytes.size(), size));
    size -= bytes.size();
  }
  answer.resize(kept);
}

}  // namespace

std::vector<Write> Disturbance::disturb(std::vector<Write> answer) {
  if (mHasEnded) return {};
  if (mFaults.flood) answer = {flood(*mFaults.flood)};
  if (mFaults.wrongRequest) nameAnotherRequest(answer);
  if (mFaults.length) lieAboutLength(answer, *mFaults.length);
  if (mFaults.twice) sendTwice(answer);
  flip(answer);
  endInTime(answer);
  for (const Write& write : answer) mSent += write.bytes.size();
  return mFaults.drip ? inDrops(answer, *mFaults.drip) : answer;
}

void Disturbance::flip(std::vector<Write>& answer) const {
  BytesOf bytes(answer);
  for (const std::size_t bit : mFaults.flips) {
    const std::size_t byte = bit / 8;
    if (byte < mSent || byte - mSent >= bytes.size()) continue;
    bytes[byte - mSent] ^= static_cast<std::uint8_t>(0x80 >> bit % 8);
  }
}

void Disturbance::endInTime(std::vector<Write>& answer) {
  struct End {
    std::optional<std::size_t> after;
    Then then;
  };
  const std::array<End, 3> ends = {
      {{mFaults.cut, Then::kHangUp}, {mFaults.reset, Then::kReset}, {mFaults.silent, Then::kNext}}};
  const End* first = nullptr;
  for (const End& end : ends) {
    if (end.after && (first == nullptr || *end.after < *first->after)) first = &end;
  }
  if (first == nullptr) return;
  const std::size_t left = *first->after - mSent;
  if (BytesOf(answer).size() < left) return;
  mHasEnded = true;
  shorten(answer, left);
  if (first->then != Then::kNext) answer.push_back({.bytes = {}, .then = first->then});
}

}  // namespace moxsupply::simulator
