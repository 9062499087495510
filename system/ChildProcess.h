#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <optional>
#include <utility>

namespace moxsupply {

// A child process that does not outlive this object, nor this process.
class ChildProcess {
 public:
  ChildProcess() = default;

  // Runs `body` in the child, which ends with exit status 0 when `body` returns. Only the calling
  // thread is there. A child that cannot be made is one that has already ended with status 127.
  explicit ChildProcess(const std::function<void()>& body);

  // Kills the child, if it still runs, and takes its place in the process table away.
  ~ChildProcess() { kill(); }

  ChildProcess(ChildProcess&& other) noexcept
      : mPid(std::exchange(other.mPid, -1)), mWaitStatus(other.mWaitStatus) {}
  ChildProcess& operator=(ChildProcess&& other) noexcept {
    std::swap(mPid, other.mPid);
    std::swap(mWaitStatus, other.mWaitStatus);
    return *this;
  }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // Waits for the child to end by itself, at most so long. Returns whether it has.
  bool waitFor(std::chrono::milliseconds patience);

  // Kills the child at once, if it still runs.
  void kill() noexcept;

  // How the child ended, as waitpid tells it; nothing while it runs.
  [[nodiscard]] std::optional<int> waitStatus() const { return mWaitStatus; }

 private:
  pid_t mPid = -1;
  std::optional<int> mWaitStatus;
};

}  // namespace moxsupply
