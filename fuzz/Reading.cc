#include "history/Reading.h"

#include <algorithm>
#include <string>

#include "fuzz/Target.h"
#include "history/PrinterName.h"

namespace moxsupply::fuzzing {

namespace {

bool isPlain(char c) { return c >= ' ' && c <= '~'; }

}  // namespace

// A line that is to be remembered.
void tryInput(std::span<const std::uint8_t> input) {
  const auto reading = readingFrom(std::string(input.begin(), input.end()));
  if (!reading) {
    const std::string& what = reading.error().what;
    promise(std::ranges::all_of(what, isPlain), "a mistake is one line, safe on a terminal");
    promise(!what.empty() && what.size() <= 400, "a mistake quotes little");
    return;
  }
  promise(std::ranges::all_of(reading->json, isPlain), "a reading is one line of ASCII");
  promise(printerName(reading->printer) == reading->printer, "a printer has one name");
  promise(momentFrom(momentAsText(reading->moment)) == reading->moment,
          "a moment is written whole");
  const auto again = readingAgain(reading->json);
  promise(again && again->json == reading->json && areEqual(*again, *reading),
          "what was remembered is the same reading");
  const auto line = readingFrom(reading->json);
  promise(!line || line->json == reading->json, "what is given back reads as it was");
}

}  // namespace moxsupply::fuzzing
