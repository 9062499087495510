#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>

namespace moxsupply {

// What the kernel tells of a process.
struct ProcessStatus {
  pid_t parent = 0;
  std::uint64_t startTime = 0;  // since the machine was started, in clock ticks
};

// Nothing when there is no such process any more.
[[nodiscard]] std::optional<ProcessStatus> processStatus(pid_t process);

}  // namespace moxsupply
