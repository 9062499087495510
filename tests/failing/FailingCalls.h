#pragma once

#include <span>

namespace moxsupply::testing {

// A system call, and how it fails.
struct FailingCall {
  int number;
  int error;
};

// Those that a machine in trouble refuses: its tables are full, its disk is, a device is broken.
std::span<const FailingCall> refusedCalls();

// Those that a signal ends early.
std::span<const FailingCall> interruptedCalls();

}  // namespace moxsupply::testing
