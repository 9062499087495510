#pragma once

#include "front/MoxFilter.h"
#include "links/Recording.h"
#include "supplies/Report.h"

namespace moxsupply {

// Asks the printer that is on this process's standard output and back channel, once, as a print
// filter does. Blocks. Makes standard output unbuffered first: a link that has gone away then fails
// the write itself. `recording`: of a query that has begun there; null records nothing. Throws
// std::bad_alloc where the module only says that it could not read an answer.
Report askAsFilter(MoxFilter& filter, Recording* recording = nullptr);

}  // namespace moxsupply
