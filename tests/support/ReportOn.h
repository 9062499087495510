#pragma once

#include <string>
#include <vector>

#include "tests/support/Golden.h"

namespace moxsupply::testing {

// The command line of `moxsupply report` for the printer of an exchange. `timeout`: seconds for
// each read. The build tells where the program is (MOXSUPPLY_PROGRAM).
inline std::vector<std::string> reportOn(const Golden& exchange, const char* timeout) {
  const bool isLaser = exchange.kind == Golden::Kind::kLaser;
  return {MOXSUPPLY_PROGRAM, "report",           "--printer-type", isLaser ? "Laser" : "Inkjet",
          "--transport",     exchange.transport, "--timeout",      timeout};
}

}  // namespace moxsupply::testing
