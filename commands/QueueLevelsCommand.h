#pragma once

#include "commands/Command.h"

namespace moxsupply {

// What the exporter starts to read a print queue: a command of moxsupply-monitoring that people do
// not see. The queue's ipp:// URI is that of environment variable DEVICE_URI. It asks the print
// server, and no printer. It writes two lines: the reading, empty when the print server knows no
// supplies; and the device URI of the queue.
[[nodiscard]] Command queueLevelsCommand();

// How it is started. `program`: moxsupply-monitoring.
[[nodiscard]] CommandLine queueLevelsForPrograms(const std::string& program);

}  // namespace moxsupply
