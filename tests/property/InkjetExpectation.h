#pragma once

#include "simulator/Model.h"
#include "tests/property/ExpectedReport.h"
#include "values/Dictionary.h"

// What a host is to find out about an inkjet printer, told by the model and what its items mean,
// not by bytes.
namespace moxsupply::testing {

// The items, each under its name.
Dictionary itemsOf(const simulator::InkjetModel& printer);

// The report, and how the query ends.
ExpectedReport reportOf(const simulator::InkjetModel& printer);

}  // namespace moxsupply::testing
