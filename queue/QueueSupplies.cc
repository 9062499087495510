#include "queue/QueueSupplies.h"

#include <algorithm>
#include <array>

#include "renderings/MarkerAttributes.h"
#include "renderings/StateReasons.h"
#include "supplies/Words.h"

namespace moxsupply {

namespace {

// The lists come from the print server, where other programs may have written them: one may be
// shorter than the names.
template <typename Value>
Value valueAt(const std::vector<Value>& values, std::size_t index, Value otherwise) {
  return index < values.size() ? values[index] : otherwise;
}

// The words of the print server itself, for queues that it reads without us, beside ours.
constexpr std::array<Word<SupplyKind>, 4> kPrintServersKinds = {{
    {SupplyKind::kToner, "toner-cartridge"},
    {SupplyKind::kToner, "tonerCartridge"},
    {SupplyKind::kInk, "ink-cartridge"},
    {SupplyKind::kInk, "inkCartridge"},
}};

SupplyKind kindPublishedAs(const std::string& type) {
  if (const auto kind = meaningIn(kSupplyKinds, type)) return *kind;
  return meaningIn(kPrintServersKinds, type).value_or(SupplyKind::kOther);
}

}  // namespace

Supplies suppliesOf(const PrintQueue& queue) {
  Supplies supplies;
  for (std::size_t i = 0; i < queue.markerNames.size(); ++i) {
    Supply supply;
    supply.name = queue.markerNames[i];
    supply.kind = kindPublishedAs(valueAt<std::string>(queue.markerTypes, i, "other"));
    supply.color = colorPublishedAs(valueAt<std::string>(queue.markerColors, i, "none"));
    supply.status = statusToldBy(queue.markerMessage, supply.name);
    const int level = valueAt(queue.markerLevels, i, kUnknownLevel);
    if (level >= 0) supply.level = std::min(level, kFullLevel);
    // Others publish -1 of what they do not know, and so does who takes levels back.
    const bool isMissing = level == kNoCartridge && queue.hasReason(kCartridgeMissing);
    if (isMissing || supply.status == SupplyStatus::kMissing) {
      supply.level = tl::unexpected(NoLevel::kMissing);
      supply.status = SupplyStatus::kMissing;
    }
    supplies.list.push_back(std::move(supply));
  }
  return supplies;
}

std::optional<std::chrono::sys_seconds> reportTimeOf(const PrintQueue& queue) {
  if (!queue.markersChanged || queue.markerNames.empty()) return std::nullopt;
  const auto told = reportTimeToldBy(queue.markerMessage);
  return std::min(told.value_or(*queue.markersChanged), *queue.markersChanged);
}

}  // namespace moxsupply
