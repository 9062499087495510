#pragma once

#include "system/FileDescriptor.h"

namespace moxsupply::simulator {

// SIGINT and SIGTERM, read from a descriptor instead of ending the process. Also when the process
// was started with them ignored, as shells start what runs in the background.
class StopSignals {
 public:
  StopSignals();

  // Readable once one has come.
  [[nodiscard]] int descriptor() const { return mDescriptor.get(); }

  // The number of the one that has come; 0 when none has.
  [[nodiscard]] int take() const;

 private:
  FileDescriptor mDescriptor;
};

}  // namespace moxsupply::simulator
