#include "simulator/Connection.h"

#include <poll.h>
#include <sys/ioctl.h>
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

// How often to look whether all bytes have arrived.
constexpr std::chrono::milliseconds kBetweenLooks{1};

// What a host that is gone may have left behind and a finishing connection still looks at.
constexpr int kLastReads = 1024;

using ReadBuffer = std::array<std::uint8_t, 4096>;

}  // namespace

Connection::Connection(FileDescriptor socket, Printer printer, AtTheEnd atTheEnd,
                       Clock::time_point awakeFrom)
    : mSocket(std::move(socket)),
      mPrinter(std::move(printer)),
      mAtTheEnd(atTheEnd),
      mAwakeFrom(awakeFrom) {}

Connection::Wait Connection::waitsFor(Clock::time_point now) const {
  if (now < mAwakeFrom) return {.until = mAwakeFrom};
  if (!mOutgoing.empty() && now < mDue) return {.until = mDue};
  if (!mOutgoing.empty()) return {.events = POLLOUT};
  if (mHostHasEnded) return {};
  if (mPrinter.holdsJunk()) return {.events = POLLIN, .until = mLastHeard + kQuiet};
  return {.events = POLLIN};
}

bool Connection::proceed(short events, Clock::time_point now) {
  const bool isGone = (events & (POLLERR | POLLHUP)) != 0;
  if (now < mAwakeFrom) return !isGone;
  if (isGone) mOutgoing.clear();
  if (!mOutgoing.empty()) return send(now);
  if (mHostHasEnded) return !isGone;
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

// False once it has hung up.
bool Connection::send(Clock::time_point now) {
  while (!mOutgoing.empty() && mDue <= now) {
    const Write& write = mOutgoing.front();
    const auto rest = std::span(write.bytes).subspan(mSent);
    const ssize_t count = ::send(socket(), rest.data(), rest.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) return true;
    if (count < 0) {  // nobody is left to answer
      mOutgoing.clear();
      return true;
    }
    mSent += static_cast<std::size_t>(count);
    if (mSent < write.bytes.size()) continue;
    if (write.then != Then::kNext) return finishWrite(now);
    mOutgoing.pop_front();
    mSent = 0;
    if (!mOutgoing.empty()) mDue = now + mOutgoing.front().pause;
  }
  return true;
}

// What a write says that comes after it, if not the next one. False once it has hung up.
bool Connection::finishWrite(Clock::time_point now) {
  const Then then = mOutgoing.front().then;
  if (then == Then::kAgain) {  // but the other connections have their turn first
    mSent = 0;
    return true;
  }
  if (then == Then::kHangUp) {
    finish();  // what is not read would turn the end into a reset
    return false;
  }
  int onTheWay = 0;
  if (::ioctl(socket(), TIOCOUTQ, &onTheWay) == 0 && onTheWay > 0) {  // a reset takes that back
    mDue = now + kBetweenLooks;
    return true;
  }
  const linger atOnce = {.l_onoff = 1, .l_linger = 0};
  static_cast<void>(::setsockopt(socket(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce));
  return false;
}

bool Connection::receive(Clock::time_point now) {
  ReadBuffer buffer;
  const ssize_t count = ::recv(socket(), buffer.data(), buffer.size(), MSG_DONTWAIT);
  if (count < 0 && (errno == EAGAIN || errno == EINTR)) return true;
  if (count <= 0) {
    mPrinter.hearEnd();
    mHostHasEnded = true;
    return count == 0 && mAtTheEnd == AtTheEnd::kStay;
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
