#pragma once

#include <chrono>
#include <string>

#include "queue/PrintServer.h"
#include "text/Problem.h"

namespace moxsupply {

// The command, which is its job's title as well.
constexpr const char* kReportLevels = "ReportLevels";

struct SubmittedReport {
  int id = 0;  // of its job
  bool isOurs = true;
};

// Submits a report, which the print server cancels when it is not done after so long. One that is
// already waiting is taken for ours, so that they do not pile up before a printer that is switched
// off; one that was stopped is taken back, where that is allowed.
[[nodiscard]] Result<SubmittedReport> submitReport(PrintServer& server, const std::string& queue,
                                                   std::chrono::seconds cancelAfter);

// Has a queue's command filter report once, as `submitReport` does, and waits for the end of the
// job, which it returns; the print server's list of jobs has it no longer, unless it has failed.
// Shows on the terminal what is being waited for; `deadline` bounds the whole.
[[nodiscard]] Result<PrintJob> report(PrintServer& server, const std::string& queue,
                                      std::chrono::seconds deadline);

// What one report brought.
struct Refreshed {
  PrintQueue queue;      // as it is afterwards
  bool wasHeld = false;  // the printer answered, but kept the job until it was cancelled
};

// Has a queue's command filter ask the printer once, as `report` does.
[[nodiscard]] Result<Refreshed> refresh(PrintServer& server, const std::string& queue,
                                        std::chrono::seconds deadline);

// Takes the reports of others that have ended well out of the print server's list of jobs, where
// they would push the jobs of people out. Takes the rights of an administrator.
[[nodiscard]] Result<> purgeReports(PrintServer& server, const std::string& queue);

}  // namespace moxsupply
