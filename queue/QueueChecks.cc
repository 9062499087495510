#include "queue/QueueChecks.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <string_view>

#include "links/DeviceUri.h"
#include "queue/EnabledQueues.h"
#include "queue/PpdEdit.h"
#include "queue/PpdFile.h"
#include "queue/QueueSettings.h"
#include "queue/QueueSupplies.h"
#include "renderings/MarkerAttributes.h"
#include "renderings/StateReasons.h"
#include "renderings/SupplyTable.h"
#include "supplies/Words.h"
#include "text/ShellWord.h"
#include "text/TerminalText.h"
#include "text/Translated.h"

namespace moxsupply {

namespace {

Finding good(std::string what) { return {.what = std::move(what)}; }

// What a command mends.
Finding mendedBy(std::string command, Weight weight, std::string what) {
  return {.weight = weight, .what = std::move(what), .command = std::move(command)};
}

// What `moxsupply enable` mends.
Finding notEnabled(const PrintQueue& queue, std::string what) {
  return {.weight = Weight::kNoLevels,
          .what = std::move(what),
          .remedy = {.kind = Remedy::Kind::kEnableQueue, .subject = queue.name}};
}

Finding checkDriver(const OpenQueue& open) {
  const auto driver = hasDriver(open);
  if (driver) return good(translated("the queue has a driver (PPD file)"));
  return {.weight = Weight::kNoLevels,
          .what = driver.error().what,
          .advice = driver.error().advice,
          .command = driver.error().command};
}

std::string_view schemeOf(const std::string& uri) {
  return std::string_view(uri).substr(0, uri.find(':'));
}

Finding checkTransport(const PrintQueue& queue) {
  const std::string link = forTerminal(linkOf(queue.deviceUri));
  if (bringsAnswersBack(queue.deviceUri)) {
    return good(translated("{} brings the printer's answers back", link));
  }
  return {.weight = Weight::kNoLevels,
          .what = translated("{} brings no answers back from the printer", link),
          .advice = translated(kOtherLinks)};
}

// What `moxsupply enable` did is remembered; a driver update may have undone it. Nothing when that
// is not so.
std::optional<Finding> checkMemory(const OpenQueue& open) {
  const PrintQueue& queue = open.queue;
  if (hasSupplyReports(open.ppd)) return std::nullopt;
  const auto enabled = enabledQueues();
  if (!enabled) {
    return Finding{
        .weight = Weight::kCostly, .what = enabled.error().what, .advice = enabled.error().advice};
  }
  const auto remembered = enabled->find(queue.name);
  if (remembered == enabled->end()) return std::nullopt;
  Finding finding =
      notEnabled(queue, translated("the queue was set up for its levels, and another "
                                   "driver, or an update of its driver, has taken that "
                                   "away"));
  finding.remedy.type = typedKind(remembered->second.kind);
  if (remembered->second.low != kLowLevel) finding.remedy.lowLevel = remembered->second.low;
  finding.remedy.afterJobs = remembered->second.afterJobs;
  return finding;
}

Finding checkCommandFilter(const OpenQueue& open, const PpdFile& ppd) {
  const PrintQueue& queue = open.queue;
  const std::string program = ppd.commandFilter();
  if (program == kCommandFilter && ppd.value("moxForget")) {
    return notEnabled(queue, translated("the queue forgets its levels when it is to report them: a "
                                        "`moxsupply disable` of it was interrupted"));
  }
  if (program == kCommandFilter) {
    return good(translated("the command filter commandtomox is on the queue"));
  }
  if (auto gone = checkMemory(open)) return *std::move(gone);
  if (ppd.hidesCommandFilter(std::string(kCommandFilter))) {
    return notEnabled(queue,
                      translated("the command filter is on a cupsFilter line of the driver, which "
                                 "its cupsFilter2 lines hide"));
  }
  if (!program.empty()) {
    return notEnabled(queue,
                      translated("the queue's command filter is {}, which cannot ask this printer",
                                 forTerminal(program)));
  }
  return notEnabled(queue, translated("no command filter is on the queue"));
}

Finding checkCommands(const PrintQueue& queue, const PpdFile& ppd) {
  const std::string commands = ppd.value("cupsCommands").value_or("");
  if (commands.find("ReportLevels") != std::string::npos) {
    return good(translated("the queue takes the command ReportLevels"));
  }
  return notEnabled(
      queue,
      translated("the driver does not say that the queue takes ReportLevels (cupsCommands)"));
}

Finding checkSettings(const PrintQueue& queue, const PpdFile& ppd) {
  const auto settings = queueSettings(ppd, "", queue.deviceUri);
  if (!settings) return notEnabled(queue, forTerminal(settings.error().what));
  return good(translated("it is asked as a printer of the type {}", wordOf(settings->kind)));
}

Finding checkSnmp(const PrintQueue& queue, const PpdFile& ppd) {
  const bool isOff = ppd.value("cupsSNMPSupplies") == "False" ||
                     queue.deviceUri.find("snmp=false") != std::string::npos ||
                     schemeOf(queue.deviceUri) == "usb";
  if (isOff) return good(translated("the print server does not ask over SNMP"));
  return mendedBy(
      asAdministrator("lpadmin -p {} -o cupsSNMPSupplies=false", queue.name), Weight::kNoLevels,
      translated("the print server asks the printer over SNMP, too: that overwrites the levels, or "
                 "costs every job four seconds"));
}

// Why the print server would not trust a file, as an end of a sentence.
std::optional<std::string> whyNotTrusted(const struct stat& status) {
  // Translators: these four stand in "{} {}; the print server does not run it".
  if (status.st_uid != 0) return translated("does not belong to root");
  if ((status.st_mode & S_IWGRP) != 0) return translated("can be written by its group");
  if ((status.st_mode & S_IWOTH) != 0) return translated("can be written by everyone");
  if ((status.st_mode & S_ISUID) != 0) return translated("has the set-user-ID bit");
  return std::nullopt;
}

// The URI with the option that lets the CUPS backend go once everything is sent.
std::string withoutWaiting(const std::string& uri) {
  const bool hasOptions = uri.find('?') != std::string::npos;
  const bool hasPath = uri.find('/', uri.find("://") + 3) != std::string::npos;
  return fmt::format("{}{}{}waiteof=false", uri, hasPath ? "" : "/", hasOptions ? "&" : "?");
}

}  // namespace

Finding checkService(const PrintQueue& queue) {
  if (queue.isStopped) {
    return mendedBy(asAdministrator("cupsenable {}", queue.name), Weight::kNoPrinting,
                    translated("the queue is stopped"));
  }
  if (!queue.acceptsJobs) {
    return mendedBy(asAdministrator("cupsaccept {}", queue.name), Weight::kNoPrinting,
                    translated("the queue takes no jobs"));
  }
  return good(translated("the queue is in service"));
}

std::vector<Finding> checkQueue(const OpenQueue& open) {
  const PrintQueue& queue = open.queue;
  std::vector<Finding> findings = {checkDriver(open), checkTransport(queue)};
  const auto parsed = PpdFile::fromText(open.ppd);
  if (findings.front().isGood() && !parsed) {
    findings.front() = mendedBy(
        fmt::format("sudo cupstestppd {}", shellWord("/etc/cups/ppd/" + queue.name + ".ppd")),
        Weight::kNoLevels, translated("the queue's driver (PPD file) cannot be read"));
  }
  if (parsed) findings.push_back(checkCommandFilter(open, *parsed));
  // What puts the filter on the queue sees to these as well.
  if (parsed && findings.back().isGood()) {
    findings.push_back(checkCommands(queue, *parsed));
    findings.push_back(checkSettings(queue, *parsed));
    findings.push_back(checkSnmp(queue, *parsed));
  }
  findings.push_back(checkService(queue));
  return findings;
}

Finding checkFilterProgram(const std::string& folder) {
  const std::string program = fmt::format("{}/{}", folder, kCommandFilter);
  for (const std::string& path : {folder, program}) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
      return {.weight = Weight::kNoLevels,
              .what = fmt::format("{}: {}", forTerminal(path), std::strerror(errno)),
              .advice = translated("Install moxsupply's package again.")};
    }
    if (const auto why = whyNotTrusted(status)) {
      return mendedBy(
          fmt::format("sudo chown root:root {0} && sudo chmod 755 {0}", shellWord(path)),
          Weight::kNoLevels,
          translated("{} {}; the print server does not run it", forTerminal(path), *why));
    }
    if ((status.st_mode & S_IXOTH) == 0) {
      return mendedBy(fmt::format("sudo chmod 755 {}", shellWord(path)), Weight::kNoLevels,
                      translated("{} cannot be run by the print server's user", forTerminal(path)));
    }
  }
  return good(translated("the print server may run {}", forTerminal(program)));
}

