#include "links/PrinterQuestion.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <optional>
#include <utility>

#include "links/AskAsFilter.h"
#include "links/BackendLink.h"
#include "links/QueryWatch.h"
#include "links/TcpLink.h"
#include "supplies/Words.h"
#include "system/FileDescriptor.h"
#include "system/FilterDescriptors.h"
#include "system/Substitute.h"
#include "text/TerminalText.h"

namespace moxsupply {

namespace {

Report askOver(int toPrinter, int backChannel, const PrinterQuestion& question) {
  const std::string kind(wordOf(question.kind));
  const std::string transport = question.uri.transport();
  const auto filter = MoxFilter::initWithPrinterType(kind, transport, question.timeout);
  std::fflush(stdout);
  const Substitute output(STDOUT_FILENO, toPrinter);
  const Substitute input(kBackChannel, backChannel);
  if (question.recording != nullptr) {
    question.recording->beginQuery(kind, transport, question.timeout);
  }
  return askAsFilter(*filter, question.recording);
}

Result<PrinterAnswer> askDirectly(const PrinterQuestion& question, QueryWatch& watch) {
  const auto link = connectToPrinter(question.uri);
  if (!link) return tl::unexpected(link.error());
  watch.isAsking(fmt::format("Asking {}", forTerminal(shownUri(question.uri.text))));
  return PrinterAnswer{askOver(link->get(), link->get(), question), {}};
}

// Ends the backend. One that holds a local device gets the time to give it back; the others hold
// nothing that outlives them, and would wait for the printer to hang up.
void letGo(BackendLink link, const DeviceUri& uri) {
  link.toPrinter = FileDescriptor();
  link.backChannel = FileDescriptor();
  if (uri.transport() == "usb") link.backend.waitFor(std::chrono::seconds(2));
}

Result<PrinterAnswer> askThroughBackend(const PrinterQuestion& question, QueryWatch& watch) {
  auto link = findBackend(question.uri).and_then([&](const std::string& path) {
    return startBackend(path, question.uri);
  });
  if (!link) return tl::unexpected(std::move(link).error());

  watch.listenTo(std::move(link->messages));
  Report report = askOver(link->toPrinter.get(), link->backChannel.get(), question);
  letGo(*std::move(link), question.uri);
  return PrinterAnswer{std::move(report), watch.backendMessage()};
}

Problem deadlinePassed(const PrinterQuestion& question, const QueryWatch& watch) {
  Problem problem = {.what = fmt::format("no answer from {} by the deadline",
                                         forTerminal(shownUri(question.uri.text))),
                     .advice = "No connection came about: is the printer switched on?"};
  if (watch.wasAsking()) {
    problem.advice = "The printer took the connection but has not finished its answer.";
    problem.remedy = {Remedy::Kind::kLongerDeadline, {}};
  } else if (const std::string message = watch.backendMessage(); !message.empty()) {
    problem.advice = fmt::format("The CUPS backend says: {}", message);
  }
  return problem;
}

}  // namespace

Result<PrinterAnswer> askPrinter(const PrinterQuestion& question,
                                 std::chrono::steady_clock::time_point deadline,
                                 const OnDeadline& onDeadline) {
  const DeviceUri& uri = question.uri;
  const bool isDirect = uri.scheme == "socket" && !question.throughBackend;
  QueryWatch watch(
      isDirect ? fmt::format("Connecting to {} port {}", forTerminal(uri.host), uri.port)
               : "Starting the CUPS backend",
      deadline, [&](const QueryWatch& at) { onDeadline(deadlinePassed(question, at)); });
  return isDirect ? askDirectly(question, watch) : askThroughBackend(question, watch);
}

}  // namespace moxsupply
