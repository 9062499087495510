#pragma once

#include "values/Dictionary.h"
#include "values/Status.h"

namespace moxsupply {

// Turns the supplies of a laser printer into the host's report: adds "PrintHeadType",
// "SupplyCount", and one record for each supply.
//   kUndecodable  "Supplies Count" is missing (only "PrintHeadType" is added), or a supply or its
//                 "Description" is (the records before it are added)
Status addLaserReport(Dictionary supplies, Dictionary& report);

}  // namespace moxsupply
