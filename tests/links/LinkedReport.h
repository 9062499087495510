#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "system/ChildProcess.h"
#include "system/FileDescriptor.h"
#include "tests/links/BrokenOffExchange.h"

namespace moxsupply::testing {

// What the link does after the last byte.
enum class Fault {
  kCut,     // it ends, both ways
  kSilent,  // it stays
  kReset,   // it ends with an error. The link is a TCP connection, which alone can do that
};

// `moxsupply report` in a process of its own, with this object for its printer: on pipes like those
// of a print server, or on a TCP connection. Answers each request once it is there, and fails
// after the last answer. Never blocks but in its constructor.
class LinkedReport {
 public:
  using Clock = std::chrono::steady_clock;

  // `timeout`: seconds for each read.
  LinkedReport(const Golden& exchange, const char* timeout, std::vector<Talk> talk, Fault fault);

  // Readable when there is something to do, and for good once the report has ended; -1 is neither.
  [[nodiscard]] int requests() const { return mRequests.get(); }
  [[nodiscard]] int end() const { return mEnd.get(); }

  // Takes what has come of the requests, and answers.
  void proceed();

  struct Ending {
    int exitStatus = -1;     // -1 when it was ended by a signal
    std::string result;      // what it wrote to standard error
    Clock::duration time{};  // since this object saw its first request
    Clock::duration life{};  // since it was started
  };

  // To be called once `end` is readable: the process has ended then, and whatever it started.
  Ending finish();

 private:
  void answer();
  void fail();

  std::vector<Talk> mTalk;
  Fault mFault;
  std::size_t mAnswered = 0;  // requests
  std::size_t mReceived = 0;  // bytes of the request that is to be answered next
  Clock::time_point mBirth = Clock::now();
  std::optional<Clock::time_point> mStart;

  FileDescriptor mRequests;
  FileDescriptor mReplies;
  FileDescriptor mErrors;
  FileDescriptor mEnd;
  ChildProcess mProcess;
};

}  // namespace moxsupply::testing
