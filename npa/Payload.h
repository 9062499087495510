#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "npa/Answers.h"

namespace moxsupply {

// The answer in a reply of `length` bytes; nothing when the reply is none of this kind, or too
// short to be decoded.
std::optional<std::span<const std::uint8_t>> answerIn(std::span<const std::uint8_t> reply,
                                                      std::uint32_t length,
                                                      const AnswerKind& kind) noexcept;

// Joins the payloads of an answer's packets in `buffer`, as far as there is room, and returns them.
// What was joined before the answer breaks off or contradicts itself stands.
std::span<std::uint8_t> joinedPayload(std::span<const std::uint8_t> answer, const AnswerKind& kind,
                                      std::span<std::uint8_t> buffer) noexcept;

}  // namespace moxsupply
