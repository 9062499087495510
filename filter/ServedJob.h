#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace moxsupply {

// The print job that a filter serves.
struct ServedJob {
  std::string queue;
  int id = 0;
  std::string user;  // whose job it is
};

// The job of a filter's first two arguments and its environment; nothing when no print server runs
// this process.
std::optional<ServedJob> servedJob(const std::string& id, const std::string& user);

enum class HasAnswered { kNo, kYes };

// Sees to it that the job comes to its end once the filter has nothing more to send. A CUPS backend
// stays with its job until a printer that it cannot reach is there (seven days), or until a printer
// that does not hang up has been quiet for 90 seconds; every later job of the queue would wait for
// that. So this closes standard output, waits up to `patience` for the end of the back channel,
// which is the backend's end, and after that cancels the job and kills the backend. Of a printer
// that has not answered the job is cancelled also when the backend has ended: it may have failed,
// and the print server would keep the job, to try it again. From the cancel on this process ignores
// SIGTERM, which it brings.
void endJob(const ServedJob& job, HasAnswered hasAnswered, std::chrono::milliseconds patience);

}  // namespace moxsupply
