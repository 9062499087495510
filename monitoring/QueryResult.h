#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "supplies/Outcome.h"
#include "supplies/Supplies.h"

namespace moxsupply {

// What one attempt to read a printer came to.
struct QueryResult {
  Outcome outcome = Outcome::kInternal;
  std::optional<Supplies> supplies;  // of a success
  std::string what;                  // of a failure, for people: one harmless line
  std::string advice;                // what they can try; may be empty

  [[nodiscard]] bool hasSucceeded() const { return outcome == Outcome::kSuccess; }
};

// How a process of `moxsupply levels` ended, and what it said by then.
struct LevelsEnding {
  std::optional<int> exitStatus{};  // none: a signal ended it
  bool wasStopped = false;          // it was, by us, for it had not ended after its deadline
  bool isCut = false;               // it wrote more than anyone wants to read
  std::string output{};
  std::string errors{};
  std::chrono::milliseconds time{};
};

// `deadline`: what the process was given.
QueryResult queryResultOf(const LevelsEnding& ending, std::chrono::seconds deadline);

}  // namespace moxsupply
