#include "queue/Diagnosis.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <optional>

#include "links/AskedApart.h"
#include "links/DeviceUri.h"
#include "queue/PpdEdit.h"
#include "queue/PpdFile.h"
#include "queue/QueueSettings.h"
#include "queue/Refresh.h"
#include "queue/Subscription.h"
#include "renderings/StateReasons.h"
#include "text/HarmlessText.h"
#include "text/ShellWord.h"
#include "text/TerminalText.h"
#include "text/Translated.h"

namespace moxsupply {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// How the queue asks its printer, as far as it is said.
struct Known {
  std::optional<PrinterKind> kind;
  std::uint32_t timeout = PpdSettings().timeout;    // seconds
  std::uint32_t deadline = PpdSettings().deadline;  // seconds
  int lowLevel = kLowLevel;                         // percent
  bool afterJobs = true;                            // it is asked again after print jobs

  // When the command filter gives the query up, to have the time to say so.
  [[nodiscard]] milliseconds queryTime() const {
    const milliseconds all = seconds(deadline);
    return all - std::min<milliseconds>(seconds(2), all / 2);
  }
};

Known knownOf(const OpenQueue& open) {
  const auto ppd = PpdFile::fromText(open.ppd);
  if (!ppd) return {};
  const auto settings = queueSettings(*ppd, "", open.queue.deviceUri);
  if (!settings) return {};
  return {settings->kind, settings->timeout, settings->deadline, settings->lowLevel,
          !hasSupplyReports(open.ppd) || asksAfterJobs(open.ppd)};
}

Finding good(std::string what) { return {.what = std::move(what)}; }

bool areGood(const std::vector<Finding>& findings) {
  return std::ranges::all_of(findings, &Finding::isGood);
}

// Setting the queue up anew; what was set otherwise than usual stays, unless it is changed.
Remedy enabling(const PrintQueue& queue, const Known& known, PrinterKind kind) {
  const PpdSettings usual;
  return {.kind = Remedy::Kind::kEnableQueue,
          .subject = queue.name,
          .type = typedKind(kind),
          .timeout = known.timeout == usual.timeout ? 0 : known.timeout,
          .deadline = known.deadline == usual.deadline ? 0 : known.deadline,
          .lowLevel = known.lowLevel == usual.lowLevel ? 0 : known.lowLevel,
          .afterJobs = known.afterJobs};
}

// `kind`: none asks as both, and waits for a printer that is asleep.
Asked ask(const DeviceUri& uri, std::optional<PrinterKind> kind, std::uint32_t timeout) {
  constexpr seconds kForConnection(10);
  constexpr seconds kForAll(100);  // while the printer is sending
  constexpr seconds kToWake(21);
  const auto now = std::chrono::steady_clock::now();
  const bool isCable = uri.transport() == "usb";
  return askApart({.uri = uri,
                   .kind = kind,
                   .timeout = timeout,
                   .deadline = now + (isCable ? kForConnection : kForAll),
                   .throughBackend = false,
                   .connectionDeadline = now + kForConnection,
                   .timeToWake = kind ? seconds(0) : kToWake});
}

// Whether a printer that gave this answer may give another one when it is asked as the other kind.
bool mayBeOfOtherKind(const Asked& asked) {
  return asked.outcome == Outcome::kNothingReceived || asked.outcome == Outcome::kUndecodable ||
         asked.outcome == Outcome::kReadError;
}

// As its kind is said to be, and then as both.
Asked ask(const DeviceUri& uri, const Known& known) {
  constexpr std::uint32_t kLongest = 15;
  const std::uint32_t usual = PpdSettings().timeout;
  if (!known.kind) return ask(uri, std::nullopt, usual);
  Asked asked = ask(uri, known.kind, std::clamp(known.timeout, usual, kLongest));
  if (!mayBeOfOtherKind(asked)) return asked;
  Asked other = ask(uri, std::nullopt, 1);
  other.wasHeard = other.wasHeard || asked.wasHeard;
  return other.kind || asked.outcome == Outcome::kNothingReceived ? other : asked;
}

// When the command filter gives up a printer from which nothing has come.
seconds silenceOf(const Known& known) { return seconds(4) * known.timeout; }

// The job that the printer is at work on, unless it cannot be reached for it.
std::optional<PrintJob> jobOnPrinter(OpenQueue& open) {
  const auto jobs = open.server.unfinishedJobs(open.queue.name);
  const auto now = open.server.queue(open.queue.name);
  if (!jobs || !now) return std::nullopt;
  if (now->hasReason("connecting-to-device") || now->hasReason("offline-report")) {
    return std::nullopt;
  }
  const auto atWork = std::ranges::find_if(*jobs, [](const PrintJob& job) {
    return job.state == IPP_JSTATE_PROCESSING && job.title != kReportLevels;
  });
  return atWork == jobs->end() ? std::nullopt : std::optional(*atWork);
}

Finding isPrinting(const PrintJob& job) {
  constexpr std::size_t kLongest = 60;
  std::string name = translated("job {}", job.id);
  if (!job.title.empty()) {
    name += translated(", \"{}\"", forTerminal(harmlessLine(job.title, kLongest)));
  }
  if (!job.user.empty()) {
    name += translated(", of {}", forTerminal(harmlessLine(job.user, kLongest)));
  }
  return good(translated("the printer is at work on {}; it was not asked now", name));
}

Finding slowPrinter(const PrintQueue& queue, const Known& known, PrinterKind kind,
                    std::optional<milliseconds> time) {
  constexpr std::uint32_t kForVerySlow = 300;
  const auto taken = time ? std::chrono::ceil<seconds>(*time).count() : 0;
  Finding finding;
  finding.weight = Weight::kNoLevels;
  finding.remedy = enabling(queue, known, kind);
  const auto patience = std::chrono::round<seconds>(known.queryTime()).count();
  finding.what =
      time ? translated(
                 "the printer sends its answer slowly: it takes {} seconds, and the queue "
                 "gives up after {}",
                 taken, patience)
           : translated(
                 "the printer sends its answer slowly: it was not done after 100 seconds, "
                 "and the queue gives up after {}",
                 patience);
  // With as much time again, rounded up.
  const auto wanted = time ? static_cast<std::uint32_t>((2 * taken + 14) / 10 * 10) : kForVerySlow;
  finding.remedy.deadline = wanted <= PpdSettings().deadline ? 0 : wanted;
  return finding;
}

// Why a printer that was asked gave nothing; nothing when that is not known.
std::optional<Finding> whyNoAnswer(const PrintQueue& queue, const DeviceUri& uri,
                                   const Known& known, const Asked& asked) {
  constexpr milliseconds kAtOnce(900);  // no read waits so shortly
  Finding finding = {.weight = Weight::kNoLevels, .what = asked.what, .advice = asked.advice};
  const Remedy aboutPrinter = {.subject = shownUri(uri.text),
                               .type = known.kind ? typedKind(*known.kind) : std::string_view()};
  switch (asked.outcome) {
    case Outcome::kUnreachable:
      finding.weight = Weight::kNoPrinting;
      if (uri.scheme == "usb") {
        finding.what = translated("no device is there as {}", forTerminal(shownUri(uri.text)));
        finding.advice += ' ' + translated("Is the printer switched on, and its cable plugged in?");
      }
      finding.advice += '\n' + translated("These printers are there:");
      finding.command = "sudo /usr/sbin/lpinfo -v";
      break;
    case Outcome::kDeadline:
      finding = slowPrinter(queue, known, known.kind.value_or(PrinterKind::kLaser), std::nullopt);
      break;
    case Outcome::kNothingReceived:
    case Outcome::kWriteError:
      if (asked.wasHeard) {
        finding.what =
            translated("the printer answers, but with nothing that its supplies can be read from");
        finding.advice = translated(rowOf(Outcome::kUndecodable).advice);
        finding.remedy = aboutPrinter;
        finding.remedy.kind = Remedy::Kind::kRecordPrinter;
      } else if (asked.time < kAtOnce || asked.outcome == Outcome::kWriteError) {
        finding.what =
            translated("the printer takes the connection, and ends it without an answer");
        finding.advice = translated(rowOf(Outcome::kWriteError).advice);
        finding.remedy = {.kind = Remedy::Kind::kExamineQueue, .subject = queue.name};
      } else {
        finding.what = translated(
            "the printer takes the connection, and says nothing when it is asked as a laser or an "
            "inkjet printer");
        finding.remedy = aboutPrinter;
        finding.remedy.kind = Remedy::Kind::kAskPatiently;
      }
      break;
    case Outcome::kReadError:
      finding.remedy = {.kind = Remedy::Kind::kExamineQueue, .subject = queue.name};
      break;
    case Outcome::kUndecodable:
      finding.remedy = aboutPrinter;
      finding.remedy.kind = Remedy::Kind::kRecordPrinter;
      break;
    case Outcome::kNotAsked:  // somebody else may: most CUPS backends only root runs
      return std::nullopt;
    case Outcome::kSuccess:
    case Outcome::kInternal:
      break;
  }
  if (const std::string remark = remarkOnOldLevels(queue); !remark.empty()) {
    finding.advice = finding.advice.empty() ? remark : fmt::format("{} {}", remark, finding.advice);
  }
  return finding;
}

Finding ofAnswer(const PrintQueue& queue, const Known& known, PrinterKind kind, milliseconds time) {
  if (known.kind && kind != *known.kind) {
    return {.weight = Weight::kNoLevels,
            .what = translated("the queue asks it as {} printer, and it is {} printer",
                               withArticle(*known.kind), withArticle(kind)),
            .remedy = enabling(queue, known, kind)};
  }
  // (A type that was found out took longer than one that is asked for.)
  if (known.kind && time >= known.queryTime()) return slowPrinter(queue, known, kind, time);
  return good(translated("asked directly, it answers as {} printer", withArticle(kind)));
}

// Whoever sets the queue up needs the printer's kind, which is known now.
void nameKind(std::vector<Finding>& findings, const PrintQueue& queue, PrinterKind kind) {
  for (Finding& finding : findings) {
    if (finding.remedy.kind == Remedy::Kind::kEnableQueue) finding.remedy.type = typedKind(kind);
    if (finding.command == passThroughCommand(queue.name, typedKind(PrinterKind::kLaser))) {
      finding.command = passThroughCommand(queue.name, typedKind(kind));
      finding.advice.clear();
    }
  }
}

// Returns what the printer said.
std::optional<Asked> checkPrinter(const OpenQueue& open, std::vector<Finding>& findings) {
  const PrintQueue& queue = open.queue;
  const auto uri = parseDeviceUri(queue.deviceUri);
  if (!uri) {
    findings.push_back({.weight = Weight::kNoPrinting, .what = uri.error().what});
    return std::nullopt;
  }
  const Known known = knownOf(open);
  Asked asked = ask(*uri, known);
  if (asked.kind) {
    findings.push_back(ofAnswer(queue, known, *asked.kind, asked.time));
    nameKind(findings, queue, *asked.kind);
  } else if (auto why = whyNoAnswer(queue, *uri, known, asked)) {
    findings.push_back(*std::move(why));
  }
  return asked;
}

// Whether a printer whose queue brings no answers back gives them over a connection of its own.
void checkOtherWay(const OpenQueue& open, std::vector<Finding>& findings) {
  const auto uri = parseDeviceUri(open.queue.deviceUri);
  if (!uri || uri->host.empty()) return;
  const bool isNumericV6 = uri->host.find(':') != std::string::npos;
  const std::string host = isNumericV6 ? fmt::format("[{}]", uri->host) : uri->host;
  const auto other = parseDeviceUri("socket://" + host);
  if (!other) return;
  const Asked asked = ask(*other, knownOf(open));
  if (!asked.kind) return;
  const auto link = std::ranges::find(findings, translated(kOtherLinks), &Finding::advice);
  if (link == findings.end()) return;
  link->advice = translated("Over {} it does.", forTerminal(other->text));
  link->command = fmt::format("{} -v {}", asAdministrator("lpadmin -p {}", open.queue.name),
                              shellWord(other->text));
  nameKind(findings, open.queue, *asked.kind);
}

// The queue's own way to its printer, once all the rest is right.
Finding checkThroughQueue(OpenQueue& open, const std::optional<Asked>& asked) {
  const Known known = knownOf(open);
  const seconds patience = std::max(seconds(60), seconds(known.deadline) + seconds(15));
  const auto report = refresh(open.server, open.queue.name, patience);
  if (!report) {
    if (const auto job = jobOnPrinter(open)) return isPrinting(*job);
  }
  Finding finding = checkReport(report);
  const bool isSilent = report && report->queue.hasReason(kDoesNotAnswer);
  if (!isSilent) return finding;
  const PpdSettings usual;
  const bool hasAnswered = asked && asked->kind;
  if (hasAnswered && asked->time > silenceOf(known)) {
    const auto taken = std::chrono::ceil<seconds>(asked->time).count();
    finding.what = translated(
        "the printer takes {} seconds until it has answered, and the queue waits {} for its first "
        "word",
        taken, silenceOf(known).count());
    finding.remedy = enabling(open.queue, known, *asked->kind);
    finding.remedy.timeout = static_cast<std::uint32_t>(taken / 4 + 1);
  } else if (!hasAnswered) {
    finding.remedy = {.kind = Remedy::Kind::kAskPatiently,
                      .subject = shownUri(open.queue.deviceUri),
                      .type = known.kind ? typedKind(*known.kind) : std::string_view()};
  } else if (known.kind && (known.timeout < usual.timeout || known.deadline < usual.deadline)) {
    finding.what = translated(
        "the printer answers when it is asked directly, but not in the time that the queue gives "
        "it");
    Known withUsualTimes = known;
    withUsualTimes.timeout = usual.timeout;
    withUsualTimes.deadline = usual.deadline;
    finding.remedy = enabling(open.queue, withUsualTimes, *known.kind);
  } else {
    finding.what =
        translated("the printer answers when it is asked directly, but not when the queue asks it");
    finding.advice += finding.advice.empty() ? "" : " ";
    finding.advice += translated("Another job may have held it just then.");
    finding.remedy = {.kind = Remedy::Kind::kExamineQueue, .subject = open.queue.name};
  }
  return finding;
}

// Nothing where the print server tells of the queue's print jobs, or need not.
std::optional<Finding> checkAfterJobs(OpenQueue& open) {
  const Known known = knownOf(open);
  if (!asksAfterJobs(open.ppd) || !known.kind) return std::nullopt;
  const auto found = subscription(open.server);
  if (!found || *found != Subscription::kMissing) return std::nullopt;
  return Finding{.weight = Weight::kCostly,
                 .what = translated(
                     "the printer is not asked after print jobs: the print server does not tell of "
                     "their ends"),
                 .remedy = enabling(open.queue, known, *known.kind)};
}

Finding ofClass(const PrintQueue& queue) {
  std::vector<std::string> members;
  for (const std::string& member : queue.members) members.push_back(forTerminal(member));
  return good(
      translated("it is a class of queues, and shows no levels; each of these shows its own: {}",
                 fmt::format("{}", fmt::join(members, ", "))));
}

Finding ofIppQueue(const PrintQueue& queue) {
  const std::size_t count = queue.markerNames.size();
  if (count == 0) {
    return good(translated(
        "it prints over IPP: the print server itself fetches the levels with each job, if the "
        "printer tells them; it shows none yet"));
  }
  return good(translatedCount(
      count,
      "it prints over IPP: the print server itself fetches the levels with each job, and shows "
      "those of {} supply",
      "it prints over IPP: the print server itself fetches the levels with each job, and shows "
      "those of {} supplies",
      count));
}

}  // namespace

std::vector<Finding> diagnose(OpenQueue& open, const std::string& filterFolder) {
  const PrintQueue& queue = open.queue;
  if (!queue.members.empty()) return {checkService(queue), ofClass(queue)};
  if (printsOverIpp(queue.deviceUri)) return {checkService(queue), ofIppQueue(queue)};

  std::vector<Finding> findings = checkQueue(open);
  if (!filterFolder.empty()) {
    findings.push_back(checkFilterProgram(filterFolder));
    if (auto lacks = checkKernel(ConfinementMeans::ofThisKernel()))
      findings.push_back(*std::move(lacks));
  }
  if (const auto job = jobOnPrinter(open)) {
    findings.push_back(isPrinting(*job));
    return findings;
  }
  std::optional<Asked> asked;
  if (!filterFolder.empty()) {
    if (bringsAnswersBack(queue.deviceUri)) {
      asked = checkPrinter(open, findings);
    } else {
      checkOtherWay(open, findings);
    }
  }
  if (areGood(findings)) findings.push_back(checkThroughQueue(open, asked));
  if (auto untold = checkAfterJobs(open)) findings.push_back(*std::move(untold));
  return findings;
}

}  // namespace moxsupply
