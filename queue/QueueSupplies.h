#pragma once

#include <chrono>
#include <optional>

#include "queue/PrintServer.h"
#include "supplies/Supplies.h"

namespace moxsupply {

// The supplies that a queue's marker attributes tell of, as the command filter published them.
Supplies suppliesOf(const PrintQueue& queue);

// When its printer told them; nothing where it never did. The print server knows when something was
// last published, which may have been that the printer does not answer any more.
std::optional<std::chrono::sys_seconds> reportTimeOf(const PrintQueue& queue);

}  // namespace moxsupply
