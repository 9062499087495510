#include <algorithm>
#include <sstream>
#include <string_view>

#include "fuzz/Target.h"
#include "transcript/TranscriptReader.h"
#include "transcript/TranscriptWriter.h"

namespace moxsupply::fuzzing {

namespace {

using transcript::Transcript;

bool isPlain(char c) { return c >= ' ' && c <= '~'; }

// The transcript in a text; none, with no queries, when the text is refused.
Transcript read(const std::string& text) {
  std::istringstream stream(text);
  const auto transcript = transcript::readTranscript(stream);
  if (transcript) return *transcript;
  const std::string& what = transcript.error().what;
  promise(what.starts_with("line "), "a mistake begins with its line");
  promise(std::ranges::all_of(what, isPlain), "a mistake is one line, safe on a terminal");
  return {};
}

}  // namespace

// A transcript.
void tryInput(std::span<const std::uint8_t> input) {
  const Transcript transcript = read(std::string(input.begin(), input.end()));
  promise(read(transcript::asText(transcript)) == transcript, "what is written reads as it was");
  for (const transcript::Session& query : transcript) {
    bool hasEnded = false;
    for (const transcript::Operation& operation : query.operations) {
      const bool isReceived = operation.event == transcript::Event::kReceived;
      const bool hasBytes = isReceived || operation.event == transcript::Event::kSent;
      promise(hasBytes != operation.bytes.empty(), "what was sent or received has bytes");
      promise(!(hasEnded && isReceived), "after the end nothing comes");
      hasEnded = hasEnded || operation.event == transcript::Event::kEnded;
    }
  }
}

}  // namespace moxsupply::fuzzing
