#pragma once

#include <optional>

#include "simulator/Model.h"
#include "tests/property/ExpectedReport.h"
#include "values/Dictionary.h"

// What a host is to find out about a laser printer, told by the model and what its parts mean, not
// by bytes.
namespace moxsupply::testing {

// The supplies table.
Dictionary tableOf(const simulator::LaserModel& printer);

// The record of the model family; nothing where there is none, or one that hosts do not know.
std::optional<Dictionary> recordOf(const simulator::LaserModel& printer);

// The supplies, with the levels of both.
Dictionary suppliesOf(const simulator::LaserModel& printer);

// The report, and how the query ends.
ExpectedReport reportOf(const simulator::LaserModel& printer);

}  // namespace moxsupply::testing
