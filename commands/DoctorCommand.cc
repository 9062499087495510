#include "commands/DoctorCommand.h"

#include <cups/cups.h>
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "commands/PrinterOptions.h"
#include "commands/Remedies.h"
#include "links/DeviceUri.h"
#include "links/ServerFolder.h"
#include "queue/OpenQueue.h"
#include "queue/QueueChecks.h"
#include "queue/Refresh.h"
#include "text/TerminalText.h"

namespace moxsupply {

namespace {

constexpr std::string_view kCommand = "doctor";
constexpr std::chrono::seconds kPatience(60);

struct DoctorOptions {
  std::string queue;
  Coloring coloring = Coloring::kAuto;
};

std::string line(const Finding& finding, bool colored) {
  const std::string_view mark = finding.isGood ? "ok   " : "FAULT";
  const std::string_view sequence = finding.isGood ? "\x1B[32m" : "\x1B[31m";
  std::string text = fmt::format("  {}{}{}  {}\n", colored ? sequence : "", mark,
                                 colored ? "\x1B[0m" : "", finding.what);
  const std::string command = commandFor(finding.remedy);
  for (const std::string& help : {finding.advice, command}) {
    std::istringstream lines(help);
    for (std::string each; std::getline(lines, each);) text += fmt::format("         {}\n", each);
  }
  return text;
}

// The print server's programs can be looked at only where it runs on this machine.
bool isOnThisMachine() {
  const std::string_view server = cupsServer();
  return server.starts_with('/') || server == "localhost" || server == "127.0.0.1" ||
         server == "::1";
}

int runDoctor(const DoctorOptions& options) {
  auto open = openQueue(options.queue);
  if (!open) return complain(kCommand, open.error());

  std::vector<Finding> findings = checkQueue(*open);
  if (isOnThisMachine()) findings.push_back(checkFilterProgram(serverFolder() + "/filter"));
  std::string text = fmt::format("{}, {}\n", forTerminal(open->queue.name),
                                 forTerminal(shownUri(open->queue.deviceUri)));
  const bool colored = wantsColor(options.coloring);
  for (const Finding& finding : findings) text += line(finding, colored);
  if (const int exitStatus = print(kCommand, text); exitStatus != 0) return exitStatus;

  if (std::ranges::all_of(findings, &Finding::isGood)) {
    findings.push_back(checkReport(refresh(open->server, open->queue.name, kPatience)));
    const int exitStatus = print(kCommand, line(findings.back(), colored));
    if (exitStatus != 0) return exitStatus;
  }
  const auto faults = std::ranges::count(findings, false, &Finding::isGood);
  const int exitStatus = print(
      kCommand, faults == 0 ? "Nothing is wrong.\n"
                            : fmt::format("{} {}.\n", faults, faults == 1 ? "fault" : "faults"));
  if (exitStatus != 0) return exitStatus;
  return faults == 0 ? 0 : kExitFailed;
}

}  // namespace

Command doctorCommand() {
  const auto options = std::make_shared<DoctorOptions>();
  return {
      .name = kCommand,
      .usage = "moxsupply doctor QUEUE [--color auto|always|never]",
      .about =
          "Find out why a print queue shows no supply levels.\n"
          "\n"
          "Goes through what can be wrong between the queue and its printer, names each fault and "
          "the\n"
          "command that mends it. Changes nothing. Where all is set up rightly, it has the queue "
          "report\n"
          "once (`moxsupply refresh`), to see whether the printer answers.",
      .footer = "Exit status: 0 nothing is wrong; 1 faults were found; 2 no such queue.\n",
      .options = {queueArgument(options->queue), coloring(options->coloring)},
      .run = [options] { return runDoctor(*options); },
  };
}

}  // namespace moxsupply
