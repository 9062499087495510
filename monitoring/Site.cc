#include "monitoring/Site.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <utility>

#include "monitoring/Page.h"
#include "renderings/SupplyMetrics.h"
#include "text/Decimal.h"
#include "text/TerminalText.h"

namespace moxsupply {

namespace {

using std::chrono::milliseconds;

constexpr const char* kPlainText = "text/plain; charset=utf-8";
constexpr const char* kMetrics = "text/plain; version=0.0.4; charset=utf-8";
constexpr const char* kTimeoutHeader = "X-Prometheus-Scrape-Timeout-Seconds";

// A request that has come whole, and its answer.
class MemoryStream : public httplib::Stream {
 public:
  explicit MemoryStream(std::string_view request) : mRequest(request) {}

  [[nodiscard]] std::string take() { return std::move(mAnswer); }

  [[nodiscard]] bool is_readable() const override { return true; }
  [[nodiscard]] bool is_writable() const override { return true; }
  ssize_t read(char* buffer, std::size_t size) override {
    const std::size_t count = mRequest.copy(buffer, size);
    mRequest.remove_prefix(count);
    return static_cast<ssize_t>(count);
  }
  ssize_t write(const char* bytes, std::size_t size) override {
    mAnswer.append(bytes, size);
    return static_cast<ssize_t>(size);
  }
  void get_remote_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
  void get_local_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
  [[nodiscard]] socket_t socket() const override { return 0; }

 private:
  std::string_view mRequest;
  std::string mAnswer;
};

bool isNamed(std::string_view line, std::string_view header) {
  return line.size() > header.size() && line[header.size()] == ':' &&
         ::strncasecmp(line.data(), header.data(), header.size()) == 0;
}

// The request without the headers that mean nothing here: ranges, bodies and conditions do not
// exist, and of the encodings the one that costs little.
std::string essenceOf(std::string_view head) {
  const std::size_t end = std::min(head.find("\r\n"), head.size());
  std::string essence = fmt::format("{}\r\n", head.substr(0, end));
  head.remove_prefix(end);
  while (head.starts_with("\r\n")) {
    head.remove_prefix(2);
    const std::string_view line = head.substr(0, head.find("\r\n"));
    head.remove_prefix(line.size());
    if (isNamed(line, kTimeoutHeader)) essence += fmt::format("{}\r\n", line);
    if (isNamed(line, "Accept-Encoding") && line.find("gzip") != std::string_view::npos) {
      essence += "Accept-Encoding: gzip\r\n";
    }
  }
  return essence + "\r\n";
}

// How long Prometheus waits, less what the answer takes to get there.
std::optional<milliseconds> scrapeTimeout(const httplib::Request& request) {
  const std::string text = request.get_header_value(kTimeoutHeader);
  const double seconds = std::strtod(text.c_str(), nullptr);
  if (!std::isfinite(seconds) || seconds <= 0 || seconds > 86400) return std::nullopt;
  constexpr double kMargin = 0.5;
  return milliseconds(static_cast<std::int64_t>(1000 * std::max(seconds - kMargin, seconds / 2)));
}

void say(httplib::Response& response, int status, const std::string& line) {
  response.status = status;
  response.set_content(line + '\n', kPlainText);
}

void refuse(httplib::Response& response) {
  if (!response.body.empty()) return;
  const bool isNothing = response.status == 404;
  response.set_content(isNothing ? "There is no such page.\n" : "This request is not understood.\n",
                       kPlainText);
}

}  // namespace

Site::Site(Prober& prober, ExporterMetrics& metrics, std::chrono::seconds deadline)
    : mProber(prober), mMetrics(metrics), mDeadline(deadline) {
  set_default_headers({{"X-Content-Type-Options", "nosniff"},
                       {"Content-Security-Policy",
                        "default-src 'none'; style-src 'self'; img-src 'self'; form-action 'self'; "
                        "base-uri 'none'; frame-ancestors 'none'"},
                       {"Referrer-Policy", "no-referrer"},
                       {"Cache-Control", "no-store"}});
  set_pre_routing_handler([](const auto& request, auto& response) {
    if (request.method == "GET" || request.method == "HEAD") return HandlerResponse::Unhandled;
    response.set_header("Allow", "GET, HEAD");
    say(response, 405, "Only GET and HEAD are understood.");
    return HandlerResponse::Handled;
  });
  set_error_handler([](const auto& /*request*/, auto& response) { refuse(response); });

  Get("/", [this](const auto& request, auto& response) { showPage(request, response); });
  Get("/probe", [this](const auto& request, auto& response) { probe(request, response); });
  Get("/metrics", [this](const auto& /*request*/, auto& response) {
    response.set_content(mMetrics.text(mProber.counts()), kMetrics);
  });
  Get("/-/healthy",
      [](const auto& /*request*/, auto& response) { say(response, 200, "The exporter runs."); });
  Get(R"(/style\.css)", [](const auto& /*request*/, auto& response) {
    response.set_content(std::string(pageStyle()), "text/css; charset=utf-8");
  });
  Get(R"(/icon\.svg)", [](const auto& /*request*/, auto& response) {
    response.set_content(std::string(pageIcon()), "image/svg+xml");
  });
}

WebServer::Answer Site::answer(std::string_view head, Clock::time_point arrived,
                               Clock::time_point now, bool isLast) {
  mArrived = arrived;
  mNow = now;
  mIsLast = isLast;
  mWait.reset();
  const std::string request = essenceOf(head);
  MemoryStream stream(request);
  bool isClosed = true;
  process_request(stream, /*close_connection=*/true, isClosed, nullptr);
  return {stream.take(), std::move(mWait)};
}

void Site::probe(const httplib::Request& request, httplib::Response& response) {
  const std::string target = request.get_param_value("target");
  if (request.get_param_value_count("target") != 1 || target.empty()) {
    return say(response, 400, "Which printer? /probe?target=TARGET asks one of the list.");
  }
  const Prober::Printer* printer = mProber.find(target);
  if (printer == nullptr) {
    return say(response, 403,
               fmt::format("\"{}\" is not in the list of printers.", forTerminal(target)));
  }
  if (!mIsLast && mProber.want(target, Prober::Urgency::kSomebodyWaits, mNow)) {
    // A query is over at its deadline, and takes a moment to say so.
    const milliseconds longest = mDeadline + milliseconds(500);
    mWait = {target, mArrived + std::min(scrapeTimeout(request).value_or(longest), longest)};
    return;
  }

  LastProbe last;
  if (printer->isPending) {
    last = {Outcome::kDeadline, std::chrono::round<milliseconds>(mNow - mArrived)};
  } else if (printer->last) {
    last = {printer->last->result.outcome, printer->last->duration};
  }
  std::optional<AgedSupplies> aged;
  if (printer->reading) {
    const auto age = std::chrono::round<milliseconds>(mNow - printer->reading->time);
    aged = {printer->reading->supplies, age};
  }
  response.set_content(metricsText(supplyMetrics(aged, last)), kMetrics);
}

void Site::showPage(const httplib::Request& request, httplib::Response& response) {
  const auto printers = mProber.printers();
  for (const Prober::Printer* printer : printers) {
    mProber.want(printer->listed.target, Prober::Urgency::kInTheBackground, mNow);
  }
  PageView view;
  view.isByPlace = request.get_param_value("order") == "place";
  view.isRefreshing = request.get_param_value("refresh") != "off";
  view.number = decimal(request.get_param_value("page")).value_or(1);
  view.find = request.get_param_value("find");
  response.set_content(page(printers, view, mListProblem, mNow), "text/html; charset=utf-8");
}

}  // namespace moxsupply
