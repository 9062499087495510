#pragma once

#include <istream>

#include "text/Problem.h"
#include "transcript/Transcript.h"

namespace moxsupply::transcript {

// Reads a transcript; docs/transcripts.md describes the format. Whatever `text` holds, and however
// much: no more than 32 MiB of it are read, and no more is kept than a transcript can hold. What is
// wrong with it is "line 3: ...", printable ASCII whatever the file holds.
[[nodiscard]] Result<Transcript> readTranscript(std::istream& text);

}  // namespace moxsupply::transcript
