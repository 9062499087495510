#pragma once

#include <string>

#include "text/Problem.h"

namespace moxsupply {

// The command that mends it, as it is typed; empty where none of ours does. Where there are two to
// choose from, each stands at the end of a line.
[[nodiscard]] std::string commandFor(const Remedy& remedy);

// What can be done about a problem, in sentences; empty when nothing is known.
[[nodiscard]] std::string helpFor(const Problem& problem);

}  // namespace moxsupply
