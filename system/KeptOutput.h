#pragma once

#include <fcntl.h>
#include <unistd.h>

#include "system/FileDescriptor.h"
#include "system/FilterDescriptors.h"

namespace moxsupply {

// Standard output as it is now, to be written to while a query has the printer's link in its place.
// What the query starts does not inherit it.
class KeptOutput {
 public:
  KeptOutput() : mOutput(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, kFirstFree)) {}

  [[nodiscard]] int descriptor() const { return mOutput.get(); }

 private:
  FileDescriptor mOutput;
};

}  // namespace moxsupply
