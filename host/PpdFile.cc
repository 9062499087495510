#include "host/PpdFile.h"

#include <cups/ppd.h>
#include <unistd.h>

#include "system/MemoryFile.h"

// The whole PPD interface is marked deprecated; CUPS 2 has no other.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace moxsupply {

namespace {

// The program that the first of these lines for command files names, without its folder.
std::string commandProgram(const std::vector<std::string>& filters) {
  for (const std::string& filter : filters) {
    if (!filter.starts_with("application/vnd.cups-command")) continue;
    const std::string program = filter.substr(filter.find_last_of(' ') + 1);
    return program.substr(program.find_last_of('/') + 1);
  }
  return {};
}

}  // namespace

void PpdFile::Close::operator()(ppd_file_s* ppd) const { ppdClose(ppd); }

std::optional<PpdFile> PpdFile::fromFile(const std::string& path) {
  ppd_file_t* ppd = ppdOpenFile(path.c_str());
  if (ppd == nullptr) return std::nullopt;
  return PpdFile(ppd);
}

std::optional<PpdFile> PpdFile::fromText(const std::string& text) {
  const FileDescriptor file = memoryFile(text);
  ppd_file_t* ppd = ppdOpenFd(::dup(file.get()));  // which closes what it is given
  if (ppd == nullptr) return std::nullopt;
  return PpdFile(ppd);
}

std::optional<std::string> PpdFile::value(const char* keyword) const {
  const ppd_attr_t* attribute = ppdFindAttr(mPpd.get(), keyword, nullptr);
  if (attribute == nullptr || attribute->value == nullptr) return std::nullopt;
  return attribute->value;
}

std::string PpdFile::commandFilter() const {
  const auto newer = filters2();
  return commandProgram(newer.empty() ? filters() : newer);
}

bool PpdFile::hidesCommandFilter(const std::string& program) const {
  return !filters2().empty() && commandProgram(filters()) == program && commandFilter() != program;
}

std::vector<std::string> PpdFile::filters() const {
  return {mPpd->filters, mPpd->filters + mPpd->num_filters};
}

std::vector<std::string> PpdFile::filters2() const {
  constexpr const char* kKeyword = "cupsFilter2";
  std::vector<std::string> values;
  for (const ppd_attr_t* attribute = ppdFindAttr(mPpd.get(), kKeyword, nullptr);
       attribute != nullptr; attribute = ppdFindNextAttr(mPpd.get(), kKeyword, nullptr)) {
    if (attribute->value != nullptr) values.emplace_back(attribute->value);
  }
  return values;
}

}  // namespace moxsupply
