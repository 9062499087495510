#include "links/PrinterQuery.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <optional>
#include <utility>

#include "links/BackendLink.h"
#include "links/FilterQuery.h"
#include "links/QueryWatch.h"
#include "links/TcpLink.h"
#include "system/FileDescriptor.h"
#include "system/Substitute.h"
#include "text/TerminalText.h"

namespace moxsupply {

namespace {

constexpr int kBackChannel = 3;

Answer askOver(int toPrinter, int backChannel, const PrinterQuery& query) {
  const auto filter =
      MoxFilter::initWithPrinterType(query.printerType, query.uri.transport(), query.timeout);
  std::fflush(stdout);
  const Substitute output(STDOUT_FILENO, toPrinter);
  const Substitute input(kBackChannel, backChannel);
  if (query.recording != nullptr) {
    query.recording->beginQuery(query.printerType, query.uri.transport(), query.timeout);
  }
  return askPrinterOnStandardOutput(*filter, query.recording);
}

Result<PrinterAnswer> askDirectly(const PrinterQuery& query, QueryWatch& watch) {
  auto link = connectToPrinter(query.uri);
  if (auto* problem = std::get_if<Problem>(&link)) return std::move(*problem);
  watch.isAsking(fmt::format("Asking {}", forTerminal(query.uri.text)));
  const int socket = std::get<FileDescriptor>(link).get();
  auto [status, json] = askOver(socket, socket, query);
  return PrinterAnswer{status, std::move(json), {}};
}

// Ends the backend. One that holds a local device gets the time to give it back; the others hold
// nothing that outlives them, and would wait for the printer to hang up.
void letGo(BackendLink link, const DeviceUri& uri) {
  link.toPrinter = FileDescriptor();
  link.backChannel = FileDescriptor();
  if (uri.transport() == "usb") link.backend.waitFor(std::chrono::seconds(2));
}

Result<PrinterAnswer> askThroughBackend(const PrinterQuery& query, QueryWatch& watch) {
  const auto path = findBackend(query.uri);
  if (const auto* problem = std::get_if<Problem>(&path)) return *problem;
  auto started = startBackend(std::get<std::string>(path), query.uri);
  if (auto* problem = std::get_if<Problem>(&started)) return std::move(*problem);
  auto& link = std::get<BackendLink>(started);

  watch.listenTo(std::move(link.messages));
  auto [status, json] = askOver(link.toPrinter.get(), link.backChannel.get(), query);
  letGo(std::move(link), query.uri);
  return PrinterAnswer{status, std::move(json), watch.backendMessage()};
}

Problem deadlinePassed(const PrinterQuery& query, const QueryWatch& watch) {
  Problem problem = {fmt::format("no answer from {} by the deadline", forTerminal(query.uri.text)),
                     "No connection came about: is the printer switched on?"};
  if (watch.wasAsking()) {
    problem.advice =
        "The printer took the connection but has not finished its answer. --deadline SECONDS "
        "gives it longer.";
  } else if (const std::string message = watch.backendMessage(); !message.empty()) {
    problem.advice = fmt::format("The CUPS backend says: {}", message);
  }
  return problem;
}

}  // namespace

Result<PrinterAnswer> askPrinter(const PrinterQuery& query,
                                 std::chrono::steady_clock::time_point deadline,
                                 const OnDeadline& onDeadline) {
  const bool isDirect = query.uri.scheme == "socket" && !query.throughBackend;
  QueryWatch watch(isDirect ? fmt::format("Connecting to {} port {}", forTerminal(query.uri.host),
                                          query.uri.port)
                            : "Starting the CUPS backend",
                   deadline, [&](const QueryWatch& at) { onDeadline(deadlinePassed(query, at)); });
  return isDirect ? askDirectly(query, watch) : askThroughBackend(query, watch);
}

}  // namespace moxsupply
