#include "monitoring/PrinterList.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "json/JsonDocument.h"
#include "json/JsonMistake.h"
#include "json/JsonPlace.h"
#include "links/DeviceUri.h"
#include "system/FileDescriptor.h"
#include "text/HarmlessText.h"

namespace moxsupply {

namespace {

constexpr std::size_t kLongestTarget = 512;  // bytes
constexpr std::size_t kLongestWords = 120;   // bytes of a name or a place as they are shown

Problem wrong(const std::string& name, std::string_view what) {
  return {fmt::format("{}: {}", name, asOneLine(std::string(what))), {}, true};
}

bool isPrintableAscii(char c) { return c > ' ' && c < 0x7F; }
bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

char small(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

DeviceUri deviceUriOf(const JsonPlace& place) {
  const std::string target = place.text(kLongestTarget);
  if (target.empty() || !std::ranges::all_of(target, isPrintableAscii)) {
    place.expected("a device URI, in ASCII and without blanks");
  }
  const bool hasScheme = target.find(":/") != std::string::npos;
  auto parsed = parseDeviceUri(hasScheme ? target : "socket://" + target);
  const auto* uri = std::get_if<DeviceUri>(&parsed);
  if (uri == nullptr || !isLetter(uri->scheme.front())) {
    place.expected("a device URI, such as socket://192.0.2.7, or a host");
  }
  return *uri;
}

// The same for every way to write it.
std::string identityOf(const DeviceUri& uri) {
  if (uri.scheme != "socket") return uri.text;
  std::string host = uri.host;
  std::ranges::transform(host, host.begin(), small);
  return fmt::format("socket://{}:{}", host, uri.port);
}

struct Labels {
  std::string type = "auto";
  std::string name;
  std::string place;
};

Labels labelsOf(const JsonPlace& group) {
  Labels labels;
  const auto all = group.find("labels");
  if (!all) return labels;
  if (!all->isObject()) all->expected("an object");
  if (const auto type = all->find("printer_type")) {
    labels.type = type->isText() ? type->text() : "";
    constexpr std::array<std::string_view, 3> kTypes = {"auto", "laser", "inkjet"};
    if (std::ranges::find(kTypes, labels.type) == kTypes.end()) {
      type->expected(R"("laser", "inkjet" or "auto")");
    }
  }
  if (const auto name = all->find("name")) labels.name = harmlessLine(name->text(), kLongestWords);
  if (const auto place = all->find("place")) {
    labels.place = harmlessLine(place->text(), kLongestWords);
  }
  return labels;
}

PrinterList listFrom(const JsonPlace& document) {
  PrinterList list;
  std::map<std::string, std::string, std::less<>> targets;  // by identity
  for (const JsonPlace& group : document.elements()) {
    group.expectKeys(std::to_array<std::string_view>({"targets", "labels"}));
    const Labels labels = labelsOf(group);
    for (const JsonPlace& place : group.at("targets").elements()) {
      const DeviceUri uri = deviceUriOf(place);
      const std::string target = place.text();
      const auto [former, isNew] = targets.emplace(identityOf(uri), target);
      if (!isNew) {
        place.expected(
            former->second == target
                ? "each target once"
                : fmt::format("each printer once; it stands before as \"{}\"", former->second));
      }
      if (list.size() == kMostPrinters) {
        place.expected(fmt::format("at most {} targets", kMostPrinters));
      }
      list.push_back({target, uri.text, labels.type, labels.name.empty() ? target : labels.name,
                      labels.place});
    }
  }
  return list;
}

// Everything in a file, or the errno of what is wrong with it; one byte more than is allowed is
// enough.
std::variant<std::string, int> contentOf(const std::string& path) {
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (!file || ::fstat(file.get(), &status) != 0) return errno;
  if (S_ISDIR(status.st_mode)) return EISDIR;
  std::string content(kLongestList + 1, '\0');
  std::size_t size = 0;
  while (size < content.size()) {
    const ssize_t count = ::read(file.get(), content.data() + size, content.size() - size);
    if (count < 0) return errno;
    if (count == 0) break;
    size += static_cast<std::size_t>(count);
  }
  content.resize(size);
  return content;
}

}  // namespace

Result<PrinterList> parsePrinterList(std::string_view json, const std::string& name) try {
  const nlohmann::json document = parseJsonDocument(json);
  return listFrom(JsonPlace(document));
} catch (const JsonSyntaxMistake& mistake) {
  return wrong(fmt::format("{}:{}:{}", name, mistake.line(), mistake.column()), mistake.what());
} catch (const JsonMistake& mistake) {
  return wrong(name, mistake.what());
}

Result<PrinterList> readPrinterList(const std::string& path) {
  const auto content = contentOf(path);
  if (const int* error = std::get_if<int>(&content)) return wrong(path, std::strerror(*error));
  const auto& json = std::get<std::string>(content);
  if (json.size() > kLongestList) {
    return wrong(path,
                 fmt::format("longer than {} bytes, the most that a list may have", kLongestList));
  }
  return parsePrinterList(json, path);
}

}  // namespace moxsupply
