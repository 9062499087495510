#pragma once

#include <string_view>

namespace moxsupply {

// Messages to the print server, which reads a filter's standard error line by line. Each line goes
// out in one write, since the filters of a job and its backend share the pipe, and is no longer
// than the print server takes.

// "KIND: text". `kind`: "ERROR", "WARNING", "INFO" or "DEBUG". Text from elsewhere is made
// harmless.
void tellScheduler(std::string_view kind, std::string_view text);

// Lines that are complete with their newline, each in a write of its own. Whether all went out.
bool sendToScheduler(std::string_view lines);

}  // namespace moxsupply
