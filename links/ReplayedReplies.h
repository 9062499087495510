#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "transcript/Transcript.h"

namespace moxsupply {

using Reply = std::vector<std::uint8_t>;

// Gathers the replies to one request out of what came until the next, as the module did: four at
// the most, until one is the answer. One of fewer than 6 bytes is empty. Meanwhile this process's
// standard output and descriptor 3 are the transcript's.
[[nodiscard]] std::vector<Reply> replayedReplies(
    const transcript::Session& answers,
    const std::function<bool(std::span<const std::uint8_t>)>& isAnswer);

}  // namespace moxsupply
