#include "commands/SupplyQuery.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "links/QueryWatch.h"
#include "queue/OpenQueue.h"
#include "queue/PpdFile.h"
#include "queue/QueueSettings.h"
#include "text/Decimal.h"
#include "text/TerminalText.h"
#include "values/Status.h"

namespace moxsupply {

namespace {

using Clock = std::chrono::steady_clock;

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

// Whether the printer understood the question: it sent supplies, or an answer that holds none.
bool understood(Status status) {
  return status == Status::kSuccess || status == Status::kUndecodable;
}

Problem misuse(std::string what) { return {std::move(what), {}, true}; }

// Puts the printer of a queue in the place of the queue's name, and what the queue knows of it.
std::optional<Problem> followQueue(SupplyQueryOptions& options, Clock::time_point deadline,
                                   const OnDeadline& onDeadline) {
  const QueryWatch watch("Asking the print server", deadline, [&](const QueryWatch&) {
    onDeadline({fmt::format("no answer from the print server, which was asked for \"{}\", by the "
                            "deadline",
                            forTerminal(options.printer)),
                "Does it run? With the printer's device URI it is not needed."});
  });
  const auto opened = openQueue(options.printer);
  if (const auto* problem = std::get_if<Problem>(&opened)) return *problem;
  const auto& [server, queue, ppd] = std::get<OpenQueue>(opened);
  options.printer = queue.deviceUri;
  const auto settings = PpdFile::fromText(ppd);
  const auto type = settings ? settings->value("moxPrinterType") : std::nullopt;
  const auto known = type ? printerTypeOf(*type) : std::nullopt;
  if (options.type == "auto" && known) options.type = *known == "Inkjet" ? "inkjet" : "laser";
  return std::nullopt;
}

}  // namespace

Result<SupplyQuery> supplyQuery(const SupplyQueryOptions& options, const OnDeadline& onDeadline) {
  const auto timeout = decimal(options.timeout);
  if (!timeout) {
    return misuse(
        fmt::format("--timeout: expected a whole number of seconds, not \"{}\"", options.timeout));
  }
  const auto limit = decimal(options.deadline);
  if (!limit || *limit == 0) {
    return misuse(fmt::format("--deadline: expected a whole number of seconds from 1, not \"{}\"",
                              options.deadline));
  }
  const auto deadline = Clock::now() + std::chrono::seconds(*limit);
  SupplyQueryOptions followed = options;
  if (!looksLikeDeviceUri(followed.printer)) {
    if (auto problem = followQueue(followed, deadline, onDeadline)) return *std::move(problem);
  }
  auto uri = parseDeviceUri(followed.printer);
  if (auto* problem = std::get_if<Problem>(&uri)) return std::move(*problem);
  return SupplyQuery{.uri = std::get<DeviceUri>(std::move(uri)),
                     .type = followed.type,
                     .timeout = *timeout,
                     .deadline = deadline,
                     .throughBackend = followed.throughBackend};
}

Result<PrinterAnswer> askForSupplies(const SupplyQuery& query, const OnDeadline& onDeadline,
                                     Recording* recording) {
  Result<PrinterAnswer> result;
  for (const Attempt& attempt : attemptsFor(query.type, query.timeout)) {
    result = askPrinter({.uri = query.uri,
                         .printerType = attempt.printerType,
                         .timeout = attempt.timeout,
                         .throughBackend = query.throughBackend,
                         .recording = recording},
                        query.deadline, onDeadline);
    const auto* answer = std::get_if<PrinterAnswer>(&result);
    if (answer == nullptr || understood(answer->status)) break;
  }
  return result;
}

Problem whyNoSupplies(const PrinterAnswer& answer, const SupplyQuery& query) {
  const std::string printer = forTerminal(query.uri.text);
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
  const bool isAuto = query.type == "auto";
  return {
      fmt::format("{} did not answer as {} printer", printer,
                  isAuto ? "a laser or inkjet" : (query.type == "laser" ? "a laser" : "an inkjet")),
      advice + fmt::format("Does it speak NPA, and is it awake? {}--timeout SECONDS waits "
                           "longer for each reply.",
                           isAuto ? "" : "Without --type both kinds are tried. ")};
}

}  // namespace moxsupply
