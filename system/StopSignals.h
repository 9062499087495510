#pragma once

#include "system/FileDescriptor.h"

namespace moxsupply {

// SIGINT and SIGTERM, read from a descriptor instead of ending the process. A signal that is
// blocked is kept even when the process ignores it, as what shells start in the background does.
class StopSignals {
 public:
  StopSignals();

  // Readable once one has come.
  [[nodiscard]] int descriptor() const { return mDescriptor.get(); }

  // The number of the one that has come; 0 when none has.
  [[nodiscard]] int take() const;

  // From now on they end the process again, also one that has come and was not taken.
  void letThrough() const;

 private:
  FileDescriptor mDescriptor;
};

}  // namespace moxsupply
