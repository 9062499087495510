#pragma once

#include <cstddef>

#include "tests/support/Golden.h"

namespace moxsupply::testing {

// What a query must leave when the printer sends only the first bytes of its replies.
struct Remains {
  int status = 0;
  bool namesHead = false;       // the report has a "PrintHeadType"
  bool countsSupplies = false;  // it has a "SupplyCount"
  std::size_t supplies = 0;     // it has "Supply 1" and so on up to this one, and no further
};

// All that the printer of an exchange sends.
Bytes repliesOf(const Golden& exchange);

// Works out from the bytes themselves, without the module, what the first `size` bytes of the
// replies of an exchange must leave.
Remains remainsOf(const Golden& exchange, std::size_t size);

}  // namespace moxsupply::testing
