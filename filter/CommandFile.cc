#include "filter/CommandFile.h"

#include <cups/file.h>
#include <fmt/format.h>

#include <array>
#include <memory>

#include "system/MemoryFile.h"

namespace moxsupply {

namespace {

struct CloseFile {
  void operator()(cups_file_t* file) const { cupsFileClose(file); }
};

using OpenFile = std::unique_ptr<cups_file_t, CloseFile>;

constexpr std::size_t kMostBytes = std::size_t{64} * 1024;  // unpacked
constexpr std::size_t kMostCommands = 32;

// The unpacked text, and one byte more than the most where it is longer.
std::string contentOf(cups_file_t* file) {
  std::string text(kMostBytes + 1, '\0');
  std::size_t size = 0;
  while (size < text.size()) {
    const ssize_t count = cupsFileRead(file, text.data() + size, text.size() - size);
    if (count <= 0) break;
    size += static_cast<std::size_t>(count);
  }
  text.resize(size);
  return text;
}

// An empty line before the text, lest text that looks packed is unpacked once more.
OpenFile fileOf(const std::string& text) {
  FileDescriptor file = memoryFile('\n' + text);
  OpenFile opened(file ? cupsFileOpenFd(file.get(), "r") : nullptr);
  if (opened != nullptr) static_cast<void>(file.release());
  return opened;
}

}  // namespace

std::optional<CommandFile> readCommandFile(const std::string& path) {
  // Standard input is libcups's own to close.
  const OpenFile opened(path.empty() ? nullptr : cupsFileOpen(path.c_str(), "r"));
  cups_file_t* file = path.empty() ? cupsFileStdin() : opened.get();
  if (file == nullptr) return std::nullopt;

  CommandFile commands;
  std::string text = contentOf(file);
  if (text.size() > kMostBytes) {
    commands.isTooLong = true;
    text.erase(text.find_last_of("\r\n") + 1);  // half a name is another one
  }
  const OpenFile lines = fileOf(text);
  if (lines == nullptr) return std::nullopt;
  constexpr std::size_t kLongestLine = 1024;
  std::array<char, kLongestLine> line{};
  char* value = nullptr;
  int lineNumber = 0;
  while (cupsFileGetConf(lines.get(), line.data(), line.size(), &value, &lineNumber) != nullptr) {
    if (commands.commands.size() == kMostCommands) {
      commands.isTooLong = true;
      break;
    }
    commands.commands.push_back({line.data(), value == nullptr ? "" : value});
  }
  return commands;
}

std::string textOf(const std::vector<CommandFile::Command>& commands) {
  std::string text = "#CUPS-COMMAND\n";
  for (const auto& [name, value] : commands) {
    std::string line = value.empty() ? name : fmt::format("{} {}", name, value);
    // The first one in a line would begin a comment.
    if (const std::size_t at = line.find('#'); at != std::string::npos) line.insert(at, 1, '\\');
    text += line + '\n';
  }
  return text;
}

}  // namespace moxsupply
