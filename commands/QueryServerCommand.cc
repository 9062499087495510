#include "commands/QueryServerCommand.h"

#include <string>
#include <string_view>
#include <utility>

#include "commands/LevelsCommand.h"
#include "commands/PrinterOptions.h"
#include "links/ConnectedQuery.h"
#include "system/Confinement.h"
#include "system/ForkServer.h"
#include "text/Written.h"

namespace moxsupply {

namespace {

constexpr std::string_view kCommand = "query-server";

Written failed(const Problem& problem) { return {kExitFailed, {}, complaint("levels", problem)}; }

// In the process of a query.
Written ask(const QueryRequest& wanted, const ConnectedQuery& query,
            const Confinement& confinement) {
  PrinterOptions options = {.printer = wanted.uri, .kind = wanted.kind};
  options.deadline = options.connection = wanted.deadline;
  auto request = supplyRequest(options, nullptr);
  if (!request) return failed(request.error());
  if (const auto said = query.sayWhere(request->uri); !said) return failed(said.error());
  request->connect = [&](const DeviceUri& /*uri*/) { return query.connect(); };
  confinement.enter();
  return levelsForPrograms(*std::move(request));
}

int runQueryServer() {
  const Confinement confinement;
  serveForks(STDIN_FILENO, [&](const std::string& text, FileDescriptor socket) {
    const ConnectedQuery query(std::move(socket));
    if (const auto wanted = QueryRequest::from(text)) {
      query.finish(packed(ask(*wanted, query, confinement)));
    }
  });
  return 0;
}

}  // namespace

Command queryServerCommand() {
  return {
      .name = kCommand,
      .usage = "moxsupply query-server",
      .about = "Ask printers, each in a process of its own that is forked from this one.",
      .run = runQueryServer,
  };
}

CommandLine queryServerForPrograms(const std::string& program) {
  return {program, std::string(kCommand)};
}

}  // namespace moxsupply
