#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace moxsupply {

// What the print server tells a notifier.
struct JobEvent {
  std::string queue;
  int job = 0;
  std::string title;     // of the job
  bool isAnEnd = false;  // the job is over; all else is of no interest
};

// More than any event has, in bytes.
constexpr std::size_t kLongestEvent = std::size_t{256} << 10U;

// Waits for the next event on a descriptor. Nothing at the end, and after what is no event, behind
// which nobody knows where the next one begins.
std::optional<JobEvent> readEvent(int descriptor);

}  // namespace moxsupply
