#pragma once

#include "queue/OpenQueue.h"
#include "text/Problem.h"

namespace moxsupply {

// Takes from a queue what reports have published: the message and the state reasons go, and every
// level becomes -1, not available; the print server never forgets a level. Only a filter can change
// these, and so the queue is left with a PPD file that does nothing else: give it another one.
// Returns why it did not come about within seconds; a queue that is out of service or busy runs no
// filter. Needs the rights of an administrator.
[[nodiscard]] Result<> forgetLevels(OpenQueue& open);

}  // namespace moxsupply
