#pragma once

#include <chrono>
#include <string>

#include "queue/PrintServer.h"
#include "text/Problem.h"

namespace moxsupply {

// What one ReportLevels job brought.
struct Refreshed {
  PrintQueue queue;      // as it is afterwards
  bool wasHeld = false;  // the printer answered, but kept the job until it was cancelled
};

// Has a queue's command filter ask the printer once, and waits for the end of the job. A job of
// this kind that is already waiting is taken for ours, so that they do not pile up before a printer
// that is switched off. Shows on the terminal what is being waited for; `deadline` bounds the
// whole.
[[nodiscard]] Result<Refreshed> refresh(PrintServer& server, const std::string& queue,
                                        std::chrono::seconds deadline);

}  // namespace moxsupply
