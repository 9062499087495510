#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>

#include "system/FileDescriptor.h"
#include "system/Pipe.h"
#include "system/Substitute.h"

namespace moxsupply {

// A pipe in the place of this process's back channel, for as long as this object lives. One thread
// fills it, while another reads descriptor 3.
class BackChannelPipe {
 public:
  BackChannelPipe();

  // Whether there were descriptors for it. If not, the back channel is what it was.
  explicit operator bool() const { return mAnswers.writeEnd && mWake && mBackChannel.isInPlace(); }

  // What the back channel was before; -1 when it was closed.
  [[nodiscard]] int former() const { return mBackChannel.former(); }

  // Puts at most 4096 bytes there, all at once or none. Returns whether they are there.
  [[nodiscard]] bool hold(std::span<const std::uint8_t> bytes) const;

  // For the thread that fills it. Each returns false once `stop` was called.

  // Puts bytes there, and waits until they have been read.
  bool deliver(std::span<const std::uint8_t> bytes);

  // Waits until a descriptor has something to read; for ever on -1.
  bool awaitInput(int descriptor);

  bool pause(std::chrono::milliseconds time);

  // The reader finds the end after what lies there.
  void hangUp() { mAnswers.writeEnd = FileDescriptor(); }

  // For any other thread: the waiting above ends.
  void stop() { mWake.writeEnd = FileDescriptor(); }

 private:
  [[nodiscard]] bool waitFor(int descriptor, short events,
                             std::optional<std::chrono::nanoseconds> time) const;

  Pipe mWake;  // its end: stop
  Pipe mAnswers;
  Substitute mBackChannel;
};

}  // namespace moxsupply
