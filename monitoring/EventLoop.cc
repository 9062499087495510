#include "monitoring/EventLoop.h"

#include <sys/epoll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>
#include <span>
#include <system_error>

namespace moxsupply {

EventLoop::EventLoop() : mEpoll(::epoll_create1(EPOLL_CLOEXEC)) {
  if (!mEpoll) throw std::system_error(errno, std::generic_category(), "epoll_create1");
}

void EventLoop::watch(int descriptor, std::uint32_t events, OnEvents onEvents) {
  forget(descriptor);
  const std::uint64_t number = mNextNumber++;
  epoll_event wanted{.events = events, .data = {.u64 = number}};
  if (::epoll_ctl(mEpoll.get(), EPOLL_CTL_ADD, descriptor, &wanted) != 0) {
    throw std::system_error(errno, std::generic_category(), "epoll_ctl");
  }
  mNumbers[descriptor] = number;
  mWatches[number] = {descriptor, std::make_shared<OnEvents>(std::move(onEvents))};
}

void EventLoop::change(int descriptor, std::uint32_t events) {
  const auto found = mNumbers.find(descriptor);
  if (found == mNumbers.end()) return;
  epoll_event wanted{.events = events, .data = {.u64 = found->second}};
  ::epoll_ctl(mEpoll.get(), EPOLL_CTL_MOD, descriptor, &wanted);
}

void EventLoop::forget(int descriptor) {
  const auto found = mNumbers.find(descriptor);
  if (found == mNumbers.end()) return;
  ::epoll_ctl(mEpoll.get(), EPOLL_CTL_DEL, descriptor, nullptr);
  mWatches.erase(found->second);
  mNumbers.erase(found);
}

EventLoop::Timer EventLoop::at(Clock::time_point time, std::function<void()> onTime) {
  const Timer timer = {time, mNextNumber++};
  mTimers.emplace(timer, std::move(onTime));
  return timer;
}

void EventLoop::run(const std::function<Clock::time_point()>& afterEach) {
  while (!mHasStopped) {
    auto wakeUpTime = afterEach();
    if (!mTimers.empty()) wakeUpTime = std::min(wakeUpTime, mTimers.begin()->first.first);
    waitUntil(wakeUpTime);
    callTimers();
  }
}

void EventLoop::waitUntil(Clock::time_point time) {
  int timeout = -1;  // for ever
  if (time != Clock::time_point::max()) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(time - Clock::now()).count();
    timeout =
        static_cast<int>(std::clamp<decltype(left)>(left, 0, std::numeric_limits<int>::max()));
  }
  std::array<epoll_event, 64> events{};
  const int count = ::epoll_wait(mEpoll.get(), events.data(), events.size(), timeout);
  if (count < 0) return;  // EINTR
  for (const epoll_event& event : std::span(events).first(static_cast<std::size_t>(count))) {
    const std::uint64_t number = event.data.u64;  // a copy: the record is packed
    const auto watch = mWatches.find(number);
    if (watch == mWatches.end()) continue;         // forgotten in this round
    const auto onEvents = watch->second.onEvents;  // which may forget itself
    (*onEvents)(event.events);
  }
}

void EventLoop::callTimers() {
  const auto now = Clock::now();
  while (!mTimers.empty() && mTimers.begin()->first.first <= now) {
    const auto onTime = std::move(mTimers.begin()->second);
    mTimers.erase(mTimers.begin());
    onTime();
  }
}

}  // namespace moxsupply
