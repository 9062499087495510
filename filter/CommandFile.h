#pragma once

#include <optional>
#include <string>
#include <vector>

namespace moxsupply {

// What stands in a command file of the print server (application/vnd.cups-command): a command a
// line, of which the first word is the name, and the rest its value; '#' begins a comment. It is
// sent by whoever may print, and may be a packed one of gigabytes: no more than the beginning of it
// is read.
struct CommandFile {
  struct Command {
    std::string name;   // 1 to 1023 bytes
    std::string value;  // what stands behind it; may be empty
    friend bool operator==(const Command&, const Command&) = default;
  };

  std::vector<Command> commands;  // in their order
  bool isTooLong = false;         // there is more than was read, or more commands

  friend bool operator==(const CommandFile&, const CommandFile&) = default;
};

// Nothing when the file cannot be read. `path`: empty for standard input.
std::optional<CommandFile> readCommandFile(const std::string& path);

// The text of a command file with these commands.
std::string textOf(const std::vector<CommandFile::Command>& commands);

}  // namespace moxsupply
