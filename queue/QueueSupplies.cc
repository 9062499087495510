#include "queue/QueueSupplies.h"

#include <algorithm>

#include "renderings/MarkerAttributes.h"
#include "supplies/Words.h"

namespace moxsupply {

namespace {

// The lists come from the print server, where other programs may have written them: one may be
// shorter than the names.
template <typename Value>
Value valueAt(const std::vector<Value>& values, std::size_t index, Value otherwise) {
  return index < values.size() ? values[index] : otherwise;
}

}  // namespace

Supplies suppliesOf(const PrintQueue& queue) {
  Supplies supplies;
  for (std::size_t i = 0; i < queue.markerNames.size(); ++i) {
    Supply supply;
    supply.name = queue.markerNames[i];
    supply.kind = meaningIn(kSupplyKinds, valueAt<std::string>(queue.markerTypes, i, "other"))
                      .value_or(SupplyKind::kOther);
    supply.color = colorPublishedAs(valueAt<std::string>(queue.markerColors, i, "none"));
    supply.status = statusToldBy(queue.markerMessage, supply.name);
    const int level = valueAt(queue.markerLevels, i, kUnknownLevel);
    if (level >= 0) supply.level = std::min(level, kFullLevel);
    if (level == kNoCartridge) {
      supply.level = tl::unexpected(NoLevel::kMissing);
      supply.status = SupplyStatus::kMissing;
    }
    supplies.list.push_back(std::move(supply));
  }
  return supplies;
}

}  // namespace moxsupply
