#pragma once

#include <string>
#include <string_view>

#include "supplies/Report.h"
#include "text/Problem.h"

namespace moxsupply {

// A report as one line of JSON, {"status": -4, "report": {...}}, with a newline: the status as a
// signed number, the dictionary with the keys and values that the query left. Printable ASCII.
std::string reportAsJson(const Report& report);

// The other way round, for what another process wrote. Of the dictionary it takes what programs
// show: the print head, and the record of each supply.
Result<Report> reportFromJson(std::string_view json);

}  // namespace moxsupply
