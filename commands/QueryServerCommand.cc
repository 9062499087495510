#include "commands/QueryServerCommand.h"

#include <string>
#include <string_view>
#include <utility>

#include "commands/LevelsCommand.h"
#include "commands/PrinterOptions.h"
#include "links/ConnectedQuery.h"
#include "links/DeviceUri.h"
#include "system/Confinement.h"
#include "system/ForkServer.h"
#include "text/Written.h"

namespace moxsupply {

namespace {

constexpr std::string_view kCommand = "query-server";

Written failed(const Problem& problem) { return {kExitFailed, {}, complaint("levels", problem)}; }

Written ask(const QueryRequest& wanted, const ConnectedQuery& query) {
  PrinterOptions options = {.printer = wanted.uri, .kind = wanted.kind};
  options.deadline = options.connection = wanted.deadline;
  auto request = supplyRequest(options, nullptr);
  if (!request) return failed(request.error());
  request->connect = [&](const DeviceUri& /*uri*/) { return query.connect(); };
  return levelsForPrograms(*std::move(request));
}

void find(const QueryRequest& wanted, const ConnectedQuery& query) {
  const auto said = parseDeviceUri(wanted.uri).and_then([&](const DeviceUri& uri) {
    return query.sayWhere(uri);
  });
  if (!said) query.finish(packed(failed(said.error())));
}

// In a process of its own: what it is asked, one after the other. Where names can be looked up no
// printer is heard, and where one is, nothing can be looked up.
void serve(const std::string& first, const ConnectedQuery& query, const Confinement& confinement) {
  auto wanted = QueryRequest::from(first);
  if (!wanted) return;
  const QueryTask task = wanted->task;
  if (task == QueryTask::kAsk) confinement.enter();
  for (; wanted && wanted->task == task; wanted = query.next()) {
    if (task == QueryTask::kFind) {
      find(*wanted, query);
    } else {
      query.finish(packed(ask(*wanted, query)));
    }
  }
}

int runQueryServer() {
  const Confinement confinement;
  serveForks(STDIN_FILENO, [&](const std::string& first, FileDescriptor socket) {
    serve(first, ConnectedQuery(std::move(socket)), confinement);
  });
  return 0;
}

}  // namespace

Command queryServerCommand() {
  return {
      .name = kCommand,
      .usage = "moxsupply query-server",
      .about = "Ask printers, side by side in processes that are forked from this one.",
      .run = runQueryServer,
  };
}

CommandLine queryServerForPrograms(const std::string& program) {
  return {program, std::string(kCommand)};
}

}  // namespace moxsupply
