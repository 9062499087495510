#pragma once

#include <cstdint>
#include <span>
#include <thread>

#include "links/BackChannelPipe.h"
#include "links/CaughtOutput.h"
#include "links/Recording.h"

namespace moxsupply {

// Stands between a query and the link on this process's descriptors 1 and 3, for as long as this
// object lives, and records what goes over it.
//
// Requests are written on by the thread that asks, so that a write that fails does so there, and
// is waited for as long as without this. Answers are passed on by a thread of their own through a
// pipe in the place of descriptor 3, each piece once the one before has been read: what a read can
// bring is then what stands in the transcript, and a replay makes the same report.
class RecordedLink {
 public:
  // `recording` must outlive it.
  explicit RecordedLink(Recording& recording);
  ~RecordedLink();
  RecordedLink(const RecordedLink&) = delete;
  RecordedLink& operator=(const RecordedLink&) = delete;
  RecordedLink(RecordedLink&&) = delete;
  RecordedLink& operator=(RecordedLink&&) = delete;

 private:
  bool passOn(std::span<const std::uint8_t> request);
  void relayAnswers();

  Recording& mRecording;
  CaughtOutput mRequests;
  BackChannelPipe mAnswers;
  std::thread mThread;
};

}  // namespace moxsupply
