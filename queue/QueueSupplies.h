#pragma once

#include "queue/PrintServer.h"
#include "supplies/Supplies.h"

namespace moxsupply {

// The supplies that a queue's marker attributes tell of, as the command filter published them.
Supplies suppliesOf(const PrintQueue& queue);

}  // namespace moxsupply
