#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "system/FileDescriptor.h"

namespace moxsupply::simulator {

// A command that runs beside the printer.
class ChildCommand {
 public:
  // Starts it, with this process's environment and standard streams. Throws std::system_error when
  // it cannot be started.
  explicit ChildCommand(std::vector<std::string> command);

  // Readable once the command has ended.
  [[nodiscard]] int descriptor() const { return mEnded.get(); }

  // Hands a signal on to it and to what it has started, and waits for its end; what is still there
  // after a second is killed. A command at a terminal shares its signals with this process; there,
  // and there only, what it has started is not signalled.
  void stop(int signal) const;

  // Waits for its end and returns its exit status, or 128 and the signal that ended it.
  [[nodiscard]] int wait() const;

 private:
  // The command itself, or the group of it and what it has started.
  void signalAll(int signal) const;

  bool mHasOwnGroup;
  pid_t mPid = -1;
  FileDescriptor mEnded;
};

}  // namespace moxsupply::simulator
