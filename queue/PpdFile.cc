#include "queue/PpdFile.h"

#include <cups/ppd.h>
#include <fcntl.h>
#include <strings.h>

#include <iterator>
#include <sstream>

#include "system/MemoryFile.h"

// The whole PPD interface is marked deprecated; CUPS 2 has no other.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace moxsupply {

namespace {

// The program that the first of these lines for command files names, without its folder.
std::string commandProgram(const std::vector<std::string>& filters) {
  for (const std::string& filter : filters) {
    if (!isForCommandFiles(filter)) continue;
    const std::string program = filter.substr(filter.find_last_of(' ') + 1);
    return program.substr(program.find_last_of('/') + 1);
  }
  return {};
}

}  // namespace

bool isForCommandFiles(std::string_view filter) {
  constexpr std::string_view kType = "application/vnd.cups-command";
  return filter.size() >= kType.size() &&
         ::strncasecmp(filter.data(), kType.data(), kType.size()) == 0;
}

void PpdFile::Close::operator()(ppd_file_s* ppd) const { ppdClose(ppd); }

std::optional<PpdFile> PpdFile::fromFile(const std::string& path) {
  ppd_file_t* ppd = ppdOpenFile(path.c_str());
  if (ppd == nullptr) return std::nullopt;
  return PpdFile(ppd);
}

std::optional<PpdFile> PpdFile::fromText(const std::string& text) {
  // The interface reads from descriptors only: a stream in memory would be an empty file to it.
  const FileDescriptor file = memoryFile(text);
  ppd_file_t* ppd = ppdOpenFd(::fcntl(file.get(), F_DUPFD_CLOEXEC, 0));  // closes its own
  if (ppd == nullptr) return std::nullopt;
  return PpdFile(ppd);
}

std::optional<std::string> PpdFile::value(const char* keyword) const {
  const ppd_attr_t* attribute = ppdFindAttr(mPpd.get(), keyword, nullptr);
  if (attribute == nullptr || attribute->value == nullptr) return std::nullopt;
  return attribute->value;
}

// The lines themselves, and not the list of filters that libcups keeps: as soon as there is a line
// of the newer form, that list is made of those, and the others are no longer in it.
std::string PpdFile::commandFilter() const {
  const auto newer = values("cupsFilter2");
  return commandProgram(newer.empty() ? values("cupsFilter") : newer);
}

std::optional<FilterLine> PpdFile::commandFilterLine() const {
  const auto newer = values("cupsFilter2");
  const std::string commands = value("cupsCommands").value_or("");
  return commandFilterAmong(newer.empty() ? values("cupsFilter") : newer,
                            ::strcasecmp(commands.c_str(), "none") == 0);
}

std::vector<std::string> PpdFile::commands() const {
  if (!commandFilterLine()) return {};
  const auto commands = value("cupsCommands");
  if (!commands) return {"AutoConfigure", "Clean", "PrintSelfTestPage"};  // the print server's own
  std::istringstream words(*commands);
  return {std::istream_iterator<std::string>(words), {}};
}

bool PpdFile::hidesCommandFilter(const std::string& program) const {
  return commandProgram(values("cupsFilter")) == program && commandFilter() != program;
}

std::vector<std::string> PpdFile::values(const char* keyword) const {
  std::vector<std::string> values;
  for (const ppd_attr_t* attribute = ppdFindAttr(mPpd.get(), keyword, nullptr);
       attribute != nullptr; attribute = ppdFindNextAttr(mPpd.get(), keyword, nullptr)) {
    if (attribute->value != nullptr) values.emplace_back(attribute->value);
  }
  return values;
}

}  // namespace moxsupply
