#include "links/ReplayedLink.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <system_error>

namespace moxsupply {

using transcript::Event;
using transcript::Operation;

ReplayedLink::ReplayedLink(const transcript::Session& query)
    : mQuery(query),
      mPace(query),
      mOutput([this](std::span<const std::uint8_t> request) { return take(request); }) {
  for (const Operation& operation : query.operations) {
    if (operation.event == Event::kSent) mRequests.push_back({operation.bytes, false});
    if (operation.event == Event::kFailed && !mRequests.empty()) mRequests.back().fails = true;
  }
  if (!mAnswers) throw std::system_error(errno, std::generic_category(), "a pipe");
  if (putAll()) {
    mAnswers.hangUp();
  } else {
    mThread = std::thread([this] { play(); });
  }
}

ReplayedLink::~ReplayedLink() {
  {
    const std::lock_guard lock(mMutex);
    mIsOver = true;
  }
  mWritten.notify_all();
  mAnswers.stop();
  if (mThread.joinable()) mThread.join();
}

bool ReplayedLink::requestsAreAsRecorded() const {
  const std::lock_guard lock(mMutex);
  return mAsRecorded;
}

bool ReplayedLink::take(std::span<const std::uint8_t> request) {
  const std::lock_guard lock(mMutex);
  const bool isRecorded = mTaken < mRequests.size();
  mAsRecorded = mAsRecorded && isRecorded && std::ranges::equal(mRequests[mTaken].bytes, request);
  const bool fails = isRecorded && mRequests[mTaken].fails;
  ++mTaken;
  mWritten.notify_all();
  return !fails;
}

// Has all that came lie there before anybody reads, where that is one piece for which no request is
// awaited: that takes no thread. Returns whether it does.
bool ReplayedLink::putAll() {
  if (mQuery.operations.size() != 1) return false;
  const Operation& only = mQuery.operations.front();
  return only.event == Event::kReceived && mPace.pauseBefore(only).count() == 0 &&
         mAnswers.hold(only.bytes);
}

void ReplayedLink::play() {
  std::size_t requests = 0;
  for (const Operation& operation : mQuery.operations) {
    bool goesOn = true;
    if (operation.event == Event::kSent) {
      goesOn = awaitRequest(++requests);
    } else if (operation.event == Event::kReceived) {
      goesOn = mAnswers.pause(mPace.pauseBefore(operation)) && mAnswers.deliver(operation.bytes);
    } else if (operation.event == Event::kEnded) {
      goesOn = mAnswers.pause(mPace.pauseBefore(operation));
      mAnswers.hangUp();
    }
    if (!goesOn) break;
  }
  mAnswers.hangUp();
}

// Returns whether that many were written. A query asks again after four reads at the most; if it
// does not, it goes another way than the recorded one.
bool ReplayedLink::awaitRequest(std::size_t number) {
  const auto patience = std::chrono::seconds(mPace.hasSilence() ? 4 * mPace.timeout() + 1 : 2);
  std::unique_lock lock(mMutex);
  mWritten.wait_for(lock, patience, [&] { return mIsOver || mTaken >= number; });
  return mTaken >= number && !mIsOver;
}

}  // namespace moxsupply
