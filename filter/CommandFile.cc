#include "filter/CommandFile.h"

#include <cups/file.h>

#include <array>
#include <memory>

namespace moxsupply {

namespace {

struct CloseFile {
  void operator()(cups_file_t* file) const { cupsFileClose(file); }
};

}  // namespace

std::optional<std::vector<std::string>> readCommandFile(const std::string& path) {
  // Standard input is libcups's own to close.
  const std::unique_ptr<cups_file_t, CloseFile> opened(
      path.empty() ? nullptr : cupsFileOpen(path.c_str(), "r"));
  cups_file_t* file = path.empty() ? cupsFileStdin() : opened.get();
  if (file == nullptr) return std::nullopt;

  std::vector<std::string> names;
  constexpr std::size_t kLongestLine = 1024;
  std::array<char, kLongestLine> line{};
  char* value = nullptr;
  int lineNumber = 0;
  while (cupsFileGetConf(file, line.data(), line.size(), &value, &lineNumber) != nullptr) {
    names.emplace_back(line.data());
  }
  return names;
}

}  // namespace moxsupply
