#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <tl/expected.hpp>
#include <utility>
#include <vector>

#include "system/FileDescriptor.h"

namespace moxsupply {

// The variables of this process, NAME=VALUE, with `changed` in the place of those of the same name.
[[nodiscard]] std::vector<std::string> environmentWith(const std::vector<std::string>& changed);

// How a program is started. It begins with no signal blocked, and none ignored that a program of
// ours may ignore.
struct ProgramStart {
  std::string program = {};                 // a path; without a slash it is looked for in PATH
  std::vector<std::string> arguments = {};  // with its name, which comes first
  std::vector<std::string> environment = environmentWith({});

  // What become its descriptors 0, 1, 2 and so on, each from above all of those places; none: this
  // process's first three.
  std::vector<int> descriptors = {};

  bool inOwnGroup = false;  // with what it starts in its turn
};

// A program that runs beside this process and does not outlive it, however that ends; nor this
// object. To be started by a thread that lives as long as it.
class Process {
 public:
  // One that has ended.
  Process() = default;

  // The errno of what went wrong, where the program cannot be started.
  [[nodiscard]] static tl::expected<Process, int> start(const ProgramStart& start);

  // A copy of this process, which must have one thread only: does `work` there, and ends. The errno
  // of what went wrong, where there is no other process to be had.
  [[nodiscard]] static tl::expected<Process, int> fork(const std::function<void()>& work);

  // Kills it, if it still runs, and takes its place in the process table away.
  ~Process() { kill(); }

  Process(Process&& other) noexcept
      : mPid(std::exchange(other.mPid, -1)),
        mHasOwnGroup(other.mHasOwnGroup),
        mEnd(std::move(other.mEnd)),
        mWaitStatus(other.mWaitStatus) {}
  Process& operator=(Process&& other) noexcept {
    std::swap(mPid, other.mPid);
    std::swap(mHasOwnGroup, other.mHasOwnGroup);
    std::swap(mEnd, other.mEnd);
    std::swap(mWaitStatus, other.mWaitStatus);
    return *this;
  }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  [[nodiscard]] pid_t pid() const { return mPid; }

  // Readable once it has ended.
  [[nodiscard]] int descriptor() const { return mEnd.get(); }

  // Sends a signal to it, and to its group if that is its own.
  void signal(int number) const;

  // Waits for its end, at most so long. Returns whether it has ended.
  bool waitFor(std::chrono::milliseconds patience);

  // Waits for its end as long as it takes.
  void wait();

  // Signals it, with its group if that is its own; what is still there after `patience` is killed.
  void stop(int number, std::chrono::milliseconds patience);

  // Kills it at once, with its group if that is its own.
  void kill() noexcept;

  // How it ended, as waitpid tells it; nothing while it runs.
  [[nodiscard]] std::optional<int> waitStatus() const { return mWaitStatus; }

  // The same as shells tell it: its exit status, or 128 and the signal that ended it.
  [[nodiscard]] std::optional<int> shellStatus() const;

 private:
  Process(pid_t pid, bool hasOwnGroup);

  [[nodiscard]] bool endsWithin(std::chrono::milliseconds patience) const;
  void reap() noexcept;

  pid_t mPid = -1;
  bool mHasOwnGroup = false;
  FileDescriptor mEnd;
  std::optional<int> mWaitStatus;
};

}  // namespace moxsupply
