#include "host/RecordedLink.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <vector>

#include "transcript/Transcript.h"

namespace moxsupply {

namespace {

constexpr int kBackChannel = 3;

constexpr timespec kForEver = {0, -1};
constexpr timespec kBetweenLooks = {0, 100'000};  // a tenth of a millisecond

bool isForEver(const timespec& timeout) { return timeout.tv_nsec < 0; }

// Waits for `events` on a descriptor, at most so long. Returns whether to go on: not once the other
// end of `wake` is closed.
bool waitFor(int descriptor, short events, const FileDescriptor& wake, const timespec& timeout) {
  std::array<pollfd, 2> polled = {{{.fd = wake.get(), .events = POLLIN, .revents = 0},
                                   {.fd = descriptor, .events = events, .revents = 0}}};
  ::ppoll(polled.data(), polled.size(), isForEver(timeout) ? nullptr : &timeout, nullptr);
  return polled[0].revents == 0;
}

bool isTransient(int error) { return error == EAGAIN || error == EINTR; }

}  // namespace

RecordedLink::RecordedLink(Recording& recording)
    : mRecording(recording),
      mRequests([this](std::span<const std::uint8_t> request) { return passOn(request); }),
      mWake(makePipe(Blocking::kNo)),
      mAnswers(makePipe(Blocking::kNo)),
      mBackChannel(kBackChannel, mAnswers.readEnd.get()) {
  if (!mWake || !mAnswers) {  // the link then stays in its place
    mRecording.giveUp(std::strerror(errno));
    return;
  }
  mAnswers.readEnd = FileDescriptor();
  mThread = std::thread([this] { relayAnswers(); });
}

RecordedLink::~RecordedLink() {
  mWake.writeEnd = FileDescriptor();
  if (mThread.joinable()) mThread.join();
}

// What the C library does with an unbuffered stream: all of it, or the write has failed.
bool RecordedLink::passOn(std::span<const std::uint8_t> request) {
  mRecording.sent(request);
  while (!request.empty()) {
    const ssize_t count = ::write(STDOUT_FILENO, request.data(), request.size());
    if (count < 0) {
      mRecording.failed();
      return false;
    }
    request = request.subspan(static_cast<std::size_t>(count));
  }
  return true;
}

void RecordedLink::relayAnswers() {
  if (mBackChannel.former() < 0) mAnswers.writeEnd = FileDescriptor();  // closed stays closed
  std::vector<std::uint8_t> buffer(transcript::kMostBytesOfOperation);
  while (waitFor(mBackChannel.former(), POLLIN, mWake.readEnd, kForEver)) {
    const ssize_t count = ::read(mBackChannel.former(), buffer.data(), buffer.size());
    if (count < 0 && isTransient(errno)) continue;
    if (count <= 0) {
      mRecording.ended();
      mAnswers.writeEnd = FileDescriptor();
      return;
    }
    const auto piece = std::span(buffer).first(static_cast<std::size_t>(count));
    mRecording.received(piece);
    if (!deliver(piece)) return;
  }
}

// Returns whether the piece was read; it is not when the query is over.
bool RecordedLink::deliver(std::span<const std::uint8_t> piece) {
  while (!piece.empty()) {
    const ssize_t count = ::write(mAnswers.writeEnd.get(), piece.data(), piece.size());
    if (count > 0) piece = piece.subspan(static_cast<std::size_t>(count));
    if (count < 0 && !isTransient(errno)) return false;
    if (!piece.empty() && !waitFor(mAnswers.writeEnd.get(), POLLOUT, mWake.readEnd, kForEver)) {
      return false;
    }
  }
  int unread = 0;
  while (::ioctl(mAnswers.writeEnd.get(), FIONREAD, &unread) == 0 && unread > 0) {
    if (!waitFor(-1, 0, mWake.readEnd, kBetweenLooks)) return false;
  }
  return true;
}

}  // namespace moxsupply
