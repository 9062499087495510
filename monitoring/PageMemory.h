#pragma once

#include <functional>
#include <string>

#include "history/Moment.h"
#include "monitoring/PrinterList.h"
#include "monitoring/RememberedPrinter.h"

namespace moxsupply {

// What pages are given of what is remembered.
struct PageMemory {
  Moment now;                // for how long something lasts
  bool isKept = false;       // otherwise nothing is to be remembered
  std::string problem = {};  // why nothing is remembered though it is to be; empty when it is

  // Null where nothing is remembered of a printer.
  std::function<const RememberedPrinter*(const ListedPrinter&)> find =
      [](const ListedPrinter&) -> const RememberedPrinter* { return nullptr; };
};

// Says on a page that nothing is remembered, and why; empty otherwise.
[[nodiscard]] std::string sayingWhyNothing(const PageMemory& memory);

}  // namespace moxsupply
