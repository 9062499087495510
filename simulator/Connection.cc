#include "simulator/Connection.h"

#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <iterator>
#include <span>
#include <utility>

namespace moxsupply::simulator {

namespace {

// Junk that pauses for this long has ended.
constexpr std::chrono::milliseconds kQuiet{200};

// What a host that is gone may have left behind and a finishing connection still looks at.
constexpr int kLastReads = 1024;

using ReadBuffer = std::array<std::uint8_t, 4096>;

}  // namespace

Connection::Connection(FileDescriptor socket, Printer printer)
    : mSocket(std::move(socket)), mPrinter(std::move(printer)) {}

Connection::Wait Connection::waitsFor(Clock::time_point now) const {
  if (!mOutgoing.empty() && now < mDue) return {.until = mDue};
  if (!mOutgoing.empty()) return {.events = POLLOUT};
  if (mPrinter.holdsJunk()) return {.events = POLLIN, .until = mLastHeard + kQuiet};
  return {.events = POLLIN};
}

bool Connection::proceed(short events, Clock::time_point now) {
  const bool isGone = (events & (POLLERR | POLLHUP)) != 0;
  if (isGone) mOutgoing.clear();
  if (!mOutgoing.empty()) {
    send(now);
    return true;
  }
  if (isGone || (events & POLLIN) != 0) return receive(now);
  if (now >= mLastHeard + kQuiet) mPrinter.hearNothing();
  return true;
}

void Connection::finish() {
  ReadBuffer buffer;
  for (int reads = 0; reads < kLastReads; ++reads) {
    const ssize_t count = ::recv(socket(), buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (count <= 0) break;
    mPrinter.receive(std::span(buffer).first(static_cast<std::size_t>(count)));
  }
  mPrinter.hearEnd();
}

void Connection::send(Clock::time_point now) {
  while (!mOutgoing.empty() && mDue <= now) {
    const auto rest = std::span(mOutgoing.front().bytes).subspan(mSent);
    const ssize_t count = ::send(socket(), rest.data(), rest.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (count < 0) {  // nobody is left to answer
      mOutgoing.clear();
      return;
    }
    mSent += static_cast<std::size_t>(count);
    if (mSent == mOutgoing.front().bytes.size()) {
      mOutgoing.pop_front();
      mSent = 0;
      if (!mOutgoing.empty()) mDue = now + mOutgoing.front().pause;
    }
  }
}

bool Connection::receive(Clock::time_point now) {
  ReadBuffer buffer;
  const ssize_t count = ::recv(socket(), buffer.data(), buffer.size(), MSG_DONTWAIT);
  if (count < 0 && (errno == EAGAIN || errno == EINTR)) return true;
  if (count <= 0) {
    mPrinter.hearEnd();
    return false;
  }
  mLastHeard = now;
  enqueue(mPrinter.receive(std::span(buffer).first(static_cast<std::size_t>(count))), now);
  return true;
}

void Connection::enqueue(std::vector<Write> writes, Clock::time_point now) {
  mOutgoing.assign(std::make_move_iterator(writes.begin()), std::make_move_iterator(writes.end()));
  mSent = 0;
  if (!mOutgoing.empty()) mDue = now + mOutgoing.front().pause;
}

}  // namespace moxsupply::simulator
