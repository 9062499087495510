#pragma once

#include <optional>
#include <string>
#include <vector>

#include "supplies/Supply.h"
#include "values/Dictionary.h"

namespace moxsupply {

// The supplies of one printer.
struct Supplies {
  std::optional<PrinterKind> kind;  // none where it is not told
  std::string head;  // family of an inkjet's print head; empty for a laser printer or when unknown
  std::vector<Supply> list;
};

// Reads the dictionary that a query filled.
//
// Of a laser supply, a level above 100 is 100 and -2147483648 is unknown; of an inkjet cartridge, a
// level above 100 is unknown; a missing cartridge has no level. A fuser or a container has no
// colour, whatever colour word the report gives it for want of another.
Supplies suppliesFromReport(const Dictionary& report);

}  // namespace moxsupply
