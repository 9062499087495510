#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace moxsupply {

// The value as JSON on one line of printable ASCII, whatever its texts hold: everything else in
// them is an escape, so that no terminal, log or editor acts on it or hides it. What is no UTF-8 is
// U+FFFD.
template <typename Json>
std::string asciiJson(const Json& value) {
  return value.dump(-1, ' ', /*ensure_ascii=*/true, Json::error_handler_t::replace);
}

}  // namespace moxsupply
