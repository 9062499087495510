#pragma once

#include <optional>
#include <string>
#include <vector>

namespace moxsupply {

// Reads a command file of the print server (application/vnd.cups-command): a command a line, of
// which the first word is the name; '#' begins a comment. Returns the names in their order, or
// nothing when the file cannot be read. `path`: empty for standard input.
std::optional<std::vector<std::string>> readCommandFile(const std::string& path);

}  // namespace moxsupply
