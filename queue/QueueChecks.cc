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
#include "queue/PpdFile.h"
#include "queue/QueueSettings.h"
#include "renderings/StateReasons.h"
#include "supplies/Words.h"
#include "text/ShellWord.h"
#include "text/TerminalText.h"

namespace moxsupply {

namespace {

Finding good(std::string what) { return {true, std::move(what), {}, {}}; }
Finding bad(std::string what, std::string advice) {
  return {false, std::move(what), std::move(advice), {}};
}

// What `moxsupply enable` mends.
Finding notEnabled(const PrintQueue& queue, std::string what) {
  return {false, std::move(what), {}, {Remedy::Kind::kEnableQueue, queue.name}};
}

std::string_view schemeOf(const std::string& uri) {
  return std::string_view(uri).substr(0, uri.find(':'));
}

Finding checkTransport(const PrintQueue& queue) {
  const std::string link = forTerminal(linkOf(queue.deviceUri));
  if (bringsAnswersBack(queue.deviceUri)) {
    return good(fmt::format("{} brings the printer's answers back", link));
  }
  return bad(fmt::format("{} brings no answers back from the printer", link),
             fmt::format("Reach it over usb, socket, dnssd or mdns, for example: lpadmin -p {} -v "
                         "socket://HOST",
                         shellWord(queue.name)));
}

Finding checkCommandFilter(const PrintQueue& queue, const PpdFile& ppd) {
  const std::string program = ppd.commandFilter();
  if (program == kCommandFilter) return good("the command filter commandtomox is on the queue");
  if (ppd.hidesCommandFilter(std::string(kCommandFilter))) {
    return notEnabled(queue,
                      "the command filter is on a cupsFilter line of the driver, which its "
                      "cupsFilter2 lines hide");
  }
  if (!program.empty()) {
    return notEnabled(queue,
                      fmt::format("the queue's command filter is {}, which cannot ask this printer",
                                  forTerminal(program)));
  }
  return notEnabled(queue, "no command filter is on the queue");
}

Finding checkCommands(const PrintQueue& queue, const PpdFile& ppd) {
  const std::string commands = ppd.value("cupsCommands").value_or("");
  if (commands.find("ReportLevels") != std::string::npos) {
    return good("the queue takes the command ReportLevels");
  }
  return notEnabled(queue,
                    "the driver does not say that the queue takes ReportLevels (cupsCommands)");
}

Finding checkPrinterType(const PrintQueue& queue, const PpdFile& ppd) {
  const auto type = ppd.value("moxPrinterType");
  const auto known = type ? printerKindOf(*type) : std::nullopt;
  if (known) return good(fmt::format("it is asked as a printer of the type {}", wordOf(*known)));
  return notEnabled(
      queue, "the driver does not say whether it is a laser or an inkjet printer (moxPrinterType)");
}

Finding checkSnmp(const PrintQueue& queue, const PpdFile& ppd) {
  const bool isOff = ppd.value("cupsSNMPSupplies") == "False" ||
                     queue.deviceUri.find("snmp=false") != std::string::npos ||
                     schemeOf(queue.deviceUri) == "usb";
  if (isOff) return good("the print server does not ask over SNMP");
  return bad(
      "the print server asks the printer over SNMP, too: that overwrites the levels, or costs "
      "every "
      "job four seconds",
      fmt::format("lpadmin -p {} -o cupsSNMPSupplies=false", shellWord(queue.name)));
}

Finding checkService(const PrintQueue& queue) {
  const std::string name = shellWord(queue.name);
  if (queue.isStopped) return bad("the queue is stopped", fmt::format("cupsenable {}", name));
  if (!queue.acceptsJobs) return bad("the queue takes no jobs", fmt::format("cupsaccept {}", name));
  return good("the queue is in service");
}

// Why the print server would not trust a file, as an end of a sentence.
std::optional<std::string> whyNotTrusted(const struct stat& status) {
  if (status.st_uid != 0) return "does not belong to root";
  if ((status.st_mode & S_IWGRP) != 0) return "can be written by its group";
  if ((status.st_mode & S_IWOTH) != 0) return "can be written by everyone";
  if ((status.st_mode & S_ISUID) != 0) return "has the set-user-ID bit";
  return std::nullopt;
}

// The URI with the option that lets the CUPS backend go once everything is sent.
std::string withoutWaiting(const std::string& uri) {
  const bool hasOptions = uri.find('?') != std::string::npos;
  const bool hasPath = uri.find('/', uri.find("://") + 3) != std::string::npos;
  return fmt::format("{}{}{}waiteof=false", uri, hasPath ? "" : "/", hasOptions ? "&" : "?");
}

}  // namespace

std::vector<Finding> checkQueue(const OpenQueue& open) {
  const PrintQueue& queue = open.queue;
  if (const auto driver = hasDriver(open); !driver) {
    return {bad(driver.error().what, driver.error().advice)};
  }
  const auto parsed = PpdFile::fromText(open.ppd);
  if (!parsed) {
    return {bad("the queue's driver (PPD file) cannot be read",
                fmt::format("cupstestppd {}", shellWord("/etc/cups/ppd/" + queue.name + ".ppd")))};
  }
  std::vector<Finding> findings = {good("the queue has a driver (PPD file)"), checkTransport(queue),
                                   checkCommandFilter(queue, *parsed)};
  // What puts the filter on the queue sees to these as well.
  if (findings.back().isGood) {
    findings.push_back(checkCommands(queue, *parsed));
    findings.push_back(checkPrinterType(queue, *parsed));
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
      return bad(fmt::format("{}: {}", forTerminal(path), std::strerror(errno)),
                 "Install moxsupply's package again.");
    }
    if (const auto why = whyNotTrusted(status)) {
      return bad(fmt::format("{} {}; the print server does not run it", forTerminal(path), *why),
                 fmt::format("chown root:root {0} && chmod 755 {0}", shellWord(path)));
    }
    if ((status.st_mode & S_IXOTH) == 0) {
      return bad(fmt::format("{} cannot be run by the print server's user", forTerminal(path)),
                 fmt::format("chmod 755 {}", shellWord(path)));
    }
  }
  return good(fmt::format("the print server may run {}", forTerminal(program)));
}

Finding checkReport(const Result<Refreshed>& report) {
  if (!report) return bad(report.error().what, report.error().advice);
  const auto& [queue, wasHeld] = *report;
  if (queue.hasReason(kDoesNotAnswer)) {
    return bad(
        queue.markerMessage.empty() ? "the printer did not answer"
                                    : forTerminal(queue.markerMessage),
        fmt::format("Switch the printer on and wake it. `moxsupply levels {}` asks it "
                    "without the queue, and tells whether it is a laser or an inkjet printer",
                    shellWord(shownUri(queue.deviceUri))));
  }
  if (wasHeld) {
    return bad(
        "the printer answers, but does not hang up, and holds every job for up to 90 seconds",
        fmt::format("lpadmin -p {} -v {}", shellWord(queue.name),
                    shellWord(withoutWaiting(shownUri(queue.deviceUri)))));
  }
  if (queue.markerNames.empty()) return bad("the printer answers, but reports no supplies", {});
  return good(fmt::format("the printer reports {} {}", queue.markerNames.size(),
                          queue.markerNames.size() == 1 ? "supply" : "supplies"));
}

}  // namespace moxsupply
