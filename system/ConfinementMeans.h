#pragma once

#include <cstdint>

namespace moxsupply {

// What a kernel has to confine processes (Confinement). Apart from that, since asking takes no
// library.
struct ConfinementMeans {
  bool hasSeccomp = false;   // keeps a process from calls
  bool hasLandlock = false;  // from files, whatever the call

  [[nodiscard]] bool areComplete() const { return hasSeccomp && hasLandlock; }
  [[nodiscard]] static ConfinementMeans ofThisKernel();
};

// The version of Landlock that the kernel has; less than 1 where it has none.
[[nodiscard]] std::int64_t landlockVersion();

}  // namespace moxsupply
