#pragma once

#include <chrono>
#include <functional>
#include <mutex>
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

  // `waitingFor`: what the progress line says first. `onDeadline` is called once, in the watching
  // thread.
  QueryWatch(std::string waitingFor, Clock::time_point deadline,
             std::function<void(const QueryWatch&)> onDeadline);

  // Ends the watching and takes the progress line away.
  ~QueryWatch();

  QueryWatch(const QueryWatch&) = delete;
  QueryWatch& operator=(const QueryWatch&) = delete;
  QueryWatch(QueryWatch&&) = delete;
  QueryWatch& operator=(QueryWatch&&) = delete;

  // The printer is connected and is being asked.
  void isAsking(std::string waitingFor);
  [[nodiscard]] bool wasAsking() const;

  // Listens to a backend's messages from now on: lines like "ERROR: ...". The descriptor does not
  // block.
  void listenTo(FileDescriptor messages);

  // The last ERROR or WARNING of the backend, or else its last INFO. Harmless for a terminal.
  [[nodiscard]] std::string backendMessage() const;

 private:
  void watch();
  void hear();

  Clock::time_point mDeadline;
  std::function<void(const QueryWatch&)> mOnDeadline;
  Pipe mWake;  // a byte: look again; the end: stop

  mutable std::mutex mMutex;  // of all below
  ProgressLine mProgress;
  FileDescriptor mMessages;
  std::string mUnfinishedLine;
  std::string mBackendMessage;
  bool mBackendHasTrouble = false;
  bool mWasAsking = false;

  std::thread mThread;
};

}  // namespace moxsupply
