#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "explain/Explanation.h"
#include "values/Dictionary.h"

namespace moxsupply {

// What a printer answers.
enum class ReplyKind : std::uint8_t {
  kOther,          // nothing that a query takes for an answer
  kInkjetItems,    // to the inkjet query
  kSuppliesTable,  // to the laser query for the supplies table
  kModelRecord,    // to the laser query for the model-family record
};

// What the echo of a gathered reply says.
ReplyKind kindOfReply(std::span<const std::uint8_t> reply);

// Explains a gathered reply: its packets, and what they carry, each field with its offset. Returns
// what the module's decoder makes of it; nothing when that refuses it.
std::optional<Dictionary> explainReply(Explanation& text, std::span<const std::uint8_t> reply);

// Explain the payload of a reply, as far as it goes.
void explainItems(Explanation& text, std::span<const std::uint8_t> payload);
void explainSuppliesTable(Explanation& text, std::span<const std::uint8_t> payload);
void explainModelRecord(Explanation& text, std::span<const std::uint8_t> payload);

}  // namespace moxsupply
