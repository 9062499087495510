#include "monitoring/PrinterList.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <map>
#include <optional>
#include <utility>

#include "json/ReadJson.h"
#include "links/DeviceUri.h"
#include "queue/QueueUri.h"
#include "system/ReadFile.h"
#include "text/HarmlessText.h"
#include "text/ShortQuote.h"

namespace moxsupply {

namespace {

constexpr std::size_t kLongestTarget = 512;  // bytes
constexpr std::size_t kLongestWords = 120;   // bytes of a name or a place as they are shown

bool isPrintableAscii(char c) { return c > ' ' && c < 0x7F; }
bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

char small(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// Throws the mistake. What stands in the place may have a password in it.
[[noreturn]] void refuse(const JsonPlace& place, const std::string& target,
                         std::string_view expected) {
  constexpr std::size_t kLongest = 60;
  std::string shown = fmt::format("\"{}\"", asOneLine(shownUri(target)));
  if (shown.size() > kLongest) shown = shown.substr(0, kLongest) + "...";
  place.complain(fmt::format("expected {}, not {}", expected, shown));
}

DeviceUri deviceUriOf(const JsonPlace& place) {
  const std::string target = place.text();
  if (target.size() > kLongestTarget) {
    refuse(place, target, fmt::format("a text of at most {} bytes", kLongestTarget));
  }
  if (target.empty() || !std::ranges::all_of(target, isPrintableAscii)) {
    refuse(place, target, "a device URI, in ASCII and without blanks");
  }
  const bool hasScheme = target.find(":/") != std::string::npos;
  auto uri = parseDeviceUri(hasScheme ? target : "socket://" + target);
  if (!uri || !isLetter(uri->scheme.front())) {
    refuse(place, target, "a device URI, such as socket://192.0.2.7, or a host");
  }
  return *std::move(uri);
}

struct Labels {
  std::optional<PrinterKind> kind;
  std::string name;
  std::string place;
  std::map<std::string, std::string, std::less<>> all;
};

Labels labelsOf(const JsonPlace& group) {
  Labels labels;
  const auto all = group.find("labels");
  if (!all) return labels;
  if (!all->isObject()) all->expected("an object");
  if (const auto type = all->find("printer_type")) {
    const std::string word = type->isText() ? type->text() : "";
    if (word == "laser") {
      labels.kind = PrinterKind::kLaser;
    } else if (word == "inkjet") {
      labels.kind = PrinterKind::kInkjet;
    } else if (word != "auto") {
      type->expected(R"("laser", "inkjet" or "auto")");
    }
  }
  if (const auto name = all->find("name")) labels.name = harmlessLine(name->text(), kLongestWords);
  if (const auto place = all->find("place")) {
    labels.place = harmlessLine(place->text(), kLongestWords);
  }
  for (const std::string& key : all->keys()) {
    const JsonPlace value = all->at(key);
    if (value.isText()) labels.all.emplace(key, value.text());
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
      const auto [former, isNew] = targets.emplace(identityOf(uri.text), target);
      if (!isNew) {
        refuse(place, target,
               former->second == target
                   ? "each target once"
                   : fmt::format("each printer once; it stands before as \"{}\"",
                                 shortQuote(shownUri(former->second))));
      }
      if (list.size() == kMostPrinters) {
        refuse(place, target, fmt::format("at most {} targets", kMostPrinters));
      }
      list.push_back({target, uri.text, labels.kind,
                      labels.name.empty() ? shownUri(target) : labels.name, labels.place,
                      parseQueueUri(uri.text).has_value(), labels.all});
    }
  }
  return list;
}

}  // namespace

std::string identityOf(const std::string& uri) {
  if (const auto queue = parseQueueUri(uri)) {
    return fmt::format("ipp://{}/printers/{}", queue->server, queue->queue);
  }
  const auto device = parseDeviceUri(uri);
  if (!device || device->scheme != "socket") return uri;
  std::string host = device->host;
  std::ranges::transform(host, host.begin(), small);
  return fmt::format("socket://{}:{}", host, device->port);
}

Result<PrinterList> parsePrinterList(std::string_view json, const std::string& name) {
  return readJson(json, name, listFrom);
}

Result<PrinterList> readPrinterList(const std::string& path) {
  const auto json = readFile(path, kLongestList);
  if (json) return parsePrinterList(*json, path);
  const std::string why =
      json.error() == EFBIG
          ? fmt::format("longer than {} bytes, the most that a list may have", kLongestList)
          : std::strerror(json.error());
  return misuse(fmt::format("{}: {}", path, asOneLine(why)));
}

}  // namespace moxsupply
