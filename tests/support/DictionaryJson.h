#pragma once

#include <iosfwd>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "values/Dictionary.h"

namespace moxsupply {

// How GoogleTest shows a dictionary.
void PrintTo(const Dictionary& dictionary, std::ostream* out);

namespace testing {

// Whoever makes or takes apart such a value includes the library, which takes seconds to compile.
using Json = nlohmann::json;

// A dictionary as JSON. A key that is a bare number reads "#7", so that it cannot be taken for a
// word; bytes are an array of hex pairs, ["00", "A5"]. Nothing is null.
Json asJson(const Dictionary& dictionary);
Json asJson(const std::optional<Dictionary>& dictionary);

// The same as text over several lines, its keys in alphabetical order: what tests compare, so that
// a failure shows the lines that differ.
std::string shown(const std::optional<Dictionary>& dictionary);

// JSON that a test writes, in the same form. Throws, which fails the test, when it is not JSON.
std::string json(std::string_view text);

}  // namespace testing
}  // namespace moxsupply
