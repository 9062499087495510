#include "front/LaserReport.h"

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <utility>

#include "front/LaserSupplies.h"

namespace moxsupply {

namespace {

std::string_view typeOfSupply(std::int32_t code) {
  switch (code) {
    case 1:
    case 2:
    case 3:
      return "toner";
    case 5:
      return "fuser";
    case 6:
      return "ink";
    default:
      return "other";
  }
}

// A supply without a colour word, be it a black toner or a fuser, is black.
std::string_view colorOfSupply(std::string_view description) {
  std::string_view color = "Black";
  for (const std::string_view word : kColorWords) {
    if (description.find(word) != std::string_view::npos) color = word;
  }
  return color;
}

// Whole percent, truncated and not clamped: more than 100 when the printer reports more than full.
// Both levels count as unsigned. The quotient comes first: 29 of 100 gives 28, since 0.29 * 100.0
// is just below 29.
std::int32_t percentageLeft(std::int32_t maxLevel, std::int32_t currentLevel) {
  const double percentage = static_cast<double>(static_cast<std::uint32_t>(currentLevel)) /
                            static_cast<double>(static_cast<std::uint32_t>(maxLevel)) * 100.0;
  // Stands for what is no number of percent: a full level of 0, or more than 32 bits hold.
  constexpr std::int32_t kNoPercentage = std::numeric_limits<std::int32_t>::min();
  constexpr double kBeyond = 2147483648.0;
  return percentage < kBeyond ? static_cast<std::int32_t>(percentage) : kNoPercentage;
}

}  // namespace

Status addLaserReport(Dictionary supplies, Dictionary& report) {
  report.set("PrintHeadType", std::string("LaserSupplies"));

  const auto* suppliesCount = supplies.get<std::int32_t>("Supplies Count");
  if (suppliesCount == nullptr) return Status::kUndecodable;
  report.set("SupplyCount", *suppliesCount);

  for (std::int32_t i = 1; i <= reportedSupplies(*suppliesCount); ++i) {
    auto* supply = supplies.get<Dictionary>({"Supply", i});
    auto* description = supply == nullptr ? nullptr : supply->get<std::string>("Description");
    if (description == nullptr) return Status::kUndecodable;

    Dictionary record;
    record.reserve(5);
    record.add("SupplyType", std::string(typeOfSupply(supply->number("Supply Type"))));
    record.add("SupplyColor", std::string(colorOfSupply(*description)));
    record.add("SupplyPercentage",
               percentageLeft(supply->number("Max Level"), supply->number("Current Level")));
    record.add("SupplyStatus", std::string("Correct"));
    record.add("SupplyName", std::move(*description));
    report.set({"Supply", i}, std::move(record));
  }
  return Status::kSuccess;
}

}  // namespace moxsupply
