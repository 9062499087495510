#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace moxsupply {

// What came of a queue: the end of a sentence that begins with its name. Harmless for a terminal.
struct QueueOutcome {
  std::string what;
  bool isGood = true;
};

// Takes the outcome, and does not return. Any thread may call it.
using TellOutcome = std::function<void(const QueueOutcome&)>;

// Does `work` for each queue, several at once, each in a process of its own, and prints a line
// about each in their order. One that has told nothing after `patience` is ended. Returns the exit
// status: that all was good.
int doForEachQueue(std::string_view command, const std::vector<std::string>& queues,
                   std::chrono::seconds patience,
                   const std::function<void(const std::string&, const TellOutcome&)>& work);

}  // namespace moxsupply
