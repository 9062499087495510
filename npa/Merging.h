#pragma once

#include <cstdint>

#include "npa/ModelRecords.h"
#include "values/Dictionary.h"

// Where the levels of a laser printer's supply come from: the supplies table, or where that lacks
// one of the two, both from the model-family record.
namespace moxsupply {

// `supply`: of the supplies table; null where it has none.
inline bool hasLevels(const Dictionary* supply) noexcept {
  return supply != nullptr && supply->contains("Max Level") && supply->contains("Current Level");
}

// Whether a decoded model-family record is of one supply, whose number it has, and no table.
inline bool isOfOneSupply(const Dictionary& record) noexcept {
  return static_cast<RecordType>(record.number(kRecordType.key)) == RecordType::kSingleSupply;
}

// The part of a decoded model-family record that has the levels of this supply; null where none
// has both.
inline const Dictionary* levelsOf(std::int32_t supply, const Dictionary& record) noexcept {
  const bool isAlone = isOfOneSupply(record) && record.number("Supply ID") == supply;
  const auto* part = isAlone ? &record : record.get<Dictionary>(Key(supply));
  const bool isWhole =
      part != nullptr && part->contains(kMaxLevelOfRecord) && part->contains(kCurrentLevelOfRecord);
  return isWhole ? part : nullptr;
}

}  // namespace moxsupply
