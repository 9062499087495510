#pragma once

#include <string>

#include "values/Dictionary.h"
#include "values/Status.h"

namespace moxsupply {

// The result of a query as one line of JSON, {"status": -4, "report": {...}}, with a newline: the
// status as a signed number, the report with the keys and values that the query left. UTF-8.
std::string reportAsJson(Status status, const Dictionary& report);

}  // namespace moxsupply
