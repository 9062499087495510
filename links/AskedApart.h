#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

#include "links/SupplyRequest.h"
#include "supplies/Outcome.h"
#include "supplies/Supply.h"

namespace moxsupply {

// How it went to ask a printer.
struct Asked {
  Outcome outcome = Outcome::kInternal;
  std::optional<PrinterKind> kind;   // as which it told of its supplies; none: it did not
  bool wasHeard = false;             // it said something, whatever that was
  std::string what;                  // why it did not, in one line; harmless for a terminal
  std::string advice;                // what can be tried; may be empty
  std::chrono::milliseconds time{};  // that it took
};

// Asks a printer as askForSupplies does, but in a process of its own, so that this one goes on at
// the deadline. This process must have one thread only.
[[nodiscard]] Asked askApart(const SupplyRequest& request);

}  // namespace moxsupply
