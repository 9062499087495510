#include "commands/PrinterOptions.h"

#include <fmt/format.h>

#include <chrono>
#include <cstdlib>
#include <utility>

#include "links/QueryWatch.h"
#include "queue/OpenQueue.h"
#include "queue/PpdFile.h"
#include "queue/QueueSettings.h"
#include "supplies/Outcome.h"
#include "text/TerminalText.h"
#include "text/Translated.h"

namespace moxsupply {

namespace {

using Clock = std::chrono::steady_clock;

Result<> followQueue(PrinterOptions& options, Clock::time_point deadline,
                     const OnDeadline& onDeadline) {
  const QueryWatch watch(
      translated("Asking the print server"), {.all = deadline}, [&](const QueryWatch&) {
        onDeadline(
            {.what = translated("no answer from the print server, which was asked for \"{}\", "
                                "by the deadline",
                                forTerminal(options.printer)),
             .advice = translated("Does it run? With the printer's device URI it is not "
                                  "needed.")});
      });
  const auto open = openQueue(options.printer);
  if (!open) return tl::unexpected(open.error());
  options.printer = open->queue.deviceUri;
  const auto settings = PpdFile::fromText(open->ppd);
  const auto type = settings ? settings->value("moxPrinterType") : std::nullopt;
  if (!options.kind && type) options.kind = printerKindOf(*type);
  return {};
}

}  // namespace

Option printerArgument(std::string& printer) {
  Option option =
      argument("PRINTER", printer, "device URI, or name of a print queue ($DEVICE_URI)");
  if (const char* uri = std::getenv("DEVICE_URI"); uri != nullptr && *uri != '\0') {
    printer = uri;
    option.isRequired = false;
  }
  return option;
}

Option printerArguments(std::vector<std::string>& printers) {
  std::string one;
  Option option = printerArgument(one);
  option.isRepeated = true;
  option.take = [&printers](const auto& words) -> Result<> {
    printers = words;
    return {};
  };
  if (!one.empty()) printers = {one};
  return option;
}

Option queueArgument(std::string& queue) {
  return argument("QUEUE", queue, "name of a print queue");
}

Option printerType(std::optional<PrinterKind>& kind) {
  return choice<std::optional<PrinterKind>>(
      "--type", kind,
      {{"auto", std::nullopt}, {"laser", PrinterKind::kLaser}, {"inkjet", PrinterKind::kInkjet}},
      "TYPE", "auto, laser or inkjet (auto)");
}

Option readTimeout(PrinterOptions& options) {
  Option option =
      seconds("--timeout", options.timeout, {}, "longest wait for each single read (2)");
  option.take = [&options, take = option.take](const auto& words) {
    options.timeToWake = 0;
    return take(words);
  };
  return option;
}

Option deadline(PrinterOptions& options) {
  Option option = seconds("--deadline", options.deadline, {.least = 1},
                          fmt::format("longest time for everything ({})", options.deadline));
  option.take = [&options, take = option.take](const auto& words) {
    auto taken = take(words);
    options.connection = options.deadline;
    return taken;
  };
  return option;
}

std::string_view typedKind(std::optional<PrinterKind> kind) {
  if (!kind) return "auto";
  return typedKind(*kind);
}

Result<SupplyRequest> supplyRequest(const PrinterOptions& options, const OnDeadline& onDeadline) {
  const auto start = Clock::now();
  const auto deadline = start + std::chrono::seconds(options.deadline);
  PrinterOptions followed = options;
  const bool isHost = looksLikeHost(followed.printer);
  bool isUri = looksLikeDeviceUri(followed.printer) && !isHost;
  if (!looksLikeDeviceUri(followed.printer)) {
    const auto found = followQueue(followed, deadline, onDeadline);
    if (!found && !isHost) return tl::unexpected(found.error());
    isUri = found.has_value();
  }
  if (!isUri) followed.printer.insert(0, "socket://");
  auto uri = parseDeviceUri(followed.printer);
  if (!uri) return tl::unexpected(std::move(uri).error());
  if (!bringsAnswersBack(uri->text)) {
    return misuse(translated("\"{}\" brings no answers back; nothing was sent",
                             forTerminal(shownUri(uri->text))),
                  translated(kOtherLinks));
  }
  return SupplyRequest{.uri = *std::move(uri),
                       .kind = followed.kind,
                       .timeout = followed.timeout,
                       .deadline = deadline,
                       .throughBackend = followed.throughBackend,
                       .connectionDeadline = start + std::chrono::seconds(followed.connection),
                       .timeToWake = std::chrono::seconds(followed.timeToWake)};
}

Problem whyNoSupplies(const PrinterAnswer& answer, const SupplyRequest& request) {
  const OutcomeRow& row = rowOf(outcomeOf(answer.report.status));
  const std::string printer = forTerminal(shownUri(request.uri.text));
  Problem problem = {.what = translated("{} {}", printer, translated(row.what)),
                     .advice = translated(row.advice)};
  if (row.outcome == Outcome::kNothingReceived) {
    problem.what =
        request.kind
            ? translated("{} did not answer as {} printer", printer, withArticle(*request.kind))
            : translated("{} did not answer as a laser or inkjet printer", printer);
    if (request.kind) problem.advice += ' ' + translated("Without --type both kinds are tried.");
    problem.advice += ' ' + translated("--timeout SECONDS waits longer for each reply.");
  }
  if (!answer.backendMessage.empty()) {
    problem.advice = fmt::format(
        "{}\n{}", translated("The CUPS backend says: {}", answer.backendMessage), problem.advice);
  }
  return problem;
}

}  // namespace moxsupply
