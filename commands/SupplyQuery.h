#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "links/DeviceUri.h"
#include "links/PrinterQuery.h"
#include "links/Recording.h"
#include "text/Problem.h"

namespace moxsupply {

// Whom to ask for supplies and how, in the words of a command line.
struct SupplyQueryOptions {
  std::string printer;        // a device URI, or the name of a print queue
  std::string type = "auto";  // "auto", "laser" or "inkjet"
  std::string timeout = "2";
  std::string deadline = "60";
  bool throughBackend = false;
};

// A printer that can be asked: its kind may still have to be found out.
struct SupplyQuery {
  DeviceUri uri;
  std::string type;       // "auto", "laser" or "inkjet"
  std::uint32_t timeout;  // seconds for each single read
  std::chrono::steady_clock::time_point deadline;
  bool throughBackend;
};

// Reads the numbers, and puts the printer of a queue in the place of the queue's name, with what
// the queue knows of it. Asks the print server for that, and nothing else of anyone. The time until
// the deadline starts with the call; another thread calls `onDeadline` when the print server has
// not answered by then.
Result<SupplyQuery> supplyQuery(const SupplyQueryOptions& options, const OnDeadline& onDeadline);

// Asks the printer, as both kinds when its own is not known. See askPrinter for `onDeadline`, and
// for standard output meanwhile.
Result<PrinterAnswer> askForSupplies(const SupplyQuery& query, const OnDeadline& onDeadline,
                                     Recording* recording = nullptr);

// Why an answer is not a success, and what can be tried.
Problem whyNoSupplies(const PrinterAnswer& answer, const SupplyQuery& query);

}  // namespace moxsupply
