#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <span>
#include <thread>
#include <vector>

#include "links/BackChannelPipe.h"
#include "links/CaughtOutput.h"
#include "transcript/ReplayPace.h"
#include "transcript/Transcript.h"

namespace moxsupply {

// Plays the printer of a recorded query to this process's standard output and descriptor 3, for as
// long as this object lives: each piece once what came before it is read, and what followed a
// request once one is written. After the last operation it hangs up.
class ReplayedLink {
 public:
  // `query` must outlive it.
  explicit ReplayedLink(const transcript::Session& query);
  ~ReplayedLink();
  ReplayedLink(const ReplayedLink&) = delete;
  ReplayedLink& operator=(const ReplayedLink&) = delete;
  ReplayedLink(ReplayedLink&&) = delete;
  ReplayedLink& operator=(ReplayedLink&&) = delete;

  // Whether what was written so far are the recorded requests, from the first on.
  [[nodiscard]] bool requestsAreAsRecorded() const;

 private:
  struct Request {
    std::span<const std::uint8_t> bytes;
    bool fails;
  };

  bool take(std::span<const std::uint8_t> request);
  bool putAll();
  void play();
  bool awaitRequest(std::size_t number);

  const transcript::Session& mQuery;
  const transcript::ReplayPace mPace;
  std::vector<Request> mRequests;

  mutable std::mutex mMutex;  // of the next three
  std::condition_variable mWritten;
  std::size_t mTaken = 0;
  bool mAsRecorded = true;
  bool mIsOver = false;

  CaughtOutput mOutput;
  BackChannelPipe mAnswers;
  std::thread mThread;  // none where all is there from the beginning
};

}  // namespace moxsupply
