#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <unordered_map>
#include <utility>

#include "system/FileDescriptor.h"

namespace moxsupply {

// Waits for descriptors and for times, and calls whoever wants to know, all in one thread.
class EventLoop {
 public:
  using Clock = std::chrono::steady_clock;
  using OnEvents = std::function<void(std::uint32_t events)>;  // of epoll

  EventLoop();

  // Calls `onEvents` when one of `events` has happened to the descriptor, until it is forgotten,
  // which it must be before it is closed. Takes the place of what was wanted of it before.
  void watch(int descriptor, std::uint32_t events, OnEvents onEvents);

  // Changes the events that are wanted.
  void change(int descriptor, std::uint32_t events);

  void forget(int descriptor);

  // Calls `onTime` once, at that time or soon after. Gives what takes this back.
  using Timer = std::pair<Clock::time_point, std::uint64_t>;
  Timer at(Clock::time_point time, std::function<void()> onTime);
  void cancel(const Timer& timer) { mTimers.erase(timer); }

  // After each round of events and times, `afterEach`, which returns the time at which it wants to
  // be called again at the latest. Returns once `stop` was called.
  void run(const std::function<Clock::time_point()>& afterEach);
  void stop() { mHasStopped = true; }

 private:
  struct Watch {
    int descriptor;
    std::shared_ptr<OnEvents> onEvents;
  };

  void waitUntil(Clock::time_point time);
  void callTimers();

  FileDescriptor mEpoll;
  // An event is of a watch and not of a descriptor, whose number the next one can have.
  std::unordered_map<std::uint64_t, Watch> mWatches;
  std::unordered_map<int, std::uint64_t> mNumbers;  // of watches, by descriptor
  std::map<Timer, std::function<void()>> mTimers;
  std::uint64_t mNextNumber = 0;
  bool mHasStopped = false;
};

}  // namespace moxsupply
