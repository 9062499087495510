#include "host/LevelsCommand.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/Decimal.h"
#include "host/OpenQueue.h"
#include "host/PpdFile.h"
#include "host/PrinterQuery.h"
#include "host/QueueSettings.h"
#include "host/Recording.h"
#include "host/Supplies.h"
#include "host/SupplyTable.h"
#include "host/TerminalText.h"
#include "values/Status.h"

namespace moxsupply {

namespace {

struct LevelsOptions {
  std::string uri;
  std::string type = "auto";
  std::string format = "table";
  std::string color = "auto";
  std::string timeout = "2";
  std::string deadline = "60";
  bool throughBackend = false;
  std::string record;
  bool redact = false;
};

// How to ask: as which printer, and with which timeout for each read.
struct Attempt {
  std::string printerType;
  std::uint32_t timeout;
};

// A printer that does not know the question stays silent, and silence costs four reads. So the
// first attempt of "auto" is a short one.
std::vector<Attempt> attemptsFor(const std::string& type, std::uint32_t timeout) {
  if (type == "laser") return {{"Laser", timeout}};
  if (type == "inkjet") return {{"Inkjet", timeout}};
  return {{"Laser", std::min(timeout, 1U)}, {"Inkjet", timeout}};
}

constexpr std::string_view kCommand = "levels";

Problem misuse(std::string what) { return {std::move(what), {}, true}; }

// Whether the printer understood the question: it sent supplies, or an answer that holds none.
bool understood(Status status) {
  return status == Status::kSuccess || status == Status::kUndecodable;
}

// Why a query failed, in words.
Problem explain(const PrinterAnswer& answer, const LevelsOptions& options) {
  const std::string printer = forTerminal(options.uri);
  std::string advice;
  if (!answer.backendMessage.empty()) {
    advice = fmt::format("The CUPS backend says: {}\n", answer.backendMessage);
  }
  if (answer.status == Status::kWriteError) {
    return {fmt::format("the link to {} went away before it was asked", printer),
            advice + "Is another job printing? Many printers take one connection at a time."};
  }
  if (answer.status == Status::kReadError) {
    return {fmt::format("{} began to answer and broke off", printer), advice + "Try again."};
  }
  if (answer.status == Status::kUndecodable) {
    return {fmt::format("{} answered, but its supplies cannot be read", printer),
            advice + "What it sent is not what printers of this protocol send."};
  }
  const bool isAuto = options.type == "auto";
  return {fmt::format(
              "{} did not answer as {} printer", printer,
              isAuto ? "a laser or inkjet" : (options.type == "laser" ? "a laser" : "an inkjet")),
          advice + fmt::format("Does it speak NPA, and is it awake? {}--timeout SECONDS waits "
                               "longer for each reply.",
                               isAuto ? "" : "Without --type both kinds are tried. ")};
}

std::string title(const Supplies& supplies) {
  const std::string count =
      fmt::format("{} {}", supplies.list.size(), supplies.list.size() == 1 ? "supply" : "supplies");
  if (supplies.isLaser) return fmt::format("Laser printer, {}\n\n", count);
  if (supplies.head.empty()) return fmt::format("Inkjet printer, {}\n\n", count);
  return fmt::format("Inkjet printer, {} print head, {}\n\n", forTerminal(supplies.head), count);
}

// Shows the answer as it was asked for. What a failed query left is shown too, and then why it
// failed.
int show(const PrinterAnswer& answer, const LevelsOptions& options) {
  const bool hasFailed = answer.status != Status::kSuccess;
  std::string text = answer.json;
  if (options.format == "table") {
    const Supplies supplies = suppliesFromReport(answer.json);
    const bool hasNothing = hasFailed && supplies.list.empty();
    text = hasNothing ? "" : title(supplies) + supplyTable(supplies, wantsColor(options.color));
  }
  if (const int exitStatus = print(kCommand, text); exitStatus != 0) return exitStatus;
  return hasFailed ? complain(kCommand, explain(answer, options)) : 0;
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

// Puts the printer of a queue in the place of the queue's name, and what the queue knows of it.
std::optional<Problem> followQueue(LevelsOptions& options) {
  const auto opened = openQueue(options.uri);
  if (const auto* problem = std::get_if<Problem>(&opened)) return *problem;
  const auto& [server, queue, ppd] = std::get<OpenQueue>(opened);
  options.uri = queue.deviceUri;
  const auto settings = PpdFile::fromText(ppd);
  const auto type = settings ? settings->value("moxPrinterType") : std::nullopt;
  const auto known = type ? printerTypeOf(*type) : std::nullopt;
  if (options.type == "auto" && known) options.type = *known == "Inkjet" ? "inkjet" : "laser";
  return std::nullopt;
}

int runLevels(LevelsOptions options) {
  const auto timeout = decimal(options.timeout);
  if (!timeout) {
    return complain(kCommand,
                    misuse(fmt::format("--timeout: expected a whole number of seconds, not \"{}\"",
                                       options.timeout)));
  }
  const auto deadline = decimal(options.deadline);
  if (!deadline || *deadline == 0) {
    return complain(
        kCommand,
        misuse(fmt::format("--deadline: expected a whole number of seconds from 1, not \"{}\"",
                           options.deadline)));
  }
  if (!looksLikeDeviceUri(options.uri)) {
    if (!options.record.empty()) return complain(kCommand, notOfAQueue(options.uri));
    if (const auto problem = followQueue(options)) return complain(kCommand, *problem);
  }
  const auto uri = parseDeviceUri(options.uri);
  if (const auto* problem = std::get_if<Problem>(&uri)) return complain(kCommand, *problem);

  const auto recording = startRecording(options);
  if (const auto* problem = std::get_if<Problem>(&recording)) return complain(kCommand, *problem);
  Recording* const transcript = std::get<std::unique_ptr<Recording>>(recording).get();

  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(*deadline);
  PrinterAnswer answer;
  for (const Attempt& attempt : attemptsFor(options.type, *timeout)) {
    auto result =
        askPrinter({.uri = std::get<DeviceUri>(uri),
                    .printerType = attempt.printerType,
                    .timeout = attempt.timeout,
                    .throughBackend = options.throughBackend,
                    .recording = transcript},
                   end, [](const Problem& problem) { ::_exit(complain(kCommand, problem)); });
    if (const auto* problem = std::get_if<Problem>(&result)) return complain(kCommand, *problem);
    answer = std::get<PrinterAnswer>(std::move(result));
    if (understood(answer.status)) break;
  }
  const int exitStatus = show(answer, options);
  return std::max(exitStatus, judge(transcript));
}

}  // namespace

void addLevelsCommand(CLI::App& app, RunCommand& run) {
  CLI::App* command = app.add_subcommand(
      "levels",
      "Ask a printer for its supplies and show them.\n"
      "\n"
      "PRINTER is a device URI or the name of a print queue, whose device URI is then taken.\n"
      "socket://HOST (port 9100) works for anyone. Every other device URI of CUPS, as lpinfo -v\n"
      "and lpstat -v show them, goes through its installed CUPS backend; some of these only root\n"
      "may run. No print queue is needed, and none is touched.");
  command->formatter(std::make_shared<Help>(
      "moxsupply levels PRINTER [--type auto|laser|inkjet] [--format table|json]\n"
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
      "  sudo moxsupply levels 'usb://Example/Printer?serial=1'\n"
      "\n"
      "Exit status: 0 the supplies were shown; 1 the printer could not be reached or did not give\n"
      "them; 2 the arguments or the set-up are wrong.\n");

  const auto options = std::make_shared<LevelsOptions>();
  command->add_option("PRINTER", options->uri, "device URI, or name of a print queue")
      ->required()
      ->option_text(" ");
  command->add_option("--type", options->type, "auto, laser or inkjet (auto)")
      ->option_text("TYPE")
      ->check(CLI::IsMember({"auto", "laser", "inkjet"}));
  command->add_option("--format", options->format, "table, or json as `moxsupply report` (table)")
      ->option_text("FORMAT")
      ->check(CLI::IsMember({"table", "json"}));
  command->add_option("--timeout", options->timeout, "longest wait for each single read (2)")
      ->option_text("SECONDS");
  command->add_option("--deadline", options->deadline, "longest time for everything (60)")
      ->option_text("SECONDS");
  command->add_flag("--backend", options->throughBackend,
                    "use the CUPS backend for socket:// too, as a print job does");
  command->add_option("--color", options->color, "auto, always or never (auto: on a terminal)")
      ->option_text("WHEN")
      ->check(CLI::IsMember({"auto", "always", "never"}));
  const auto* record =
      command
          ->add_option("--record", options->record, "write what goes over the link to a transcript")
          ->option_text("FILE");
  command->add_flag("--redact", options->redact, "leave serial numbers out of the transcript");
  command->callback([&run, options, record] {
    if (record->count() > 0 && options->record.empty()) {
      throw CLI::ValidationError("--record", "expected the path of a file");
    }
    if (options->redact && options->record.empty()) {
      throw CLI::RequiresError("--redact", "--record");
    }
    run = [=] { return runLevels(*options); };
  });
}

}  // namespace moxsupply
