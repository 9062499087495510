#include "monitoring/Site.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <optional>
#include <utility>

#include "history/OrdersCsv.h"
#include "history/PrinterName.h"
#include "http/Gzip.h"
#include "links/DeviceUri.h"
#include "monitoring/OrdersPage.h"
#include "monitoring/Page.h"
#include "monitoring/PrinterPage.h"
#include "monitoring/ShownPrinter.h"
#include "renderings/SupplyMetrics.h"
#include "text/Decimal.h"
#include "text/TerminalText.h"

namespace moxsupply {

namespace {

using std::chrono::milliseconds;

constexpr std::string_view kHtml = "text/html; charset=utf-8";
constexpr std::string_view kMetrics = "text/plain; version=0.0.4; charset=utf-8";

HttpAnswer answerWith(std::string_view type, std::string body, const HttpRequest& request) {
  if (request.takesGzip) body = gzip(body);
  return {.type = type,
          .body = std::make_shared<const std::string>(std::move(body)),
          .isGzip = request.takesGzip};
}

HttpAnswer notAllowed(std::string_view line, std::string_view allowed) {
  HttpAnswer refusal = lineOfText(405, line);
  refusal.allowed = allowed;
  return refusal;
}

HttpAnswer notInTheList(const std::string& target) {
  return lineOfText(
      403, fmt::format("\"{}\" is not in the list of printers.", forTerminal(shownUri(target))));
}

HttpAnswer wrongDays() {
  return lineOfText(400,
                    fmt::format("within is a number of days, 0 to {}.", kMostDaysOfOrders.count()));
}

// How long Prometheus waits, less what the answer takes to get there.
std::optional<milliseconds> timeFor(const HttpRequest& request) {
  if (!request.scrapeTimeout) return std::nullopt;
  constexpr milliseconds kMargin(500);
  return std::max(*request.scrapeTimeout - kMargin, *request.scrapeTimeout / 2);
}

PageView viewOf(const HttpRequest& request) {
  PageView view;
  view.isByPlace = request.parameter("order") == "place";
  view.isRefreshing = request.parameter("refresh") != "off";
  view.number = decimal(request.parameter("page")).value_or(1);
  view.find = request.parameter("find");
  return view;
}

}  // namespace

Site::Site(Prober& prober, ExporterMetrics& metrics, HostNames hosts, std::chrono::seconds deadline,
           std::chrono::days deliveryDays, const Memory* memory)
    : mProber(prober),
      mMetrics(metrics),
      mHosts(std::move(hosts)),
      mDeadline(deadline),
      mDeliveryDays(deliveryDays),
      mMemory(memory) {}

bool Site::isUrgent(const HttpRequest& request) { return request.path == "/-/healthy"; }

void Site::setListProblem(std::string problem) {
  mListProblem = std::move(problem);
  mPages.clear();
  mWantedAll.reset();
}

HttpServer::Reply Site::answer(const HttpRequest& request, Clock::time_point arrived,
                               const Instant& now, bool isLast) {
  const bool isForm = request.path == "/ask";
  if (isForm && request.method != HttpRequest::Method::kPost) {
    return {notAllowed("Only POST is understood here.", "POST"), {}};
  }
  if (!isForm && request.method != HttpRequest::Method::kGet &&
      request.method != HttpRequest::Method::kHead) {
    return {notAllowed("Only GET and HEAD are understood.", "GET, HEAD"), {}};
  }
  // Without a host, it is no browser that asks.
  if (!request.host.empty() && !mHosts.contain(request.host)) {
    return {lineOfText(421, "Nothing is served here under this name; see moxsupply-exporter(1)."),
            {}};
  }
  if (isForm) return {ask(request, now), {}};
  const std::string& path = request.path;
  if (path == "/probe") return probe(request, arrived, now, isLast);
  if (path == "/") return {allPrinters(request, now), {}};
  if (path == "/printer") return {onePrinter(request, now), {}};
  if (path == "/orders") return {orders(request, now), {}};
  if (path == "/orders.csv") return {ordersCsv(request, now), {}};
  if (path == "/metrics") {
    return {answerWith(kMetrics, mMetrics.text(mProber.counts()), request), {}};
  }
  if (path == "/-/healthy") return {lineOfText(200, "The exporter runs."), {}};
  if (path == "/style.css") {
    return {answerWith("text/css; charset=utf-8", std::string(pageStyle()), request), {}};
  }
  if (path == "/icon.svg") {
    return {answerWith("image/svg+xml", std::string(pageIcon()), request), {}};
  }
  return {lineOfText(404, "There is no such page."), {}};
}

// A page of somebody else's may have its visitors' browsers ask here. It cannot read the answer;
// but it shall not have printers woken, either.
bool Site::isFromElsewhere(const HttpRequest& request) const {
  const bool hasForeignOrigin = !request.origin.empty() && !mHosts.containOrigin(request.origin);
  return hasForeignOrigin || request.fetchSite == "cross-site";
}

HttpServer::Reply Site::probe(const HttpRequest& request, Clock::time_point arrived,
                              const Instant& now, bool isLast) {
  const std::string target = request.parameter("target");
  if (request.count("target") != 1 || target.empty()) {
    return {lineOfText(400, "Which printer? /probe?target=TARGET asks one of the list."), {}};
  }
  const Prober::Printer* printer = mProber.find(target);
  if (printer == nullptr) return {notInTheList(target), {}};
  const bool mayAsk = !isLast && !isFromElsewhere(request);
  // After a start many are due at once, and each has an answer from before.
  const auto urgency =
      printer->isRestored ? Prober::Urgency::kInTheBackground : Prober::Urgency::kSomebodyWaits;
  if (mayAsk && mProber.want(target, urgency, now.time) && !printer->isRestored) {
    // A query is over at its deadline, and takes a moment to say so.
    const milliseconds longest = mDeadline + milliseconds(500);
    const auto until = arrived + std::min(timeFor(request).value_or(longest), longest);
    return {{}, HttpServer::Wait{target, until}};
  }

  LastProbe last;
  if (printer->last) {
    last = {printer->last->outcome, printer->last->duration};
  } else if (isLast) {
    last = {Outcome::kDeadline, std::chrono::round<milliseconds>(now.time - arrived)};
  }
  std::optional<AgedSupplies> aged;
  if (printer->reading) {
    const auto age = std::chrono::round<milliseconds>(now.time - printer->reading->time);
    aged = {printer->reading->supplies, age, {}};
    if (mMemory != nullptr) {
      aged->remembered = mMemory->metricsOf(printer->listed, now.moment, mDeliveryDays);
    }
  }
  return {answerWith(kMetrics, metricsText(supplyMetrics(aged, last)), request), {}};
}

// Has one printer be asked, whenever it was the last time. The page names printers without the
// passwords that targets may have.
HttpAnswer Site::ask(const HttpRequest& request, const Instant& now) {
  if (isFromElsewhere(request)) {
    return lineOfText(403, "Only the exporter's own page has printers asked.");
  }
  if (!mToken.isThis(request.parameter("token"))) {
    return lineOfText(403, "This page is from before the exporter's last start: load it again.");
  }
  const std::string target = request.parameter("target");
  if (request.count("target") != 1 || target.empty()) return lineOfText(400, "Which printer?");
  const Prober::Printer* printer = findShown(target);
  if (printer == nullptr) return notInTheList(target);
  mProber.want(printer->listed.target, Prober::Urgency::kOnPurpose, now.time);
  mPages.clear();
  HttpAnswer answer = lineOfText(303, "The printer is being asked.");
  const bool isFromItsPage = request.parameter("from") == "printer";
  answer.location = "./" + (isFromItsPage ? linkTo(printer->listed) : addressOf(viewOf(request)));
  return answer;
}

// Has what the page shows be asked. Those that look at it together ask once.
void Site::wantAll(Clock::time_point now) {
  if (mWantedAll && now - *mWantedAll < kGoodFor) return;
  mWantedAll = now;
  for (const Prober::Printer* printer : mProber.printers()) {
    mProber.want(printer->listed.target, Prober::Urgency::kInTheBackground, now);
  }
}

const Prober::Printer* Site::findShown(const std::string& target) const {
  if (const Prober::Printer* printer = mProber.find(target)) return printer;
  const auto all = mProber.printers();
  const auto found = std::ranges::find_if(all, [&target](const Prober::Printer* printer) {
    return shownUri(printer->listed.target) == target;
  });
  return found == all.end() ? nullptr : *found;
}

PageMemory Site::rememberedAt(Moment moment) const {
  PageMemory memory = {moment, mMemory != nullptr};
  if (mMemory == nullptr) return memory;
  memory.problem = mMemory->problem();
  memory.find = [this](const ListedPrinter& printer) { return mMemory->find(printer); };
  return memory;
}

HttpAnswer Site::page(std::string_view type, std::string parameters, const HttpRequest& request,
                      Clock::time_point now, const std::function<std::string()>& make) {
  mPages.remove_if([now](const Made& made) { return now - made.time >= kGoodFor; });
  for (const Made& made : mPages) {
    if (made.parameters == parameters && made.isGzip == request.takesGzip) return made.answer;
  }
  HttpAnswer answer = answerWith(type, make(), request);
  mPages.push_front({std::move(parameters), request.takesGzip, now, answer});
  if (mPages.size() > kMostKept) mPages.pop_back();
  return answer;
}

HttpAnswer Site::allPrinters(const HttpRequest& request, const Instant& now) {
  if (!isFromElsewhere(request)) wantAll(now.time);
  const PageView view = viewOf(request);
  return page(
      kHtml,
      fmt::format("/ {} {} {} {}", view.isByPlace, view.isRefreshing, view.number, view.find),
      request, now.time, [&] {
        return moxsupply::page(mProber.printers(), view, mListProblem, mToken.text(),
                               rememberedAt(now.moment), now.time);
      });
}

HttpAnswer Site::onePrinter(const HttpRequest& request, const Instant& now) {
  const std::string target = request.parameter("target");
  if (request.count("target") != 1 || target.empty()) {
    return lineOfText(400, "Which printer? /printer?target=TARGET shows one of the list.");
  }
  const Prober::Printer* printer = findShown(target);
  if (printer == nullptr) {
    return lineOfText(404, fmt::format("\"{}\" is not in the list of printers; / shows those that "
                                       "are, with links to a page for each.",
                                       forTerminal(shownUri(target))));
  }
  return page(kHtml, "/printer " + target, request, now.time, [&] {
    return printerPage(*printer, mToken.text(), rememberedAt(now.moment), now.time);
  });
}

// How far orders look ahead; nothing for what is no such time.
std::optional<std::chrono::days> Site::daysIn(const HttpRequest& request) const {
  if (request.count("within") == 0) return mDeliveryDays;
  const auto days = decimal(request.parameter("within"));
  if (request.count("within") > 1 || !days || *days > kMostDaysOfOrders.count())
    return std::nullopt;
  return std::chrono::days(*days);
}

HttpAnswer Site::orders(const HttpRequest& request, const Instant& now) {
  const auto within = daysIn(request);
  if (!within) return wrongDays();
  return page(kHtml, fmt::format("/orders {}", within->count()), request, now.time, [&] {
    const PageMemory memory = rememberedAt(now.moment);
    std::map<std::string, const ListedPrinter*, std::less<>> listed;
    std::size_t unknown = 0;
    for (const Prober::Printer* printer : mProber.printers()) {
      if (auto name = printerName(printer->listed.uri)) {
        listed.emplace(*std::move(name), &printer->listed);
      }
      if (memory.find(printer->listed) == nullptr) ++unknown;
    }
    const auto find = [&](std::string_view name) {
      const auto found = listed.find(name);
      return found == listed.end() ? nullptr : found->second;
    };
    const Orders needed = mMemory == nullptr ? Orders{} : mMemory->orders(memory.now, *within);
    return ordersPage(needed, *within, unknown, find, memory);
  });
}

// A file can say neither that nothing is remembered nor that it may not be all.
HttpAnswer Site::ordersCsv(const HttpRequest& request, const Instant& now) {
  const auto within = daysIn(request);
  if (!within) return wrongDays();
  const PageMemory memory = rememberedAt(now.moment);
  if (!memory.isKept) {
    return lineOfText(404, "Nothing is remembered here (--no-store), so nobody knows what to buy.");
  }
  if (!memory.problem.empty()) {
    return lineOfText(
        503, fmt::format("What printers tell is not remembered at present: {}", memory.problem));
  }
  return page("text/csv; charset=utf-8; header=present",
              fmt::format("/orders.csv {}", within->count()), request, now.time,
              [&] { return asCsv(mMemory->orders(memory.now, *within).list); });
}

}  // namespace moxsupply
