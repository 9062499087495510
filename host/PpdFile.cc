#include "host/PpdFile.h"

#include <cups/ppd.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "system/FileDescriptor.h"

// The whole PPD interface is marked deprecated; CUPS 2 has no other.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace moxsupply {

void PpdFile::Close::operator()(ppd_file_s* ppd) const { ppdClose(ppd); }

std::optional<PpdFile> PpdFile::fromFile(const std::string& path) {
  ppd_file_t* ppd = ppdOpenFile(path.c_str());
  if (ppd == nullptr) return std::nullopt;
  return PpdFile(ppd);
}

std::optional<PpdFile> PpdFile::fromText(const std::string& text) {
  // The interface reads from descriptors only: a stream in memory would be an empty file to it.
  const FileDescriptor file(::memfd_create("moxsupply", MFD_CLOEXEC));
  if (writeAll(file.get(), text) != 0 || ::lseek(file.get(), 0, SEEK_SET) != 0) return std::nullopt;
  const int copy = ::fcntl(file.get(), F_DUPFD_CLOEXEC, 0);
  ppd_file_t* ppd = ppdOpenFd(copy);  // closes it
  if (ppd == nullptr) return std::nullopt;
  return PpdFile(ppd);
}

std::optional<std::string> PpdFile::value(const char* keyword) const {
  const ppd_attr_t* attribute = ppdFindAttr(mPpd.get(), keyword, nullptr);
  if (attribute == nullptr || attribute->value == nullptr) return std::nullopt;
  return attribute->value;
}

std::vector<std::string> PpdFile::values(const char* keyword) const {
  std::vector<std::string> values;
  for (const ppd_attr_t* attribute = ppdFindAttr(mPpd.get(), keyword, nullptr);
       attribute != nullptr; attribute = ppdFindNextAttr(mPpd.get(), keyword, nullptr)) {
    if (attribute->value != nullptr) values.emplace_back(attribute->value);
  }
  return values;
}

// Not the list of filters that libcups keeps: as soon as there is a line of the newer form, that
// list is made of those lines, and the others are no longer in it.
std::vector<std::string> PpdFile::filters() const { return values("cupsFilter"); }

std::vector<std::string> PpdFile::filters2() const { return values("cupsFilter2"); }

}  // namespace moxsupply
