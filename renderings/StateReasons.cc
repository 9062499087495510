#include "renderings/StateReasons.h"

#include <fmt/format.h>

#include <vector>

#include "supplies/Attention.h"

namespace moxsupply {

namespace {

constexpr std::string_view kTonerLow = "toner-low-report";
constexpr std::string_view kTonerEmpty = "toner-empty-warning";
constexpr std::string_view kInkLow = "marker-supply-low-report";
constexpr std::string_view kInkEmpty = "marker-supply-empty-warning";
// A cartridge that the printer refuses. There is no reason of that name; this one says that there
// is a fault which the user can mend.
constexpr std::string_view kWrong = "subunit-recoverable-failure-warning";

std::string_view reasonOf(const Supply& supply, const Measure& measure) {
  const bool isToner = supply.kind == SupplyKind::kToner;
  switch (attentionOf(supply, measure)) {
    case Attention::kNone:
      return {};
    case Attention::kLow:
      return isToner ? kTonerLow : kInkLow;
    case Attention::kEmpty:
      return isToner ? kTonerEmpty : kInkEmpty;
    case Attention::kMissing:
      return kCartridgeMissing;
    case Attention::kWrong:
      break;
  }
  return kWrong;
}

}  // namespace

std::set<std::string_view> stateReasons(const Supplies& supplies, const Measure& measure) {
  std::set<std::string_view> reasons;
  for (const Supply& supply : supplies.list) {
    if (const auto reason = reasonOf(supply, measure); !reason.empty()) reasons.insert(reason);
  }
  return reasons;
}

std::string stateLines(const std::set<std::string_view>& holding) {
  std::vector<std::string_view> cleared;
  for (const ReasonWords& ours : kReasonWords) {
    if (!holding.contains(ours.reason)) cleared.push_back(ours.reason);
  }
  std::string lines = fmt::format("STATE: -{}\n", fmt::join(cleared, ","));
  if (!holding.empty()) lines += fmt::format("STATE: +{}\n", fmt::join(holding, ","));
  return lines;
}

std::string stateLineAdding(std::string_view reason) { return fmt::format("STATE: +{}\n", reason); }

}  // namespace moxsupply
