#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>

#include "monitoring/Memory.h"

namespace moxsupply {

// The second thread of a memory.
class MemoryThread {
 public:
  explicit MemoryThread(Memory& memory);

  // Has it keep what waits, if the store lets it within five seconds.
  ~MemoryThread();

  MemoryThread(const MemoryThread&) = delete;
  MemoryThread& operator=(const MemoryThread&) = delete;
  MemoryThread(MemoryThread&&) = delete;
  MemoryThread& operator=(MemoryThread&&) = delete;

  // See Memory::Hooks.
  void wake();

 private:
  void run();
  bool awaitWork();

  Memory& mMemory;
  std::mutex mMutex;  // of these
  std::condition_variable mNews;
  bool mIsWoken = false;
  bool mIsOver = false;
  bool mHasEnded = false;
  std::thread mThread;  // begins when all the rest is there
};

}  // namespace moxsupply
