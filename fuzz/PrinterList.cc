#include "monitoring/PrinterList.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>
#include <string>

#include "fuzz/Target.h"
#include "json/AsciiJson.h"
#include "links/DeviceUri.h"
#include "text/HarmlessText.h"
#include "text/ShownUri.h"

namespace moxsupply::fuzzing {

namespace {

bool isPlain(char c) { return c >= ' ' && c <= '~'; }

// A list that says the same.
std::string written(const PrinterList& list) {
  auto groups = nlohmann::json::array();
  for (const ListedPrinter& printer : list) {
    groups.push_back(
        {{"targets", nlohmann::json::array({printer.target})}, {"labels", printer.labels}});
  }
  return asciiJson(groups);
}

void promiseTarget(const ListedPrinter& printer) {
  promise(!printer.target.empty() && printer.target.size() <= 512, "a target has 1 to 512 bytes");
  promise(std::ranges::all_of(printer.target, [](char c) { return isPlain(c) && c != ' '; }),
          "a target is one word, safe on a terminal");
  promise(printer.uri.front() != '-', "no device URI is taken for an option");
  promise(looksLikeDeviceUri(printer.uri), "no device URI is taken for a queue");
  const auto uri = parseDeviceUri(printer.uri);
  promise(uri && uri->text == printer.uri, "a device URI can be asked for");
}

void promiseWords(const ListedPrinter& printer) {
  promise(!printer.name.empty(), "a printer has a name");
  for (const std::string& words : {printer.name, printer.place}) {
    const bool isTarget = words == shownUri(printer.target);  // which may be longer
    promise(isTarget || harmlessLine(words, 120) == words, "words for people are harmless");
  }
}

}  // namespace

// The exporter's list of printers.
void tryInput(std::span<const std::uint8_t> input) {
  const auto list = parsePrinterList(std::string(input.begin(), input.end()), "list.json");
  if (!list) {
    const std::string& what = list.error().what;
    promise(what.starts_with("list.json:"), "a mistake begins with its file");
    promise(std::ranges::all_of(what, isPlain), "a mistake is one line, safe on a terminal");
    promise(what.size() <= 400, "a mistake quotes little");
    return;
  }
  std::set<std::string> targets;
  for (const ListedPrinter& printer : *list) {
    promise(targets.insert(printer.target).second, "each target is there once");
    promiseTarget(printer);
    promiseWords(printer);
  }
  promise(parsePrinterList(written(*list), "list.json").value_or(PrinterList()) == *list,
          "what is written reads as it was");
}

}  // namespace moxsupply::fuzzing
