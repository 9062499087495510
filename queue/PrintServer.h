#pragma once

#include <cups/cups.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "text/Problem.h"

namespace moxsupply {

// A print queue as the print server describes it.
struct PrintQueue {
  std::string name;
  std::string deviceUri;
  bool takesCommands = false;  // a command filter is there to take command files
  bool isStopped = false;
  bool acceptsJobs = true;
  std::vector<std::string> stateReasons;

  std::vector<std::string> markerNames;
  std::vector<std::string> markerTypes;
  std::vector<std::string> markerColors;
  std::vector<int> markerLevels;
  std::string markerMessage;
  std::optional<std::chrono::sys_seconds> markersChanged;  // none: there never were any

  [[nodiscard]] bool hasReason(std::string_view reason) const;
};

struct PrintJob {
  int id = 0;
  std::string title;
  ipp_jstate_t state = IPP_JSTATE_PENDING;

  [[nodiscard]] bool isOver() const { return state > IPP_JSTATE_STOPPED; }
  [[nodiscard]] bool isStuck() const { return state == IPP_JSTATE_STOPPED; }
};

// A connection to the print server: the one of CUPS_SERVER or client.conf, or of this machine. No
// call waits longer than ten seconds for an answer, but asking people for a password takes what it
// takes.
class PrintServer {
 public:
  [[nodiscard]] static Result<PrintServer> connect();

  // The queue, or why there is none.
  [[nodiscard]] Result<PrintQueue> queue(const std::string& name);

  // The names of all queues that take commands.
  [[nodiscard]] Result<std::vector<std::string>> queuesThatTakeCommands();

  // The queue's PPD file as text; empty for a raw queue, which has none.
  [[nodiscard]] Result<std::string> ppd(const std::string& queue);

  // Gives the queue another PPD file; needs the rights of an administrator.
  [[nodiscard]] Result<> setPpd(const std::string& queue, const std::string& ppd);

  // Submits a command file with one command, which the print server cancels when it is not done
  // after so long. Returns the job's number.
  [[nodiscard]] Result<int> submitCommand(const std::string& queue, const std::string& command,
                                          std::chrono::seconds cancelAfter);

  // The queue's jobs that are not over.
  [[nodiscard]] Result<std::vector<PrintJob>> unfinishedJobs(const std::string& queue);

  [[nodiscard]] Result<PrintJob> job(const std::string& queue, int id);

  // Cancels a job as the user whose job it is.
  [[nodiscard]] Result<> cancelJob(const std::string& queue, int id, const std::string& user);

 private:
  struct Close {
    void operator()(http_t* http) const { httpClose(http); }
  };

  explicit PrintServer(http_t* http) : mHttp(http) {}

  std::unique_ptr<http_t, Close> mHttp;
};

}  // namespace moxsupply
