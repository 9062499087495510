#pragma once

#include <string>
#include <vector>

#include "transcript/Transcript.h"

namespace moxsupply::testing {

// Plays a query to `moxsupply report` (MOXSUPPLY_PROGRAM) on descriptors 1 and 3, operation by
// operation. Returns the line of JSON that it prints. The requests must be those of the query.
//
// Use it for transcripts, with the pieces and the silent reads that they tell of. Where a test
// decides itself what is sent when, FilterProcess.
std::string reportOnReplay(const std::string& program, const transcript::Session& query);

// Names of the files in tests/data that end in ".transcript", without that, in alphabetical order.
std::vector<std::string> transcriptNames();

// Reads tests/data/NAME.transcript. Throws when it is none.
transcript::Transcript readTranscriptOf(const std::string& name);

// The path of a file in tests/data.
std::string dataFile(const std::string& name);

}  // namespace moxsupply::testing
