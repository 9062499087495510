#pragma once

#include "commands/Command.h"

namespace moxsupply {

// What the exporter starts to read queues of one print server, over one connection: a command of
// moxsupply-monitoring that people do not see. The queues' ipp:// URIs are in environment variable
// DEVICE_URI, with blanks between them. It asks the print server, and no printer. For each, in that
// order, it writes what came out as packedOfSeveral, as soon as that is known. Of a success there
// are two lines: the reading, empty when the print server knows no supplies; and the device URI of
// the queue.
[[nodiscard]] Command queueLevelsCommand();

// How it is started. `program`: moxsupply-monitoring.
[[nodiscard]] CommandLine queueLevelsForPrograms(const std::string& program);

}  // namespace moxsupply
