#include "monitoring/PageMemory.h"

#include <fmt/format.h>

#include "monitoring/Html.h"

namespace moxsupply {

std::string sayingWhyNothing(const PageMemory& memory) {
  if (!memory.isKept) {
    return "<p class=hint>Nothing is remembered here (--no-store): there are no curves, no "
           "forecasts, no events and no orders.</p>\n";
  }
  if (memory.problem.empty()) return {};
  return fmt::format(
      "<p class=alarm role=status><b>What printers tell is not remembered at present:</b> {}</p>\n",
      escaped(memory.problem));
}

}  // namespace moxsupply
