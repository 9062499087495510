#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "links/DeviceUri.h"
#include "links/Recording.h"
#include "supplies/Report.h"
#include "supplies/Supply.h"
#include "text/Problem.h"

namespace moxsupply {

// What one printer is asked once, and how.
struct PrinterQuestion {
  DeviceUri uri;
  PrinterKind kind;                // as which it is asked
  std::uint32_t timeout;           // seconds for each single read
  bool throughBackend = false;     // use the CUPS backend for socket:// too
  Recording* recording = nullptr;  // writes down what goes over the link
};

struct PrinterAnswer {
  Report report;
  std::string backendMessage;  // the CUPS backend's last word of trouble, or else its last word
};

// What happens at the deadline. Does not return: the query cannot be taken back, only ended with
// its process.
using OnDeadline = std::function<void(const Problem&)>;

// Asks a printer once: over a connection of its own for socket://, for every other scheme through
// its CUPS backend, which ends with the call. Meanwhile this process's standard output and
// descriptor 3 are the printer's; afterwards they are what they were, standard output unbuffered.
// Shows on the terminal what is being waited for. Another thread calls `onDeadline`.
//
// A question that the printer leaves unanswered is an answer too, with its status; a Problem is
// that the printer could not be asked.
[[nodiscard]] Result<PrinterAnswer> askPrinter(const PrinterQuestion& question,
                                               std::chrono::steady_clock::time_point deadline,
                                               const OnDeadline& onDeadline);

}  // namespace moxsupply
