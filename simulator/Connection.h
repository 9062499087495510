#pragma once

#include <chrono>
#include <cstddef>
#include <deque>

#include "simulator/Answer.h"
#include "simulator/Printer.h"
#include "system/FileDescriptor.h"

namespace moxsupply::simulator {

// What a printer does when the host has hung up.
enum class AtTheEnd : bool { kHangUp, kStay };

// A host's connection to the printer. It never blocks: the server polls it for what it waits for.
//
// While an answer is on its way the next requests wait in the socket, as they do at a printer.
class Connection {
 public:
  using Clock = std::chrono::steady_clock;

  // `awakeFrom`: until then it neither reads nor writes.
  Connection(FileDescriptor socket, Printer printer, AtTheEnd atTheEnd = AtTheEnd::kHangUp,
             Clock::time_point awakeFrom = Clock::time_point::min());

  [[nodiscard]] int socket() const { return mSocket.get(); }

  // What it waits for: events of poll, or a time at which to go on without one.
  struct Wait {
    short events = 0;
    Clock::time_point until = Clock::time_point::max();
  };
  [[nodiscard]] Wait waitsFor(Clock::time_point now) const;

  // Goes on after `events` of poll, or none. False once either end has hung up.
  bool proceed(short events, Clock::time_point now);

  // Takes note of what has arrived, and answers no more.
  void finish();

 private:
  bool send(Clock::time_point now);
  bool finishWrite(Clock::time_point now);
  bool receive(Clock::time_point now);
  void enqueue(std::vector<Write> writes, Clock::time_point now);

  FileDescriptor mSocket;
  Printer mPrinter;
  AtTheEnd mAtTheEnd;
  Clock::time_point mAwakeFrom;
  bool mHostHasEnded = false;
  std::deque<Write> mOutgoing;
  std::size_t mSent = 0;         // bytes of the first of these
  Clock::time_point mDue;        // when its pause is over
  Clock::time_point mLastHeard;  // when the last bytes arrived
};

}  // namespace moxsupply::simulator
