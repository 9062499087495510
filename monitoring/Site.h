#pragma once

#include <httplib.h>

#include <chrono>
#include <string>
#include <string_view>

#include "monitoring/ExporterMetrics.h"
#include "monitoring/Prober.h"
#include "monitoring/WebServer.h"

namespace moxsupply {

// What the exporter answers to a request of HTTP. The library parses requests, finds their pages
// and writes answers, all in memory; connections are the business of WebServer, since the library
// would need a thread for each.
class Site : private httplib::Server {
 public:
  using Clock = Prober::Clock;

  // `deadline`: the longest time that a probe waits for its query.
  Site(Prober& prober, ExporterMetrics& metrics, std::chrono::seconds deadline);

  // As WebServer::OnRequest.
  WebServer::Answer answer(std::string_view head, Clock::time_point arrived, Clock::time_point now,
                           bool isLast);

  // Why the list could not be read the last time; empty when it could.
  void setListProblem(std::string problem) { mListProblem = std::move(problem); }

 private:
  void probe(const httplib::Request& request, httplib::Response& response);
  void showPage(const httplib::Request& request, httplib::Response& response);

  Prober& mProber;
  ExporterMetrics& mMetrics;
  std::chrono::milliseconds mDeadline;
  std::string mListProblem;

  // Of the request that is being answered.
  Clock::time_point mArrived;
  Clock::time_point mNow;
  bool mIsLast = false;
  std::optional<WebServer::Wait> mWait;
};

}  // namespace moxsupply
