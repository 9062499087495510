#pragma once

#include <cups/cups.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/Problem.h"

namespace moxsupply {

// A print queue as the print server describes it.
struct PrintQueue {
  std::string name;
  std::string deviceUri;
  bool takesCommands = false;  // a command filter is there to take command files
  bool isStopped = false;
  bool acceptsJobs = true;
  std::vector<std::string> stateReasons;
  std::string stateMessage;

  std::vector<std::string> markerNames;
  std::vector<std::string> markerTypes;
  std::vector<std::string> markerColors;
  std::vector<int> markerLevels;
  std::string markerMessage;
};

struct PrintJob {
  int id = 0;
  ipp_jstate_t state = IPP_JSTATE_PENDING;
  std::string message;  // the print server's words on its state

  [[nodiscard]] bool isOver() const { return state >= IPP_JSTATE_STOPPED; }
};

// A connection to the print server: the one of CUPS_SERVER or client.conf, or of this machine. No
// call waits longer than ten seconds.
class PrintServer {
 public:
  static Result<PrintServer> connect();

  // The queue, or why there is no such.
  Result<PrintQueue> queue(const std::string& name);

  // The queue's PPD file as text; nothing when it has none, being a raw queue.
  std::optional<std::string> ppd(const std::string& name);

  // Gives the queue another PPD file; needs the rights of an administrator. Nothing on success.
  std::optional<Problem> setPpd(const std::string& name, const std::string& ppd);

  // Submits a command file with one command. Returns the job's number.
  Result<int> submitCommand(const std::string& queue, const std::string& command);

  // The queue's jobs with this title that are not over.
  std::vector<PrintJob> unfinishedJobs(const std::string& queue, const std::string& title);

  Result<PrintJob> job(const std::string& queue, int id);

  std::optional<Problem> cancelJob(const std::string& queue, int id);

 private:
  struct Close {
    void operator()(http_t* http) const { httpClose(http); }
  };

  explicit PrintServer(http_t* http) : mHttp(http) {}

  std::unique_ptr<http_t, Close> mHttp;
};

}  // namespace moxsupply
