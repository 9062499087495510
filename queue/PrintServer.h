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
  std::vector<std::string> members;  // of a class of queues: their names; of any other: none
  std::string location;
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

// Where this machine's print server, or the one of CUPS_SERVER, serves a queue.
[[nodiscard]] std::string queueUri(const std::string& queue);

struct PrintJob {
  int id = 0;
  std::string title = {};  // empty where the print server keeps it from us; so is the user
  std::string user = {};
  ipp_jstate_t state = IPP_JSTATE_PENDING;
  bool isCommandFile = false;
  bool hasReported = false;  // it was a report, and its filter came to the end of it

  [[nodiscard]] bool isComing() const {
    return state == IPP_JSTATE_PENDING || state == IPP_JSTATE_PROCESSING;
  }
  [[nodiscard]] bool isOver() const { return state > IPP_JSTATE_STOPPED; }
  [[nodiscard]] bool isStuck() const { return state == IPP_JSTATE_STOPPED; }
  [[nodiscard]] bool hasFailed() const { return isStuck() || state == IPP_JSTATE_ABORTED; }
};

// That the print server tells a notifier, a program of its own, of what happens.
struct PrintSubscription {
  int id = 0;
  std::string recipient;  // its notifier's name and a colon; empty where it is kept from us
};

// A connection to the print server: the one of CUPS_SERVER or client.conf, or of this machine. No
// call waits longer than ten seconds for an answer, but asking people for a password takes what it
// takes.
class PrintServer {
 public:
  [[nodiscard]] static Result<PrintServer> connect();

  // The queue, or why there is none.
  [[nodiscard]] Result<PrintQueue> queue(const std::string& name);

  // The device URI of a printer that was found on the network and goes by this name, as `lpstat -e`
  // shows it, and is no queue; empty when there is none.
  [[nodiscard]] std::string printerFoundAs(const std::string& name);

  // All queues that have a printer of their own, in the order of their names.
  [[nodiscard]] Result<std::vector<PrintQueue>> allQueues();

  // The names of all queues, classes among them.
  [[nodiscard]] Result<std::vector<std::string>> queues();

  // The names of all queues that have a printer of their own: of all but classes.
  [[nodiscard]] Result<std::vector<std::string>> queuesWithPrinter();

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

  // The queue's jobs that are not over, and those that are and still listed.
  [[nodiscard]] Result<std::vector<PrintJob>> unfinishedJobs(const std::string& queue);
  [[nodiscard]] Result<std::vector<PrintJob>> finishedJobs(const std::string& queue);

  // A job; a misuse where there is none of this number.
  [[nodiscard]] Result<PrintJob> job(const std::string& queue, int id);

  // Cancels a job as the user whose job it is.
  [[nodiscard]] Result<> cancelJob(const std::string& queue, int id, const std::string& user);

  // Takes a job that is over out of the list. Only its user and administrators may.
  [[nodiscard]] Result<> purgeJob(const std::string& queue, int id);

  // All subscriptions that are about no single job.
  [[nodiscard]] Result<std::vector<PrintSubscription>> subscriptions();

  // Subscribes to the ends of the jobs of all queues, for good.
  [[nodiscard]] Result<> subscribeToEndsOfJobs(const std::string& recipient);

  // Ends a subscription. Only its user and administrators may.
  [[nodiscard]] Result<> cancelSubscription(int id);

 private:
  [[nodiscard]] Result<std::vector<std::string>> queuesOf(int type, int mask);
  [[nodiscard]] Result<std::vector<PrintJob>> jobs(const std::string& queue, const char* which);

  struct Close {
    void operator()(http_t* http) const { httpClose(http); }
  };

  explicit PrintServer(http_t* http) : mHttp(http) {}

  std::unique_ptr<http_t, Close> mHttp;
};

}  // namespace moxsupply
