#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "history/Moment.h"
#include "supplies/Outcome.h"
#include "supplies/Supplies.h"

namespace moxsupply {

// What one attempt to read a printer came to.
struct QueryResult {
  Outcome outcome = Outcome::kInternal;
  std::optional<Supplies> supplies;  // of a success
  std::string what;                  // of a failure, for people: one harmless line
  std::string advice;                // what they can try; may be empty

  // Of a print queue: how old the supplies were when the print server told them, and the device URI
  // to which it prints.
  std::chrono::milliseconds age{};
  std::string device = {};

  std::optional<Moment> moment = {};  // when the supplies were told, where that was told, too

  [[nodiscard]] bool hasSucceeded() const { return outcome == Outcome::kSuccess; }
};

// How the process of a query ended, and what it said by then.
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

// The same of a process that read a print queue.
QueryResult queueResultOf(const LevelsEnding& ending, std::chrono::seconds deadline,
                          std::chrono::system_clock::time_point now);

}  // namespace moxsupply
