#pragma once

#include <iosfwd>
#include <string>

#include "values/Dictionary.h"

namespace moxsupply {

// How GoogleTest shows a dictionary.
void PrintTo(const Dictionary& dictionary, std::ostream* out);

namespace testing {

// A dictionary as one line of text, the keys in alphabetical order and bytes in angle brackets:
//   {"Supply 1": {"SupplyName": "Black"}, "SupplyCount": 1, "kPrintHead": <02>}
std::string text(const Dictionary& dictionary);

}  // namespace testing
}  // namespace moxsupply
