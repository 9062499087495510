#pragma once

#include <fcntl.h>
#include <unistd.h>

#include "system/FileDescriptor.h"

namespace moxsupply {

// Standard output as it is now, to be written to while a query has the printer's link in its place.
// What the query starts does not inherit it.
class KeptOutput {
 public:
  KeptOutput() : mOutput(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, kFirstFree)) {}

  [[nodiscard]] int descriptor() const { return mOutput.get(); }

 private:
  static constexpr int kFirstFree = 5;  // those below have a meaning in a filter

  FileDescriptor mOutput;
};

}  // namespace moxsupply
