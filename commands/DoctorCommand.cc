#include "commands/DoctorCommand.h"

#include <cups/cups.h>
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "commands/PrinterOptions.h"
#include "commands/Remedies.h"
#include "links/DeviceUri.h"
#include "links/ServerFolder.h"
#include "queue/Diagnosis.h"
#include "queue/OpenQueue.h"
#include "system/ManyApart.h"
#include "text/ProgressLine.h"
#include "text/TerminalText.h"
#include "text/Translated.h"

namespace moxsupply {

namespace {

constexpr std::string_view kCommand = "doctor";

struct DoctorOptions {
  std::vector<std::string> queues;
  bool all = false;
  Coloring coloring = Coloring::kAuto;
  std::size_t nameWidth = 0;  // of the column of queues
};

// What is said of a queue in the end, and on which stream.
struct Verdict {
  int exitStatus = kExitMisuse;  // the text is a complaint
  Weight worst = Weight::kGood;
  std::string text;
};

std::string commandOf(const Finding& finding) {
  return finding.command.empty() ? commandFor(finding.remedy) : finding.command;
}

std::string markOf(const Finding& finding, bool colored) {
  const std::string good = translated("ok");
  const std::string bad = translated("FAULT");
  const std::string& mark = finding.isGood() ? good : bad;
  const int blanks = std::max(columnsOf(good), columnsOf(bad)) - columnsOf(mark);
  const std::string_view sequence = finding.isGood() ? "\x1B[32m" : "\x1B[31m";
  return fmt::format("{}{}{:{}}{}", colored ? sequence : "", mark, "", blanks,
                     colored ? "\x1B[0m" : "");
}

std::string paragraphOf(const Finding& finding, bool colored) {
  const std::string indent(static_cast<std::size_t>(columnsOf(markOf(finding, false)) + 4), ' ');
  std::string text = fmt::format("  {}  {}\n", markOf(finding, colored), finding.what);
  for (const std::string& help : {finding.advice, commandOf(finding)}) {
    std::istringstream lines(help);
    for (std::string each; std::getline(lines, each);) text += indent + each + '\n';
  }
  return text;
}

std::string allOf(const OpenQueue& open, const std::vector<Finding>& findings, bool colored) {
  std::string text = fmt::format("{}, {}\n", forTerminal(open.queue.name),
                                 forTerminal(shownUri(open.queue.deviceUri)));
  for (const Finding& finding : findings) text += paragraphOf(finding, colored);
  const auto good = std::ranges::count_if(findings, &Finding::isGood);
  const auto faults = std::ssize(findings) - good;
  if (faults == 0) return text + translated("Nothing is wrong.") + '\n';
  return text +
         translatedCount(static_cast<std::size_t>(faults), "{} fault.", "{} faults.", faults) +
         '\n';
}

// The worst of it, in a line; where all is well, what was found out last.
std::string lineOf(const OpenQueue& open, const std::vector<Finding>& findings,
                   std::size_t nameWidth, bool colored) {
  const Finding& first = *std::ranges::max_element(findings, {}, &Finding::weight);
  const Finding& worst = first.isGood() ? findings.back() : first;
  std::string help = commandOf(worst);
  if (!help.empty()) {
    std::ranges::replace(help, '\n', ' ');
    help = translated("; run: {}", help);
  }
  return fmt::format("{}  {:<{}}  {}{}\n", markOf(worst, colored), forTerminal(open.queue.name),
                     nameWidth, worst.what, help);
}

// The print server's programs can be looked at only where it runs on this machine.
std::string filterFolder() {
  const std::string_view server = cupsServer();
  const bool isHere =
      server.starts_with('/') || server == "localhost" || server == "127.0.0.1" || server == "::1";
  return isHere ? serverFolder() + "/filter" : "";
}

Verdict examine(const std::string& queue, const DoctorOptions& options, bool colored) {
  auto open = openQueue(queue);
  if (!open) {
    const int exitStatus = open.error().isMisuse ? kExitMisuse : kExitFailed;
    return {exitStatus, Weight::kNoPrinting, complaint(kCommand, open.error())};
  }
  const std::vector<Finding> findings = diagnose(*open, filterFolder());
  const Weight worst = std::ranges::max(findings, {}, &Finding::weight).weight;
  return {worst == Weight::kGood ? 0 : kExitFailed, worst,
          options.all ? lineOf(*open, findings, options.nameWidth, colored)
                      : allOf(*open, findings, colored)};
}

std::string written(const Verdict& verdict) {
  return fmt::format("{}{}{}", verdict.exitStatus, static_cast<int>(verdict.worst), verdict.text);
}

Verdict readBack(const std::optional<std::string>& text, const std::string& queue) {
  if (!text || text->size() < 2) {
    return {
        kExitFailed, Weight::kNoPrinting,
        complaint(kCommand,
                  failure(translated("\"{}\" could not be examined", forTerminal(queue))).value())};
  }
  return {(*text)[0] - '0', static_cast<Weight>((*text)[1] - '0'), text->substr(2)};
}

// Several at once, since a printer that says nothing takes its time.
std::vector<Verdict> examineEach(const std::vector<std::string>& queues,
                                 const DoctorOptions& options, bool colored) {
  constexpr std::size_t kAtOnce = 64;
  constexpr std::chrono::minutes kPatience(10);  // longer than a diagnosis ever takes
  std::vector<Verdict> verdicts;
  ProgressLine progress;
  doApart({.count = queues.size(),
           .atOnce = kAtOnce,
           .patience = kPatience,
           .work =
               [&](std::size_t place, const Apart::Finish& finish) {
                 finish(written(examine(queues[place], options, colored)));
               },
           .take =
               [&](std::size_t place, const std::optional<std::string>& result) {
                 verdicts.push_back(readBack(result, queues[place]));
                 return true;
               },
           .wait =
               [&](std::size_t over) {
                 progress.waitingFor(
                     translated("{} of {} queues are examined", over, queues.size()));
                 progress.refresh();
               }});
  return verdicts;
}

// Returns the exit status.
int tell(const std::vector<Verdict>& verdicts) {
  int exitStatus = 0;
  for (const Verdict& verdict : verdicts) {
    const bool isComplaint = verdict.text.starts_with("moxsupply ");
    const int printed = print(kCommand, verdict.text, isComplaint ? STDERR_FILENO : STDOUT_FILENO);
    exitStatus = std::max({exitStatus, printed, verdict.exitStatus});
  }
  return exitStatus;
}

int examineAll(DoctorOptions options, bool colored) {
  constexpr std::size_t kWidest = 24;
  auto names =
      PrintServer::connect().and_then([](PrintServer&& server) { return server.queues(); });
  if (!names) return complain(kCommand, names.error());
  std::ranges::sort(*names);
  for (const std::string& name : *names) {
    options.nameWidth = std::max(options.nameWidth, std::min(forTerminal(name).size(), kWidest));
  }
  auto verdicts = examineEach(*names, options, colored);
  std::ranges::stable_sort(verdicts, std::ranges::greater(), &Verdict::worst);
  return tell(verdicts);
}

int runDoctor(const DoctorOptions& options) {
  const bool colored = wantsColor(options.coloring);
  if (options.all) return examineAll(options, colored);
  if (options.queues.size() == 1) return tell({examine(options.queues[0], options, colored)});
  return tell(examineEach(options.queues, options, colored));
}

Result<> agree(const DoctorOptions& options) {
  if (options.all != options.queues.empty()) return misuse("name queues, or give --all");
  return {};
}

}  // namespace

Command doctorCommand() {
  const auto options = std::make_shared<DoctorOptions>();
  return {
      .name = kCommand,
      .usage =
          "moxsupply doctor QUEUE... [--color auto|always|never]\n"
          "       moxsupply doctor --all [--color auto|always|never]",
      .about =
          "Find out why a print queue shows no supply levels.\n"
          "\n"
          "Goes through what can be wrong between the queue and its printer, asks the printer "
          "directly\n"
          "and through the queue, names each fault and the command that mends it. Changes "
          "nothing. With\n"
          "--all: every queue of the print server, a line each, the worst first.",
      .footer =
          "Exit status: 0 there is nothing to mend; 1 there is a fault; 2 the arguments are wrong, "
          "or\n"
          "there is no such queue.\n",
      .options = {texts("QUEUE", options->queues, " ", "names of print queues"),
                  flag("--all", options->all, "all queues of the print server"),
                  coloring(options->coloring)},
      .agree = [options] { return agree(*options); },
      .run =
          [options] {
            speakTheReadersLanguage();
            return runDoctor(*options);
          },
  };
}

}  // namespace moxsupply
