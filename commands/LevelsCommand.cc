#include "commands/LevelsCommand.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>

#include "links/DeviceUri.h"
#include "links/Recording.h"
#include "renderings/SupplyTable.h"
#include "supplies/Supplies.h"
#include "text/TerminalText.h"
#include "values/Status.h"

namespace moxsupply {

namespace {

struct LevelsOptions {
  SupplyQueryOptions query;
  std::string format = "table";
  std::string color = "auto";
  std::string record;
  bool redact = false;
};

constexpr std::string_view kCommand = "levels";

std::string title(const Supplies& supplies) {
  const std::string count =
      fmt::format("{} {}", supplies.list.size(), supplies.list.size() == 1 ? "supply" : "supplies");
  if (supplies.isLaser) return fmt::format("Laser printer, {}\n\n", count);
  if (supplies.head.empty()) return fmt::format("Inkjet printer, {}\n\n", count);
  return fmt::format("Inkjet printer, {} print head, {}\n\n", forTerminal(supplies.head), count);
}

// Shows the answer as it was asked for. What a failed query left is shown too, and then why it
// failed.
int show(const PrinterAnswer& answer, const SupplyQuery& query, const LevelsOptions& options) {
  const bool hasFailed = answer.status != Status::kSuccess;
  std::string text = answer.json;
  if (options.format == "table") {
    const Supplies supplies = suppliesFromReport(answer.json);
    const bool hasNothing = hasFailed && supplies.list.empty();
    text = hasNothing ? "" : title(supplies) + supplyTable(supplies, wantsColor(options.color));
  }
  if (const int exitStatus = print(kCommand, text); exitStatus != 0) return exitStatus;
  return hasFailed ? complain(kCommand, whyNoSupplies(answer, query)) : 0;
}

Problem notOfAQueue(const std::string& name) {
  return {fmt::format("--record: takes a device URI, and \"{}\" is none", forTerminal(name)),
          "lpstat -v shows the device URI of a print queue. What goes over a queue's own link is\n"
          "recorded by its filter: environment variable MOXSUPPLY_RECORD, see commandtomox(8).",
          true};
}

// Makes the transcript that was asked for; null when none was.
Result<std::unique_ptr<Recording>> startRecording(const LevelsOptions& options) {
  if (options.record.empty()) return std::unique_ptr<Recording>();
  return Recording::create(options.record, options.redact ? Redact::kYes : Redact::kNo);
}

// Says so when the transcript is not whole. Returns the exit status.
int judge(const Recording* recording) {
  const auto problem = recording == nullptr ? std::nullopt : recording->problem();
  return problem ? complain(kCommand, *problem) : 0;
}

int runLevels(const LevelsOptions& options) {
  if (!options.record.empty() && !looksLikeDeviceUri(options.query.printer)) {
    return complain(kCommand, notOfAQueue(options.query.printer));
  }
  const auto onDeadline = [](const Problem& problem) { ::_exit(complain(kCommand, problem)); };
  const auto prepared = supplyQuery(options.query, onDeadline);
  if (const auto* problem = std::get_if<Problem>(&prepared)) return complain(kCommand, *problem);
  const auto& query = std::get<SupplyQuery>(prepared);
  const auto recording = startRecording(options);
  if (const auto* problem = std::get_if<Problem>(&recording)) return complain(kCommand, *problem);
  Recording* const transcript = std::get<std::unique_ptr<Recording>>(recording).get();

  const auto result = askForSupplies(query, onDeadline, transcript);
  if (const auto* problem = std::get_if<Problem>(&result)) return complain(kCommand, *problem);
  const int exitStatus = show(std::get<PrinterAnswer>(result), query, options);
  return std::max(exitStatus, judge(transcript));
}

}  // namespace

void addLevelsCommand(CLI::App& app, RunCommand& run, const LevelsAsMetrics& asMetrics) {
  CLI::App* command = app.add_subcommand(
      "levels",
      "Ask a printer for its supplies and show them.\n"
      "\n"
      "PRINTER is a device URI or the name of a print queue, whose device URI is then taken.\n"
      "socket://HOST (port 9100) works for anyone. Every other device URI of CUPS, as lpinfo -v\n"
      "and lpstat -v show them, goes through its installed CUPS backend; some of these only root\n"
      "may run. No print queue is needed, and none is touched.");
  command->formatter(std::make_shared<Help>(
      "moxsupply levels PRINTER [--type auto|laser|inkjet] [--format table|json|openmetrics]\n"
      "                        [--timeout SECONDS] [--deadline SECONDS] [--backend]\n"
      "                        [--color auto|always|never] [--record FILE [--redact]]"));
  command->footer(
      "A printer whose type is not given is asked as a laser printer first, with reads of at most\n"
      "1 second, then as an inkjet printer: an inkjet printer is found after 4 seconds, and one\n"
      "that stays silent is given up after 4 seconds and 4 times --timeout (12 seconds).\n"
      "\n"
      "Examples:\n"
      "  moxsupply levels socket://192.0.2.7\n"
      "  moxsupply levels office\n"
      "  moxsupply levels socket://printer.example:9100 --type inkjet --format json\n"
      "  moxsupply levels socket://192.0.2.7 --format openmetrics\n"
      "  sudo moxsupply levels 'usb://Example/Printer?serial=1'\n"
      "\n"
      "Exit status: 0 the supplies were shown; 1 the printer could not be reached or did not give\n"
      "them; 2 the arguments or the set-up are wrong.\n");

  const auto options = std::make_shared<LevelsOptions>();
  command->add_option("PRINTER", options->query.printer, "device URI, or name of a print queue")
      ->required()
      ->option_text(" ");
  command->add_option("--type", options->query.type, "auto, laser or inkjet (auto)")
      ->option_text("TYPE")
      ->check(CLI::IsMember({"auto", "laser", "inkjet"}));
  command
      ->add_option("--format", options->format,
                   "table; json as `moxsupply report`; openmetrics (table)")
      ->option_text("FORMAT")
      ->check(CLI::IsMember({"table", "json", "openmetrics"}));
  command->add_option("--timeout", options->query.timeout, "longest wait for each single read (2)")
      ->option_text("SECONDS");
  command->add_option("--deadline", options->query.deadline, "longest time for everything (60)")
      ->option_text("SECONDS");
  command->add_flag("--backend", options->query.throughBackend,
                    "use the CUPS backend for socket:// too, as a print job does");
  command->add_option("--color", options->color, "auto, always or never (auto: on a terminal)")
      ->option_text("WHEN")
      ->check(CLI::IsMember({"auto", "always", "never"}));
  const auto* record =
      command
          ->add_option("--record", options->record, "write what goes over the link to a transcript")
          ->option_text("FILE");
  command->add_flag("--redact", options->redact, "leave serial numbers out of the transcript");
  command->callback([&run, options, record, asMetrics] {
    if (record->count() > 0 && options->record.empty()) {
      throw CLI::ValidationError("--record", "expected the path of a file");
    }
    if (options->redact && options->record.empty()) {
      throw CLI::RequiresError("--redact", "--record");
    }
    const bool areMetrics = options->format == "openmetrics";
    if (areMetrics && record->count() > 0) {
      throw CLI::ValidationError("--record", "goes with the formats table and json");
    }
    run = [=] { return areMetrics ? asMetrics(options->query) : runLevels(*options); };
  });
}

}  // namespace moxsupply