std::string remarkOnOldLevels(const PrintQueue& queue) {
  const bool showsAny =
      std::ranges::any_of(queue.markerLevels, [](int level) { return level != kNoCartridge; });
  return showsAny ? translated("The levels that the queue shows are those of its last report.")
                  : "";
}

std::optional<Finding> checkKernel(const ConfinementMeans& means) {
  if (means.areComplete()) return std::nullopt;
  if (means.hasSeccomp) {
    return good("the kernel has no Landlock; seccomp alone keeps queries from files");
  }
  return Finding{
      .weight = Weight::kCostly,
      .what = fmt::format("the kernel has {}",
                          means.hasLandlock ? "no seccomp" : "neither seccomp nor Landlock"),
      .advice = "What a printer sends is decoded by a process that may do more than that."};
}

Finding checkReport(const Result<Refreshed>& report) {
  if (!report) {
    return {.weight = Weight::kNoLevels,
            .what = report.error().what,
            .advice = report.error().advice,
            .remedy = report.error().remedy};
  }
  const auto& [queue, wasHeld] = *report;
  if (queue.hasReason(kDoesNotAnswer)) {
    return {.weight = Weight::kNoLevels,
            .what = translated("the printer gave no levels when the queue asked it"),
            .advice = remarkOnOldLevels(queue)};
  }
  if (wasHeld) {
    return mendedBy(
        fmt::format("{} -v {}", asAdministrator("lpadmin -p {}", queue.name),
                    shellWord(withoutWaiting(shownUri(queue.deviceUri)))),
        Weight::kCostly,
        translated("the printer answers, but does not hang up, and holds every job for up to 90 "
                   "seconds"));
  }
  if (queue.markerNames.empty() && saysThatNoLevelsAreTold(queue.markerMessage)) {
    return {.weight = Weight::kNoLevels,
            .what = translated("the printer answers, but tells no levels")};
  }
  if (queue.markerNames.empty()) {
    return {.weight = Weight::kNoLevels,
            .what = translated("the printer answers, but reports no supplies")};
  }
  const Supplies supplies = suppliesOf(queue);
  const Measure measure = measureOf(enabledQueues().value_or(EnabledQueues()), queue.name);
  const std::size_t count = supplies.list.size();
  std::string what = translatedCount(count, "the printer reports {} supply",
                                     "the printer reports {} supplies", count);
  const std::string needs = needsInWords(supplies, measure);
  return good(needs.empty() ? what : fmt::format("{}: {}", what, needs));
}

}  // namespace moxsupply
