#include "commands/QueuesCommand.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "commands/PrinterOptions.h"
#include "json/AsciiJson.h"
#include "links/DeviceUri.h"
#include "queue/EnabledQueues.h"
#include "queue/PpdEdit.h"
#include "queue/PrintServer.h"
#include "queue/QueueSupplies.h"
#include "renderings/SupplyJson.h"
#include "renderings/SupplyTable.h"
#include "supplies/Attention.h"
#include "text/Age.h"
#include "text/Columns.h"
#include "text/TerminalText.h"
#include "text/Translated.h"

namespace moxsupply {

namespace {

using Json = nlohmann::ordered_json;
using std::chrono::seconds;

constexpr std::string_view kCommand = "queues";

enum class Format : std::uint8_t { kTable, kJson, kList };

// A queue, and what there is to be said of it.
struct KnownQueue {
  PrintQueue queue;
  bool isEnabled = false;           // the command filter is on it, or was told to be
  std::optional<PrinterKind> kind;  // none: it is not remembered
  std::optional<seconds> age;       // of its levels; none where it has none
  Supplies supplies;
  Measure measure;
};

// Set up before it was remembered what is, or by a driver of ours.
bool isSetUp(PrintServer& server, const PrintQueue& queue) {
  return queue.takesCommands && hasSupplyReports(server.ppd(queue.name).value_or(""));
}

KnownQueue known(PrintServer& server, PrintQueue queue, const EnabledQueues& enabled,
                 std::chrono::sys_seconds now) {
  KnownQueue known;
  const auto remembered = enabled.find(queue.name);
  known.isEnabled = remembered != enabled.end() || isSetUp(server, queue);
  if (remembered != enabled.end()) known.kind = remembered->second.kind;
  known.measure = measureOf(enabled, queue.name);
  if (const auto time = reportTimeOf(queue)) known.age = std::max(now - *time, seconds(0));
  known.supplies = suppliesOf(queue);
  known.queue = std::move(queue);
  return known;
}

// ---- For people

// What needs somebody, or else that nothing does.
std::string inWords(const KnownQueue& known) {
  if (known.supplies.list.empty()) {
    return known.isEnabled && !known.queue.markersChanged ? translated("no report yet")
                                                          : translated("no levels");
  }
  if (auto needs = needsInWords(known.supplies, known.measure); !needs.empty()) return needs;
  return okInWords(known.supplies);
}

std::string table(const std::vector<KnownQueue>& queues) {
  constexpr int kMostNameColumns = 30;
  constexpr int kGap = 2;
  constexpr int kFewestColumns = 20;  // of what is said of the supplies
  if (queues.empty()) return translated("The print server has no queues.") + '\n';
  std::vector<std::vector<std::string>> rows = {
      {translated("QUEUE"), translated("AGE"), translated("SUPPLIES")}};
  for (const KnownQueue& known : queues) {
    rows.push_back({cutToColumns(forTerminal(known.queue.name), kMostNameColumns),
                    known.age ? ageInWords(*known.age) : "-", inWords(known)});
  }
  const auto widthOf = [&rows](std::size_t column) {
    int width = 0;
    for (const auto& row : rows) width = std::max(width, columnsOf(row[column]));
    return width;
  };
  const int rest = columnsOfOutput() - widthOf(0) - widthOf(1) - 2 * kGap;
  for (auto& row : rows) row[2] = cutToColumns(row[2], std::max(rest, kFewestColumns));
  return inColumns(rows);
}

// ---- For programs

std::string asJson(const std::vector<KnownQueue>& queues) {
  Json array = Json::array();
  for (const KnownQueue& known : queues) {
    array.push_back({{"queue", known.queue.name},
                     {"uri", shownUri(known.queue.deviceUri)},
                     {"enabled", known.isEnabled},
                     {"age", known.age ? Json(known.age->count()) : Json()},
                     {"supplies", suppliesAsJson(known.supplies, known.measure)}});
  }
  return asciiJson(array) + '\n';
}

// As the exporter is given the queue: the printer itself where it is on the network, which needs no
// queue; otherwise the queue, whose levels the print server serves. Empty where neither has any.
std::string targetOf(const KnownQueue& known) {
  const std::string& uri = known.queue.deviceUri;
  if (uri.starts_with("socket://")) return shownUri(uri);
  if (known.supplies.list.empty() && !known.isEnabled) return {};
  return queueUri(known.queue.name);
}

// One group a line: people go on with it.
std::string asList(const std::vector<KnownQueue>& queues) {
  std::string text;
  std::set<std::string> targets;
  for (const KnownQueue& known : queues) {
    const std::string target = targetOf(known);
    if (target.empty() || !targets.insert(target).second) continue;
    Json labels = {{"name", known.queue.name}};
    if (!known.queue.location.empty()) labels["place"] = known.queue.location;
    if (known.kind && target.starts_with("socket://")) {
      labels["printer_type"] = typedKind(known.kind);
    }
    const Json group = {{"targets", {target}}, {"labels", labels}};
    text += fmt::format("{}\n  {}", text.empty() ? "" : ",", asciiJson(group));
  }
  return text.empty() ? "[]\n" : fmt::format("[{}\n]\n", text);
}

int runQueues(Format format) {
  auto server = PrintServer::connect();
  if (!server) return complain(kCommand, server.error());
  auto queues = server->allQueues();
  if (!queues) return complain(kCommand, queues.error());
  const auto enabled = enabledQueues();
  if (!enabled) return complain(kCommand, enabled.error());

  const auto now = std::chrono::floor<seconds>(std::chrono::system_clock::now());
  std::vector<KnownQueue> all;
  for (PrintQueue& queue : *queues) {
    all.push_back(known(*server, std::move(queue), *enabled, now));
  }
  switch (format) {
    case Format::kTable:
      return print(kCommand, table(all));
    case Format::kJson:
      return print(kCommand, asJson(all));
    case Format::kList:
      break;
  }
  return print(kCommand, asList(all));
}

}  // namespace

Command queuesCommand() {
  const auto format = std::make_shared<Format>(Format::kTable);
  return {
      .name = kCommand,
      .usage = "moxsupply queues [--format table|json|list]",
      .about =
          "Show what the print server knows of all queues' supplies.\n"
          "\n"
          "No printer is asked: the levels are those of each queue's last report, and the age "
          "says\n"
          "how long ago that was. `moxsupply refresh --all` asks the printers.",
      .footer =
          "The format list is a list of printers as `moxsupply exporter` takes it: printers on "
          "the\n"
          "network by their addresses, others by their queues.\n"
          "\n"
          "Examples:\n"
          "  moxsupply queues\n"
          "  moxsupply queues --format list | sudo tee /etc/moxsupply/printers.json\n"
          "\n"
          "Exit status: 0 they are shown; 1 the print server did not answer; 2 the arguments are\n"
          "wrong.\n",
      .options = {choice<Format>(
          "--format", *format,
          {{"table", Format::kTable}, {"json", Format::kJson}, {"list", Format::kList}}, "FORMAT",
          "table; json; list, for the exporter (table)")},
      .run =
          [format] {
            if (*format == Format::kTable) speakTheReadersLanguage();
            return runQueues(*format);
          },
  };
}

}  // namespace moxsupply
