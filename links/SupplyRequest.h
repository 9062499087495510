#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

#include "links/DeviceUri.h"
#include "links/PrinterQuestion.h"
#include "links/Recording.h"
#include "supplies/Supply.h"
#include "text/Problem.h"

namespace moxsupply {

// A printer that is to be asked for its supplies, and how.
struct SupplyRequest {
  DeviceUri uri;
  std::optional<PrinterKind> kind;  // none: it is asked as both
  std::uint32_t timeout;            // seconds for each single read
  std::chrono::steady_clock::time_point deadline;
  bool throughBackend;
};

// Asks the printer, as both kinds when its own is not known. See askPrinter for `onDeadline`, and
// for standard output meanwhile.
[[nodiscard]] Result<PrinterAnswer> askForSupplies(const SupplyRequest& request,
                                                   const OnDeadline& onDeadline,
                                                   Recording* recording = nullptr);

}  // namespace moxsupply
