#include "commands/LevelsCommand.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <string_view>
#include <utility>

#include "links/DeviceUri.h"
#include "links/Recording.h"
#include "renderings/ReportJson.h"
#include "renderings/SupplyTable.h"
#include "supplies/Supplies.h"
#include "text/TerminalText.h"
#include "values/Status.h"

namespace moxsupply {

namespace {

enum class Format : std::uint8_t { kTable, kJson, kOpenMetrics };

struct LevelsOptions {
  PrinterOptions printer;
  Format format = Format::kTable;
  Coloring coloring = Coloring::kAuto;
  std::string record;
  bool redact = false;
};

constexpr std::string_view kCommand = "levels";

std::string title(const Supplies& supplies) {
  const std::string count = countedSupplies(supplies.list.size());
  if (supplies.kind == PrinterKind::kLaser) return fmt::format("Laser printer, {}\n\n", count);
  if (supplies.head.empty()) return fmt::format("Inkjet printer, {}\n\n", count);
  return fmt::format("Inkjet printer, {} print head, {}\n\n", forTerminal(supplies.head), count);
}

// What a failed query left is shown too.
std::string rendered(const Report& report, const LevelsOptions& options) {
  if (options.format == Format::kJson) return reportAsJson(report);
  const Supplies supplies = suppliesFromReport(report.dictionary);
  if (report.status != Status::kSuccess && supplies.list.empty()) return {};
  return title(supplies) + supplyTable(supplies, wantsColor(options.coloring), columnsOfOutput());
}

// Shows the answer as it was asked for, and then why it failed.
int show(const PrinterAnswer& answer, const SupplyRequest& request, const LevelsOptions& options) {
  const int exitStatus = print(kCommand, rendered(answer.report, options));
  if (exitStatus != 0 || answer.report.status == Status::kSuccess) return exitStatus;
  return complain(kCommand, whyNoSupplies(answer, request));
}

Problem notOfAQueue(const std::string& name) {
  return {
      .what = fmt::format("--record: takes a device URI, and \"{}\" is none", forTerminal(name)),
      .advice =
          "lpstat -v shows the device URI of a print queue. What goes over a queue's own link "
          "is\nrecorded by its filter: environment variable MOXSUPPLY_RECORD, see "
          "commandtomox(8).",
      .isMisuse = true};
}

// Makes the transcript that was asked for; null when none was.
Result<std::unique_ptr<Recording>> startRecording(const LevelsOptions& options) {
  if (options.record.empty()) return std::unique_ptr<Recording>();
  return Recording::create(options.record, options.redact ? Redact::kYes : Redact::kNo);
}

// Says so when the transcript is not whole. Returns the exit status.
int judge(const Recording* recording) {
  if (recording == nullptr) return 0;
  const auto whole = recording->isWhole();
  return whole ? 0 : complain(kCommand, whole.error());
}

int runLevels(const LevelsOptions& options) {
  if (!options.record.empty() && !looksLikeDeviceUri(options.printer.printer)) {
    return complain(kCommand, notOfAQueue(options.printer.printer));
  }
  const auto onDeadline = [](const Problem& problem) { ::_exit(complain(kCommand, problem)); };
  const auto request = supplyRequest(options.printer, onDeadline);
  if (!request) return complain(kCommand, request.error());
  const auto recording = startRecording(options);
  if (!recording) return complain(kCommand, recording.error());

  const auto answer = askForSupplies(*request, onDeadline, recording->get());
  if (!answer) return complain(kCommand, answer.error());
  const int exitStatus = show(*answer, *request, options);
  return std::max(exitStatus, judge(recording->get()));
}

// Whether the options of a transcript go together, and with the rest.
Result<> agree(const LevelsOptions& options) {
  if (options.redact && options.record.empty()) return misuse("--redact requires --record");
  if (!options.record.empty() && options.format == Format::kOpenMetrics) {
    return misuse("--record: goes with the formats table and json");
  }
  return {};
}

Option recordOption(std::string& path) {
  Option option = text("--record", path, "FILE", "write what goes over the link to a transcript");
  option.take = [&path](const auto& words) -> Result<> {
    if (words.back().empty()) return misuse("--record: expected the path of a file");
    path = words.back();
    return {};
  };
  return option;
}

}  // namespace

Command levelsCommand(LevelsAsMetrics asMetrics) {
  const auto options = std::make_shared<LevelsOptions>();
  PrinterOptions& printer = options->printer;
  return {
      .name = kCommand,
      .usage =
          "moxsupply levels [PRINTER] [--type auto|laser|inkjet] [--format "
          "table|json|openmetrics]\n"
          "                        [--timeout SECONDS] [--deadline SECONDS] [--backend]\n"
          "                        [--color auto|always|never] [--record FILE [--redact]]",
      .about =
          "Ask a printer for its supplies and show them.\n"
          "\n"
          "PRINTER is a device URI or the name of a print queue, whose device URI is then taken.\n"
          "socket://HOST (port 9100) works for anyone. Every other device URI of CUPS, as lpinfo "
          "-v\n"
          "and lpstat -v show them, goes through its installed CUPS backend; some of these only "
          "root\n"
          "may run. No print queue is needed, and none is touched. Without PRINTER the "
          "environment\n"
          "variable DEVICE_URI is taken: others see arguments, and a password in them.",
      .footer =
          "A printer whose type is not given is asked as a laser printer first, with reads of at "
          "most\n"
          "1 second, then as an inkjet printer, which is found after 4 seconds. A printer that "
          "sleeps\n"
          "has 21 seconds to wake; one that stays silent is given up after 33 seconds, with "
          "--type\n"
          "after 29, and one that takes no connection after 25. --timeout and --deadline change "
          "that.\n"
          "\n"
          "Examples:\n"
          "  moxsupply levels socket://192.0.2.7\n"
          "  moxsupply levels office\n"
          "  moxsupply levels socket://printer.example:9100 --type inkjet --format json\n"
          "  moxsupply levels socket://192.0.2.7 --format openmetrics\n"
          "  sudo moxsupply levels 'usb://Example/Printer?serial=1'\n"
          "\n"
          "Exit status: 0 the supplies were shown; 1 the printer could not be reached or did not "
          "give\n"
          "them; 2 the arguments or the set-up are wrong.\n",
      .options = {printerArgument(printer.printer), printerType(printer.kind),
                  choice<Format>("--format", options->format,
                                 {{"table", Format::kTable},
                                  {"json", Format::kJson},
                                  {"openmetrics", Format::kOpenMetrics}},
                                 "FORMAT",
                                 "table; json as `moxsupply report`; openmetrics (table)"),
                  readTimeout(printer), deadline(printer),
                  flag("--backend", printer.throughBackend,
                       "use the CUPS backend for socket:// too, as a print job does"),
                  coloring(options->coloring), recordOption(options->record),
                  flag("--redact", options->redact, "leave serial numbers out of the transcript")},
      .agree = [options] { return agree(*options); },
      .run =
          [options, asMetrics = std::move(asMetrics)] {
            if (options->format == Format::kOpenMetrics) return asMetrics(options->printer);
            return runLevels(*options);
          },
  };
}

CommandLine levelsForPrograms(const std::string& program, std::optional<PrinterKind> kind,
                              std::uint32_t deadline) {
  return {program,  std::string(kCommand),        "--format",   "json",
          "--type", std::string(typedKind(kind)), "--deadline", std::to_string(deadline)};
}

}  // namespace moxsupply
