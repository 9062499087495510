#pragma once

#include "values/Dictionary.h"
#include "values/Status.h"

namespace moxsupply::testing {

// How a whole query ends, and what it then has told the host.
struct ExpectedReport {
  Status status = Status::kSuccess;
  Dictionary report;
};

}  // namespace moxsupply::testing
