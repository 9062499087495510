#include "monitoring/PageMemory.h"

#include <fmt/format.h>

#include "monitoring/Html.h"

namespace moxsupply {

std::string sayingWhyNothing(const PageMemory& memory) {
  if (!memory.isKept) {
    return "<p class=hint>Nothing is remembered here, so there are no curves, forecasts, events "
           "and "
           "orders: the exporter was started with --no-store, or has no folder for a store.</p>\n";
  }
  if (memory.problem.empty()) return {};
  return fmt::format(
      "<p class=alarm role=status><b>What printers tell is not remembered at present:</b> {}</p>\n",
      escaped(memory.problem));
}

}  // namespace moxsupply
