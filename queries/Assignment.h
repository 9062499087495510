#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "supplies/Supplies.h"

namespace moxsupply {

// A query to begin.
struct Assignment {
  using Id = std::uint64_t;  // of a printer, for as long as it is in the list

  Id id;
  std::string uri;
  std::optional<PrinterKind> kind;  // none: it is to be found out
  std::chrono::seconds deadline;
  bool isQueue = false;  // its print server is to be asked
};

}  // namespace moxsupply
