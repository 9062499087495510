#pragma once

#include "host/PrintServer.h"
#include "host/Supplies.h"

namespace moxsupply {

// The supplies that a queue's marker attributes tell of, as the command filter published them.
Supplies suppliesOf(const PrintQueue& queue);

}  // namespace moxsupply
