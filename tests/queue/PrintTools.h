#pragma once

#include <map>
#include <string>
#include <vector>

#include "tests/queue/PrivatePrintServer.h"

// A print server as people deal with it: through lpadmin, lp, lpstat, lpoptions and ipptool.
namespace moxsupply::testing {

using Values = std::vector<std::string>;

// The attributes of a queue or job; numbers as their digits, "true" and "false". One that is not
// there has no values.
class Attributes {
 public:
  // `plist`: an answer as `ipptool -X` shows it.
  explicit Attributes(const std::string& plist);

  const Values& operator[](const std::string& name) const;

 private:
  std::map<std::string, Values> mValues;
};

// Makes a queue with a driver, or gives it another; an empty `ppd` makes a raw one.
void addQueue(const PrivatePrintServer& server, const std::string& queue,
              const std::string& deviceUri, const std::string& ppd);

// What Get-Printer-Attributes says of a queue.
Attributes attributesOf(const PrivatePrintServer& server, const std::string& queue);

// Submits a command file with these lines. Returns the job's number. `options`: further arguments
// of lp.
int submit(const PrivatePrintServer& server, const std::string& queue, const std::string& commands,
           const std::vector<std::string>& options = {});

// The number of the job that this run of `lp` has submitted.
int jobOf(const Ran& lp, const std::string& queue);

// Waits for a job to come to rest. Returns its state then: "completed", "canceled", "aborted", or
// "stopped", which is an end that leaves the job in the queue; "never" after 30 seconds.
std::string endOf(const PrivatePrintServer& server, const std::string& queue, int job);

// The "Alerts:" of `lpstat -l -p`, sorted; none for "none".
Values alertsOf(const PrivatePrintServer& server, const std::string& queue);

// A list among what `lpoptions -p` shows, as desktops take it apart.
Values optionOf(const PrivatePrintServer& server, const std::string& queue,
                const std::string& name);

// The queue's driver, to the byte.
std::string ppdOf(const PrivatePrintServer& server, const std::string& queue);

// How often the print server's log has a line of this job that begins so.
int timesLogged(const PrivatePrintServer& server, int job, const std::string& beginning);

Values sorted(Values values);

}  // namespace moxsupply::testing
