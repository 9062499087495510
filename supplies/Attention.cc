#include "supplies/Attention.h"

namespace moxsupply {

namespace {

Attention attentionOfLevel(const Level& level, int lowLevel) {
  if (!level) return Attention::kNone;
  if (*level == 0) return Attention::kEmpty;
  return *level <= lowLevel ? Attention::kLow : Attention::kNone;
}

}  // namespace

Attention attentionOf(const Supply& supply, const Measure& measure) {
  const bool isJudged = measure.judgesAll || isCartridge(supply);
  switch (supply.status) {
    case SupplyStatus::kMissing:
      return Attention::kMissing;
    case SupplyStatus::kInvalid:
    case SupplyStatus::kIncorrect:
      return Attention::kWrong;
    case SupplyStatus::kEmpty:
      return isJudged ? Attention::kEmpty : Attention::kNone;
    case SupplyStatus::kCorrect:
      break;
  }
  return isJudged ? attentionOfLevel(supply.level, measure.lowLevel) : Attention::kNone;
}

}  // namespace moxsupply
