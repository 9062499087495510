#include "commands/LevelsCommand.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <clocale>
#include <cstring>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "history/Reading.h"
#include "links/DeviceUri.h"
#include "links/Recording.h"
#include "renderings/ReportJson.h"
#include "renderings/SupplyTable.h"
#include "supplies/Supplies.h"
#include "system/ManyApart.h"
#include "text/ProgressLine.h"
#include "text/TerminalText.h"
#include "text/Translated.h"
#include "text/Written.h"
#include "values/Status.h"

namespace moxsupply {

namespace {

enum class Format : std::uint8_t { kTable, kJson, kReading, kOpenMetrics };

struct LevelsOptions {
  std::vector<std::string> printers;
  PrinterOptions printer;  // the one that is asked
  Format format = Format::kTable;
  Coloring coloring = Coloring::kAuto;
  std::string record;
  bool redact = false;
  bool details = false;
};

constexpr std::string_view kCommand = "levels";

std::string title(const Supplies& supplies) {
  const std::string count = countedSupplies(supplies.list.size());
  if (supplies.kind == PrinterKind::kLaser) return translated("Laser printer, {}", count);
  if (supplies.head.empty()) return translated("Inkjet printer, {}", count);
  return translated("Inkjet printer, {} print head, {}", forTerminal(supplies.head), count);
}

// The answer as it is remembered. What a failed query left is none.
std::string asReading(const PrinterAnswer& answer, const SupplyRequest& request) {
  if (answer.report.status != Status::kSuccess) return {};
  const auto now = std::chrono::system_clock::now();
  const auto reading = readingOf(request.uri.text, suppliesIn(answer),
                                 std::chrono::floor<std::chrono::milliseconds>(now));
  return reading ? reading->json + '\n' : "";
}

// What a failed query left is shown too.
std::string rendered(const PrinterAnswer& answer, const SupplyRequest& request,
                     const LevelsOptions& options) {
  const Report& report = answer.report;
  if (options.format == Format::kJson) {
    return reportAsJson(report) + (options.details ? asReading(answer, request) : "");
  }
  if (options.format == Format::kReading) return asReading(answer, request);
  const Supplies supplies = suppliesIn(answer);
  if (report.status != Status::kSuccess && supplies.list.empty()) return {};
  std::string text = title(supplies) + "\n\n" +
                     supplyTable(supplies, wantsColor(options.coloring), columnsOfOutput());
  if (options.details) text += '\n' + supplyDetails(supplies, columnsOfOutput());
  return text;
}

bool wantsIdentities(const LevelsOptions& options) {
  return options.details || options.format == Format::kReading;
}

// Shows the answer as it was asked for, and then why it failed.
int show(const PrinterAnswer& answer, const SupplyRequest& request, const LevelsOptions& options) {
  const int exitStatus = print(kCommand, rendered(answer, request, options));
  if (exitStatus != 0 || answer.report.status == Status::kSuccess) return exitStatus;
  return complain(kCommand, whyNoSupplies(answer, request));
}

Problem notOfAQueue(const std::string& name) {
  return {.what = translated("--record: takes a device URI, and \"{}\" is none", forTerminal(name)),
          .advice = translated(
              "lpstat -v shows the device URI of a print queue. What goes over a queue's own link "
              "is\nrecorded by its filter: environment variable MOXSUPPLY_RECORD, see "
              "commandtomox(8)."),
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
  auto request = supplyRequest(options.printer, onDeadline);
  if (!request) return complain(kCommand, request.error());
  const auto recording = startRecording(options);
  if (!recording) return complain(kCommand, recording.error());

  request->wantsIdentities = wantsIdentities(options);
  const auto answer = askForSupplies(*request, onDeadline, recording->get());
  if (!answer) return complain(kCommand, answer.error());
  const int exitStatus = show(*answer, *request, options);
  return std::max(exitStatus, judge(recording->get()));
}

// ---- Several printers, each asked by a process of its own.

// As JSON every printer has its line, also one that could not be asked: nothing came from it.
std::string nothingFrom(const LevelsOptions& options) {
  return options.format == Format::kJson ? reportAsJson({Status::kNothingReceived, {}}) : "";
}

std::string headed(const std::string& text, const LevelsOptions& options) {
  if (options.format != Format::kTable || text.empty()) return text;
  return fmt::format("{}: {}", forTerminal(shownUri(options.printer.printer)), text);
}

// What the answer is, as it is shown, and why it failed.
Written writtenOf(const PrinterAnswer& answer, const SupplyRequest& request,
                  const LevelsOptions& options) {
  const std::string output = headed(rendered(answer, request, options), options);
  if (answer.report.status == Status::kSuccess) return {0, output, {}};
  return {kExitFailed, output, complaint(kCommand, whyNoSupplies(answer, request))};
}

Written askOneOfSeveral(const LevelsOptions& options, const OnDeadline& onDeadline) {
  const auto failed = [&](const Problem& problem) {
    return Written{problem.isMisuse ? kExitMisuse : kExitFailed, nothingFrom(options),
                   complaint(kCommand, problem)};
  };
  auto request = supplyRequest(options.printer, onDeadline);
  if (!request) return failed(request.error());
  request->wantsIdentities = wantsIdentities(options);
  const auto answer = askForSupplies(*request, onDeadline);
  return answer ? writtenOf(*answer, *request, options) : failed(answer.error());
}

Written partOf(const LevelsOptions& options, const std::optional<std::string>& result) {
  if (auto part = unpacked(result.value_or(""))) return *std::move(part);
  const auto died = failure(translated("{} could not be asked: its process has died",
                                       forTerminal(shownUri(options.printer.printer))));
  return {kExitFailed, nothingFrom(options), complaint(kCommand, died.value())};
}

// Several at once, shown in the order given; each once those before it are there.
int runSeveral(const LevelsOptions& given) {
  constexpr std::size_t kMostAtOnce = 32;
  const std::vector<std::string>& printers = given.printers;
  const auto optionsFor = [&](std::size_t place) {
    LevelsOptions options = given;
    options.printer.printer = printers[place];
    return options;
  };
  int exitStatus = 0;
  bool hasShown = false;
  ProgressLine progress;
  const auto show = [&](const Written& part) {
    progress.clear();
    const bool isNextTable = hasShown && !part.output.empty() && given.format == Format::kTable;
    const int printed = print(kCommand, (isNextTable ? "\n" : "") + part.output);
    hasShown = hasShown || !part.output.empty();
    fmt::print(stderr, "{}", part.errors);
    if (part.exitStatus != 0) exitStatus = kExitFailed;
    exitStatus = std::max(exitStatus, printed);
    return printed == 0;
  };
  doApart(
      {.count = printers.size(),
       .atOnce = kMostAtOnce,
       .patience = std::chrono::seconds(given.printer.deadline) + std::chrono::seconds(2),
       .work =
           [&](std::size_t place, const Apart::Finish& finish) {
             const LevelsOptions options = optionsFor(place);
             const auto onDeadline = [&](const Problem& problem) {
               finish(packed({kExitFailed, nothingFrom(options), complaint(kCommand, problem)}));
             };
             finish(packed(askOneOfSeveral(options, onDeadline)));
           },
       .take = [&](std::size_t place,
                   const auto& result) { return show(partOf(optionsFor(place), result)); },
       .wait =
           [&](std::size_t over) {
             progress.waitingFor(translated("{} of {} printers are asked", over, printers.size()));
             progress.refresh();
           }});
  return exitStatus;
}

// Whether the options of a transcript go together, and with the rest.
Result<> agree(const LevelsOptions& options) {
  const bool isOneAsJson = options.printers.size() == 1 && options.format == Format::kJson;
  if (options.details && options.format != Format::kTable && !isOneAsJson) {
    return misuse("--details: goes with the format table, or with json of one PRINTER");
  }
  if (options.printers.size() > 1 && !options.record.empty()) {
    return misuse("--record: takes one PRINTER");
  }
  // One mistake in a list of many is told before any of them is asked.
  for (const std::string& printer : options.printers) {
    if (options.printers.size() == 1) break;
    if (!looksLikeDeviceUri(printer) || looksLikeHost(printer)) continue;
    if (const auto uri = parseDeviceUri(printer); !uri) return tl::unexpected(uri.error());
  }
  if (options.printers.size() > 1 && options.format == Format::kOpenMetrics) {
    return misuse("--format openmetrics: takes one PRINTER");
  }
  if (options.redact && options.record.empty()) return misuse("--redact requires --record");
  if (!options.record.empty() && options.format == Format::kOpenMetrics) {
    return misuse("--record: goes with the formats table, json and reading");
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
  Option printers = printerArguments(options->printers);
  return {
      .name = kCommand,
      .usage =
          "moxsupply levels [PRINTER...] [--type auto|laser|inkjet]\n"
          "                        [--format table|json|reading|openmetrics] [--details]\n"
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
          "variable DEVICE_URI is taken: others see arguments, and a password in them. Several are "
          "asked\n"
          "at once and shown in the order given.",
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
          "  moxsupply levels office warehouse 192.0.2.7\n"
          "  moxsupply levels socket://printer.example:9100 --type inkjet --format json\n"
          "  moxsupply levels socket://192.0.2.7 --format openmetrics\n"
          "  sudo moxsupply levels 'usb://Example/Printer?serial=1'\n"
          "\n"
          "Exit status: 0 the supplies were shown; 1 the printer, or one of several, could not be "
          "reached\n"
          "or did not give them; 2 the arguments or the set-up are wrong.\n",
      .options = {std::move(printers), printerType(printer.kind),
                  choice<Format>("--format", options->format,
                                 {{"table", Format::kTable},
                                  {"json", Format::kJson},
                                  {"reading", Format::kReading},
                                  {"openmetrics", Format::kOpenMetrics}},
                                 "FORMAT",
                                 "table; json as `moxsupply report`; reading for\n"
                                 "`moxsupply history`; openmetrics (table)"),
                  flag("--details", options->details,
                       "show part numbers, serial numbers and pages of cartridges, too; json\n"
                       "has a second line then, that of the format reading"),
                  readTimeout(printer), deadline(printer),
                  flag("--backend", printer.throughBackend,
                       "use the CUPS backend for socket:// too, as a print job does"),
                  coloring(options->coloring), recordOption(options->record),
                  flag("--redact", options->redact, "leave serial numbers out of the transcript")},
      .agree = [options] { return agree(*options); },
      .run =
          [options, asMetrics = std::move(asMetrics)] {
            // What is remembered is compared, in whatever language a user reads.
            if (options->format == Format::kReading) std::setlocale(LC_MESSAGES, "C");
            if (options->format == Format::kTable) speakTheReadersLanguage();
            if (options->printers.size() > 1) return runSeveral(*options);
            options->printer.printer = options->printers.front();
            if (options->format == Format::kOpenMetrics) return asMetrics(options->printer);
            return runLevels(*options);
          },
  };
}

CommandLine levelsForPrograms(const std::string& program, std::optional<PrinterKind> kind,
                              std::uint32_t deadline) {
  return {program,
          std::string(kCommand),
          "--format",
          "json",
          "--details",
          "--type",
          std::string(typedKind(kind)),
          "--deadline",
          std::to_string(deadline)};
}

Written levelsForPrograms(SupplyRequest request) {
  LevelsOptions options;
  options.format = Format::kJson;
  options.details = true;
  request.wantsIdentities = wantsIdentities(options);
  const auto answer = askForSupplies(request, nullptr);
  if (!answer) return {kExitFailed, {}, complaint(kCommand, answer.error())};
  return writtenOf(*answer, request, options);
}

}  // namespace moxsupply
