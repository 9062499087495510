#pragma once

#include "values/Dictionary.h"
#include "values/Status.h"

namespace moxsupply {

// What one query of a printer leaves.
struct Report {
  Status status;
  Dictionary dictionary;  // also after a failure: what was known by then
};

}  // namespace moxsupply
