#pragma once

#include <string>

#include "explain/Explanation.h"
#include "links/FilterQuery.h"
#include "transcript/Transcript.h"

namespace moxsupply {

// Asks the printer of a transcript again, and gives what the query leaves.
Answer replay(const transcript::Query& query);

// Explains a query: what went over the link, what it means, and what the module makes of it.
// `title`: what stands above it.
void explainQuery(Explanation& text, const transcript::Query& query, const std::string& title);

}  // namespace moxsupply
