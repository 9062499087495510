#include "links/BackChannelPipe.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <ctime>

#include "system/FilterDescriptors.h"

namespace moxsupply {

namespace {

constexpr int kNone = -1;
constexpr std::chrono::microseconds kBetweenLooks(100);

}  // namespace

BackChannelPipe::BackChannelPipe()
    : mWake(makePipe(Blocking::kNo)),
      mAnswers(makePipe(Blocking::kNo)),
      mBackChannel(kBackChannel, mAnswers.readEnd.get()) {
  mAnswers.readEnd = FileDescriptor();
}

bool BackChannelPipe::hold(std::span<const std::uint8_t> bytes) const {
  return bytes.size() <= PIPE_BUF &&
         ::write(mAnswers.writeEnd.get(), bytes.data(), bytes.size()) > 0;
}

bool BackChannelPipe::deliver(std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(mAnswers.writeEnd.get(), bytes.data(), bytes.size());
    if (count > 0) bytes = bytes.subspan(static_cast<std::size_t>(count));
    if (count < 0 && errno != EAGAIN && errno != EINTR) return false;
    if (!bytes.empty() && !waitFor(mAnswers.writeEnd.get(), POLLOUT, std::nullopt)) return false;
  }
  int unread = 0;
  while (::ioctl(mAnswers.writeEnd.get(), FIONREAD, &unread) == 0 && unread > 0) {
    if (!waitFor(kNone, 0, kBetweenLooks)) return false;
  }
  return true;
}

bool BackChannelPipe::awaitInput(int descriptor) {
  return waitFor(descriptor, POLLIN, std::nullopt);
}

bool BackChannelPipe::pause(std::chrono::milliseconds time) { return waitFor(kNone, 0, time); }

bool BackChannelPipe::waitFor(int descriptor, short events,
                              std::optional<std::chrono::nanoseconds> time) const {
  std::array<pollfd, 2> polled = {{{.fd = mWake.readEnd.get(), .events = POLLIN, .revents = 0},
                                   {.fd = descriptor, .events = events, .revents = 0}}};
  timespec timeout{};
  if (time) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(*time);
    timeout = {.tv_sec = static_cast<std::time_t>(seconds.count()),
               .tv_nsec = static_cast<long>((*time - seconds).count())};
  }
  ::ppoll(polled.data(), polled.size(), time ? &timeout : nullptr, nullptr);
  return polled[0].revents == 0;
}

}  // namespace moxsupply
