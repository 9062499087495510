#include "monitoring/MemoryThread.h"

#include <unistd.h>

#include <utility>

namespace moxsupply {

namespace {

using Clock = Memory::Clock;

constexpr std::chrono::seconds kPatienceAtTheEnd(5);

}  // namespace

MemoryThread::MemoryThread(Memory& memory) : mMemory(memory), mThread([this] { run(); }) {}

MemoryThread::~MemoryThread() {
  mMemory.hurryToTheEnd();
  {
    std::unique_lock lock(mMutex);
    mIsOver = true;
    mNews.notify_all();
    // A thread that waits for a lock of the store cannot be ended, but with its process, which has
    // nothing else to do any more.
    if (!mNews.wait_for(lock, kPatienceAtTheEnd, [this] { return mHasEnded; })) ::_exit(0);
  }
  mThread.join();
}

void MemoryThread::wake() {
  const std::lock_guard lock(mMutex);
  mIsWoken = true;
  mNews.notify_all();
}

void MemoryThread::run() {
  while (awaitWork()) mMemory.proceed(Instant::now());
  mMemory.finish(Instant::now());
  const std::lock_guard lock(mMutex);
  mHasEnded = true;
  mNews.notify_all();
}

// Returns whether there is more to do than to end.
bool MemoryThread::awaitWork() {
  std::unique_lock lock(mMutex);
  for (auto next = mMemory.nextMove(); !mIsOver && next > Clock::now(); next = mMemory.nextMove()) {
    const auto isWanted = [this] { return mIsOver || std::exchange(mIsWoken, false); };
    if (next == Clock::time_point::max()) {
      mNews.wait(lock, isWanted);
    } else {
      mNews.wait_until(lock, next, isWanted);
    }
  }
  return !mIsOver;
}

}  // namespace moxsupply
