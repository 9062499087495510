#include "channel/MoxFilterComm.h"

#include <cups/sidechannel.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/types.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <ctime>
#include <limits>

using moxsupply::Status;

namespace {

constexpr int kBackChannel = 3;

// Keeps SIGPIPE from this thread while it lives. A write that fails meanwhile leaves the signal
// pending, and takeBack() swallows it, unless one was pending before: that one is the host's.
class SigpipeShield {
 public:
  SigpipeShield() noexcept {
    sigemptyset(&mSigpipe);
    sigaddset(&mSigpipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &mSigpipe, &mFormerMask);
    if (!wasBlocked()) return;  // nothing pends that is not blocked
    sigset_t pending;
    sigpending(&pending);
    mWasPending = sigismember(&pending, SIGPIPE) == 1;
  }

  ~SigpipeShield() {
    if (!wasBlocked()) pthread_sigmask(SIG_SETMASK, &mFormerMask, nullptr);
  }

  void takeBack() const noexcept {
    constexpr timespec kAtOnce = {0, 0};
    if (!mWasPending) sigtimedwait(&mSigpipe, nullptr, &kAtOnce);
  }

  SigpipeShield(const SigpipeShield&) = delete;
  SigpipeShield& operator=(const SigpipeShield&) = delete;
  SigpipeShield(SigpipeShield&&) = delete;
  SigpipeShield& operator=(SigpipeShield&&) = delete;

 private:
  [[nodiscard]] bool wasBlocked() const noexcept { return sigismember(&mFormerMask, SIGPIPE) == 1; }

  sigset_t mSigpipe{};
  sigset_t mFormerMask{};
  bool mWasPending = false;
};

// Whether the back channel has bytes, or its end or an error, to report within `seconds`.
bool isReadableWithin(std::uint32_t seconds) noexcept {
  pollfd backChannel = {.fd = kBackChannel, .events = POLLIN, .revents = 0};
  // Where time_t has 32 bits, what it cannot hold is 68 years all the same.
  constexpr std::uint64_t kLongest = std::numeric_limits<std::time_t>::max();
  const auto wait = static_cast<std::time_t>(std::min<std::uint64_t>(seconds, kLongest));
  const timespec timeout = {.tv_sec = wait, .tv_nsec = 0};
  return ppoll(&backChannel, 1, &timeout, nullptr) > 0;
}

// cupsBackChannelRead for a descriptor that it cannot be trusted to wait on: after its own timeout
// it reads all the same, so that on a blocking descriptor it hangs, and it counts seconds in an
// int, so that from 2^31 on it spins. Here the waiting is done first, and the read that follows
// cannot block, even when another reader of the same pipe was faster.
ssize_t readAfterWaiting(std::span<std::uint8_t> buffer, int flags,
                         std::uint32_t seconds) noexcept {
  if (!isReadableWithin(seconds)) return -1;
  fcntl(kBackChannel, F_SETFL, flags | O_NONBLOCK);
  const ssize_t count =
      cupsBackChannelRead(reinterpret_cast<char*>(buffer.data()), buffer.size(), 0.0);
  fcntl(kBackChannel, F_SETFL, flags);
  return count;
}

}  // namespace

Status MoxFilterComm::writeData(std::span<const std::uint8_t> buffer,
                                std::uint32_t withSize) const noexcept {
  const SigpipeShield shield;
  const std::size_t itemsWritten =
      withSize <= buffer.size() ? std::fwrite(buffer.data(), withSize, 1, stdout) : 0;
  const bool isFlushed = std::fflush(stdout) == 0;
  if (itemsWritten != 1 || !isFlushed) shield.takeBack();
  return itemsWritten == 1 ? Status::kSuccess : Status::kWriteError;
}

Status MoxFilterComm::readData(std::span<std::uint8_t> buffer, std::uint32_t& withSize,
                               std::uint32_t andTimeout) const noexcept {
  const auto wanted = buffer.first(std::min<std::size_t>(withSize, buffer.size()));

  // Asked on a closed descriptor, cupsBackChannelRead would spin for ever.
  const int flags = fcntl(kBackChannel, F_GETFL);
  if (flags == -1) return Status::kReadError;

  constexpr std::uint32_t kLongestForLibcups = std::numeric_limits<std::int32_t>::max();
  const bool libcupsKeepsTheTimeout = (flags & O_NONBLOCK) != 0 && andTimeout <= kLongestForLibcups;
  const ssize_t count = libcupsKeepsTheTimeout
                            ? cupsBackChannelRead(reinterpret_cast<char*>(wanted.data()),
                                                  wanted.size(), static_cast<double>(andTimeout))
                            : readAfterWaiting(wanted, flags, andTimeout);

  if (count < 0) return Status::kReadError;
  if (count == 0) return Status::kNothingReceived;
  withSize = static_cast<std::uint32_t>(count);
  return Status::kSuccess;
}
