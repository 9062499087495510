#pragma once

#include <chrono>
#include <string>

namespace moxsupply {

// How old something is, in the largest unit of which it has a whole one, for people: "5 minutes".
[[nodiscard]] std::string ageInWords(std::chrono::seconds age);

}  // namespace moxsupply
