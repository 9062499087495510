#pragma once

#include <istream>
#include <stdexcept>
#include <string>

#include "transcript/Transcript.h"

namespace moxsupply::transcript {

// What is wrong with a transcript: "line 3: ...", printable ASCII whatever the file holds.
class TranscriptMistake : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Reads a transcript; docs/transcripts.md describes the format. Whatever `text` holds, and however
// much: no more than 32 MiB of it are read, and no more is kept than a transcript can hold.
// Throws TranscriptMistake.
Transcript readTranscript(std::istream& text);

}  // namespace moxsupply::transcript
