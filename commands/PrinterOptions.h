#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "commands/Option.h"
#include "links/SupplyRequest.h"
#include "supplies/Supply.h"
#include "text/Problem.h"

namespace moxsupply {

// Whom to ask for supplies and how, as a command line gives it.
struct PrinterOptions {
  std::string printer = {};              // a device URI, or the name of a print queue
  std::optional<PrinterKind> kind = {};  // none: it is to be found out
  std::uint32_t timeout = 2;             // seconds
  std::uint32_t deadline = 60;           // seconds
  std::uint32_t connection = 25;         // seconds without one, after which it is given up
  std::uint32_t timeToWake = 21;         // seconds from the connection to the printer's first byte
  bool throughBackend = false;
};

// The options that several commands take, each of the same name and meaning.
// A printer that is not given is the one of environment variable DEVICE_URI, which others cannot
// see, as they see arguments.
[[nodiscard]] Option printerArgument(std::string& printer);

// The same of several; DEVICE_URI is one.
[[nodiscard]] Option printerArguments(std::vector<std::string>& printers);

[[nodiscard]] Option queueArgument(std::string& queue);
[[nodiscard]] Option printerType(std::optional<PrinterKind>& kind);

// Who says how long to wait for a read does not want to wait for a printer that wakes up, too.
[[nodiscard]] Option readTimeout(PrinterOptions& options);

// Who says how long all may take gives the connection as long.
[[nodiscard]] Option deadline(PrinterOptions& options);

// A printer's kind as it is typed behind --type: "auto" when it is to be found out.
[[nodiscard]] std::string_view typedKind(std::optional<PrinterKind> kind);

// Puts the printer of a queue in the place of the queue's name, with what the queue knows of it.
// Asks the print server for that, and nothing else of anyone. The time until the deadline starts
// with the call; another thread calls `onDeadline` when the print server has not answered by then.
[[nodiscard]] Result<SupplyRequest> supplyRequest(const PrinterOptions& options,
                                                  const OnDeadline& onDeadline);

// Why an answer is not a success, and what can be tried.
[[nodiscard]] Problem whyNoSupplies(const PrinterAnswer& answer, const SupplyRequest& request);

}  // namespace moxsupply
