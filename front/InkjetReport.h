#pragma once

#include "values/Dictionary.h"
#include "values/Status.h"

namespace moxsupply {

class SupplyNames;

// Turns the CPD dictionary of an inkjet printer into the host's report: identifies the print head,
// leaves out the cartridges whose codes nobody knows, and adds "PrintHeadType", one record for each
// cartridge, and "SupplyCount".
//   kUndecodable  there is no "kFirstCartID" (`report` is as it was), or a cartridge but an unknown
//                 print head ("SupplyCount" 0 is added)
Status addInkjetReport(Dictionary items, const SupplyNames& names, Dictionary& report);

}  // namespace moxsupply
