#pragma once

#include <csignal>
#include <initializer_list>

#include "system/FileDescriptor.h"

namespace moxsupply {

// SIGINT and SIGTERM, read from a descriptor instead of ending the process, and others that are
// wanted with them. A signal that is blocked is kept even when the process ignores it, as what
// shells start in the background does. To be made before other threads, which block them as well.
class StopSignals {
 public:
  explicit StopSignals(std::initializer_list<int> others = {});

  // Readable once one has come.
  [[nodiscard]] int descriptor() const { return mDescriptor.get(); }

  // The number of the one that has come; 0 when none has.
  [[nodiscard]] int take() const;

  // From now on they end the process again, also one that has come and was not taken.
  void letThrough() const;

 private:
  sigset_t mSignals{};
  FileDescriptor mDescriptor;
};

}  // namespace moxsupply
