#pragma once

#include <atomic>
#include <cstdint>

namespace moxsupply::testing {

// What may fail is counted here by all processes of a run, which have it in shared memory; one of
// it fails.
struct FailurePoint {
  std::atomic<std::uint64_t> counted = 0;
  std::uint64_t failing = 0;  // 1 is the first; 0: none

  // Counts one. Whether it is to fail.
  bool isReached() noexcept { return counted.fetch_add(1) + 1 == failing; }
};

// The environment variable with the path of the file that holds it.
constexpr const char* kFailurePointVariable = "MOXSUPPLY_FAILURE_POINT";

// What a program says to who watches its system calls when its main begins: an operation of prctl
// that there is not.
constexpr int kMainBegins = 0x4d41494e;

}  // namespace moxsupply::testing
