#include "links/RecordedLink.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <span>

#include "transcript/Transcript.h"

namespace moxsupply {

RecordedLink::RecordedLink(Recording& recording)
    : mRecording(recording),
      mRequests([this](std::span<const std::uint8_t> request) { return passOn(request); }) {
  if (mAnswers) {
    mThread = std::thread([this] {
      try {
        relayAnswers();
      } catch (const std::bad_alloc&) {
        mRecording.giveUp(std::strerror(ENOMEM));
        mAnswers.hangUp();
      }
    });
  } else {
    mRecording.giveUp(std::strerror(errno));
  }
}

RecordedLink::~RecordedLink() {
  mAnswers.stop();
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
  const int link = mAnswers.former();
  if (link < 0) mAnswers.hangUp();  // there is no back channel
  // So much seldom comes at once: what is never written to takes no memory.
  using Buffer = std::array<std::uint8_t, transcript::kMostBytesOfOperation>;
  const auto buffer = std::make_unique_for_overwrite<Buffer>();
  while (mAnswers.awaitInput(link)) {
    const ssize_t count = ::read(link, buffer->data(), buffer->size());
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) continue;
    if (count <= 0) {
      mRecording.ended();
      mAnswers.hangUp();
      return;
    }
    const auto piece = std::span(*buffer).first(static_cast<std::size_t>(count));
    mRecording.received(piece);
    if (!mAnswers.deliver(piece)) return;
  }
}

}  // namespace moxsupply
