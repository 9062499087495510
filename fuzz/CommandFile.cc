#include "filter/CommandFile.h"

#include <fmt/format.h>

#include <algorithm>

#include "fuzz/Target.h"
#include "system/MemoryFile.h"

namespace moxsupply::fuzzing {

// A command file, as the print server hands it to its filter.
void tryInput(std::span<const std::uint8_t> input) {
  const FileDescriptor file = memoryFile(std::string(input.begin(), input.end()));
  promise(static_cast<bool>(file), "there is memory for a file");
  const std::string path = fmt::format("/proc/self/fd/{}", file.get());
  const auto commands = readCommandFile(path);
  promise(commands.has_value(), "a file that is there can be read");
  promise(commands->commands.size() <= 32, "there are no more than 32 commands");
  for (const auto& [name, value] : commands->commands) {
    promise(!name.empty() && name.size() <= 1023, "a name has 1 to 1023 bytes");
    promise(name.find_first_of(std::string_view(" \t\r\n\v\f\0", 7)) == std::string::npos,
            "a name is one word");
  }
  promise(readCommandFile(path) == commands, "the same file has the same commands");
}

}  // namespace moxsupply::fuzzing
