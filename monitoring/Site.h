#pragma once

#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "http/HostNames.h"
#include "http/Http.h"
#include "http/HttpServer.h"
#include "monitoring/ExporterMetrics.h"
#include "monitoring/Instant.h"
#include "monitoring/Memory.h"
#include "monitoring/PageMemory.h"
#include "monitoring/PageToken.h"
#include "monitoring/Prober.h"

namespace moxsupply {

// What the exporter answers to a request of HTTP.
class Site {
 public:
  using Clock = Prober::Clock;

  // `deadline`: the longest time that a probe waits for its query. `deliveryDays`: what is needed
  // by then has to be ordered. `memory`: null where nothing is remembered.
  Site(Prober& prober, ExporterMetrics& metrics, HostNames hosts, std::chrono::seconds deadline,
       std::chrono::days deliveryDays, const Memory* memory);

  // As HttpServer::OnRequest.
  [[nodiscard]] HttpServer::Reply answer(const HttpRequest& request, Clock::time_point arrived,
                                         const Instant& now, bool isLast);

  // As HttpServer::IsUrgent.
  [[nodiscard]] static bool isUrgent(const HttpRequest& request);

  // Why the list could not be read the last time; empty when it could.
  void setListProblem(std::string problem);

 private:
  // A page as it was made, and when; looking at it again and again costs nothing.
  struct Made {
    std::string parameters;
    bool isGzip;
    Clock::time_point time;
    HttpAnswer answer;
  };
  static constexpr std::chrono::seconds kGoodFor{1};
  static constexpr std::size_t kMostKept = 8;

  [[nodiscard]] HttpServer::Reply probe(const HttpRequest& request, Clock::time_point arrived,
                                        const Instant& now, bool isLast);
  [[nodiscard]] HttpAnswer ask(const HttpRequest& request, const Instant& now);
  void wantAll(Clock::time_point now);
  [[nodiscard]] HttpAnswer allPrinters(const HttpRequest& request, const Instant& now);
  [[nodiscard]] HttpAnswer onePrinter(const HttpRequest& request, const Instant& now);
  [[nodiscard]] HttpAnswer orders(const HttpRequest& request, const Instant& now);
  [[nodiscard]] HttpAnswer ordersCsv(const HttpRequest& request, const Instant& now);
  [[nodiscard]] std::optional<std::chrono::days> daysIn(const HttpRequest& request) const;

  // A page that was made within the last second, or else is made now. `parameters`: all that it
  // depends on.
  [[nodiscard]] HttpAnswer page(std::string_view type, std::string parameters,
                                const HttpRequest& request, Clock::time_point now,
                                const std::function<std::string()>& make);

  // A printer by its target as the list writes it, or as pages show it.
  [[nodiscard]] const Prober::Printer* findShown(const std::string& target) const;
  [[nodiscard]] PageMemory rememberedAt(Moment moment) const;
  [[nodiscard]] bool isFromElsewhere(const HttpRequest& request) const;

  Prober& mProber;
  ExporterMetrics& mMetrics;
  HostNames mHosts;
  std::chrono::milliseconds mDeadline;
  std::chrono::days mDeliveryDays;
  const Memory* mMemory;
  PageToken mToken;
  std::string mListProblem;
  std::list<Made> mPages;  // the newest first
  std::optional<Clock::time_point> mWantedAll;
};

}  // namespace moxsupply
