#pragma once

#include <chrono>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "system/FileDescriptor.h"
#include "system/Pipe.h"
#include "text/ProgressLine.h"

namespace moxsupply {

// Watches a query from a thread of its own while the query blocks: keeps the progress line, listens
// to what the CUPS backend says, and sees to the deadline.
class QueryWatch {
 public:
  using Clock = std::chrono::steady_clock;

  struct Deadlines {
    Clock::time_point connection = Clock::time_point::max();  // unless there is one by then
    Clock::time_point all;
  };

  // `waitingFor`: what the progress line says first. `onDeadline` is called once, in the watching
  // thread; where it is null there is no such thread, and it is only kept what is known.
  QueryWatch(std::string waitingFor, const Deadlines& deadlines,
             std::function<void(const QueryWatch&)> onDeadline);

  // Ends the watching and takes the progress line away.
  ~QueryWatch();

  QueryWatch(const QueryWatch&) = delete;
  QueryWatch& operator=(const QueryWatch&) = delete;
  QueryWatch(QueryWatch&&) = delete;
  QueryWatch& operator=(QueryWatch&&) = delete;

  // The printer is being connected to. When that takes seconds, it may be asleep, which is shown.
  void isConnecting(std::string waitingFor);

  // The printer is connected and is being asked.
  void isAsking(std::string waitingFor);

  // When the printer was first connected; nothing before that.
  [[nodiscard]] std::optional<Clock::time_point> connectedAt() const;

  // Listens to a backend's messages from now on: lines like "ERROR: ...". A network backend says
  // so when it is connected. The descriptor does not block.
  void listenTo(FileDescriptor messages);

  // The last ERROR or WARNING of the backend, or else its last INFO. Harmless for a terminal.
  [[nodiscard]] std::string backendMessage() const;

 private:
  void watch();
  void hear();
  void showProgress();
  [[nodiscard]] Clock::time_point deadline() const;

  const Clock::time_point mStart = Clock::now();
  Deadlines mDeadlines;
  std::function<void(const QueryWatch&)> mOnDeadline;
  Pipe mWake;  // of the watching thread, if there is one. A byte: look again; the end: stop

  mutable std::mutex mMutex;  // of all below
  ProgressLine mProgress;
  FileDescriptor mMessages;
  std::string mUnfinishedLine;
  std::string mBackendMessage;
  bool mBackendHasTrouble = false;
  std::string mConnectingTo;  // what is shown of it; empty when it is done
  std::optional<Clock::time_point> mConnectedAt;

  std::thread mThread;
};

}  // namespace moxsupply
