#pragma once

#include <chrono>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "transcript/Transcript.h"

namespace moxsupply::transcript {

// The lines of a transcript, each with its newline; docs/transcripts.md describes them.

// The first line: names the format and its version.
std::string headerLine();

// A line that is read over. `text` is one line without control characters.
std::string commentLine(std::string_view text);

// The line with which a query begins. What `query` holds of operations does not matter.
std::string queryLine(const Session& query);

std::string operationLine(Event event, std::chrono::milliseconds pause,
                          std::span<const std::uint8_t> bytes = {});

// A whole transcript.
std::string asText(const Transcript& transcript);

}  // namespace moxsupply::transcript
