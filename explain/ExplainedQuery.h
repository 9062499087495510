#pragma once

#include <string>

#include "explain/Explanation.h"
#include "supplies/Report.h"
#include "transcript/Transcript.h"

namespace moxsupply {

// Asks the printer of a session again, and gives what the query leaves.
Report replay(const transcript::Session& query);

// Explains a query: what went over the link, what it means, and what the module makes of it.
// `title`: what stands above it.
void explainQuery(Explanation& text, const transcript::Session& query, const std::string& title);

}  // namespace moxsupply
