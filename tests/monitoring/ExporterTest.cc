// `moxsupply exporter` as its clients meet it, over a socket, with simulated printers.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <future>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <thread>

#include "simulator/ModelFile.h"
#include "tests/monitoring/ExporterProcess.h"
#include "tests/monitoring/HttpRequest.h"
#include "tests/support/Depth.h"
#include "tests/support/PortWithoutConnections.h"
#include "tests/support/Processes.h"
#include "tests/support/ReservedPort.h"
#include "tests/support/Run.h"
#include "tests/support/SilentPort.h"
#include "tests/support/SimulatedPrinter.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TextFile.h"

namespace moxsupply::testing {
namespace {

using std::chrono::seconds;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

std::future<HttpAnswer> getLater(int port, const std::string& path) {
  return std::async(std::launch::async, [port, path] { return get(port, path); });
}

// The token of the page, as its form sends it.
std::string tokenOf(int port) {
  const std::string page = get(port, "/").body;
  const std::string before = R"(name="token" value=")";
  const std::size_t place = page.find(before);
  if (place == std::string::npos) return {};
  return page.substr(place + before.size(),
                     page.find('"', place + before.size()) - place - before.size());
}

std::size_t linesOf(const std::string& text) {
  return static_cast<std::size_t>(std::ranges::count(text, '\n'));
}

std::size_t seriesIn(const std::string& metrics) {
  return linesOf(metrics) - static_cast<std::size_t>(std::ranges::count(metrics, '#'));
}

// Whether promtool finds nothing to say about these metrics.
void expectGoodMetrics(const std::string& metrics) {
  const TemporaryFolder folder;
  const std::string file = folder.path() / "metrics";
  std::ofstream(file) << metrics;
  const Ran ran = run({"sh", "-c", "promtool check metrics < " + file});
  EXPECT_EQ(ran.exitStatus, 0);
  EXPECT_EQ(ran.output + ran.errors, "") << metrics;
}

TEST(TheExporter, AnswersAProbeWithThePrintersSupplies) {
  const SimulatedPrinter printer("laser-colour-full");
  const ExporterProcess exporter(listOf({printer.uri()}));
  const HttpAnswer answer = get(exporter.port(), probeOf(printer.uri()));
  EXPECT_EQ(answer.status, 200);
  EXPECT_THAT(answer.head, HasSubstr("Content-Type: text/plain; version=0.0.4"));
  EXPECT_THAT(answer.body,
              AllOf(HasSubstr("npa_supply_level_ratio{supply=\"1\"} 0.62\n"),
                    HasSubstr("npa_probe_success 1\n"), HasSubstr("npa_reading_age_seconds 0")));
  EXPECT_EQ(seriesIn(answer.body), 23U);  // ten supplies
  expectGoodMetrics(answer.body);
  const std::string metrics = get(exporter.port(), "/metrics").body;
  EXPECT_THAT(metrics,
              AllOf(HasSubstr("npa_exporter_targets 1\n"), HasSubstr("npa_exporter_list_valid 1\n"),
                    HasSubstr("npa_exporter_queries_total{status=\"success\"} 1\n"),
                    HasSubstr("npa_exporter_query_duration_seconds_count 1\n")));
  expectGoodMetrics(metrics);
  EXPECT_EQ(linesOf(exporter.log()), 1U) << exporter.log();  // none of the probe
}

TEST(TheExporter, ReadsEncodedTargets) {
  const SimulatedPrinter printer("laser-mono-toner");
  const ExporterProcess exporter(listOf({printer.uri()}));
  std::string encoded;
  for (const char c : printer.uri())
    encoded += c == ':' ? "%3A" : c == '/' ? "%2F" : std::string(1, c);
  EXPECT_THAT(get(exporter.port(), probeOf(encoded)).body, HasSubstr("npa_probe_success 1\n"));
}

TEST(TheExporter, AsksPrintersOfTheListOnly) {
  const SimulatedPrinter other("laser-mono-toner");
  const ExporterProcess exporter(listOf({"192.0.2.7"}));
  const HttpAnswer answer = get(exporter.port(), probeOf(other.uri()));
  EXPECT_EQ(answer.status, 403);
  EXPECT_EQ(answer.body, "\"" + other.uri() + "\" is not in the list of printers.\n");
  EXPECT_EQ(get(exporter.port(), probeOf("%1B%5B2J%0A")).body,
            "\"\\u001b[2J\\u000a\" is not in the list of printers.\n");
  exporter.awaitMetric("npa_exporter_queries_running 0");
  for (const char* path : {"/probe", "/probe?target=", "/probe?target=a&target=b", "/probe?x=y"}) {
    EXPECT_EQ(get(exporter.port(), path).status, 400) << path;
    EXPECT_EQ(linesOf(get(exporter.port(), path).body), 1U) << path;
  }
}

TEST(TheExporter, AnswersWhatItUnderstands) {
  const ExporterProcess exporter(listOf({}));
  const int port = exporter.port();
  EXPECT_EQ(get(port, "/-/healthy").body, "The exporter runs.\n");
  EXPECT_EQ(get(port, "/nothing").status, 404);
  EXPECT_EQ(get(port, "/../etc/passwd").status, 404);
  for (const char* method : {"POST", "PUT", "DELETE", "OPTIONS", "PATCH"}) {
    const HttpAnswer answer =
        request(port, std::string(method) + " / HTTP/1.1\r\n" + std::string(kHost) +
                          "Content-Length: 4\r\n\r\nbody");
    EXPECT_EQ(answer.status, 405) << method;
    EXPECT_THAT(answer.head, HasSubstr("Allow: GET, HEAD\r\n"));
  }
  EXPECT_EQ(request(port, "\r\n\r\n").status, 400);
  EXPECT_EQ(request(port, "GET\r\n\r\n").status, 400);
  EXPECT_EQ(request(port, std::string("\0\xff\r\n\r\n", 6)).status, 400);
  EXPECT_EQ(request(port, "GET / HTTP/1.0\r\n\r\n").status, 200);
}

TEST(TheExporter, AnswersHeadWithoutABody) {
  const ExporterProcess exporter(listOf({}));
  const HttpAnswer answer = request(
      exporter.port(), "HEAD / HTTP/1.1\r\nConnection: close\r\n" + std::string(kHost) + "\r\n");
  EXPECT_EQ(answer.status, 200);
  EXPECT_THAT(answer.head, Not(HasSubstr("Content-Length: 0")));
  EXPECT_EQ(answer.body, "");
}

TEST(TheExporter, SaysHowItsAnswersAreToBeTaken) {
  const ExporterProcess exporter(listOf({}));
  for (const char* path : {"/", "/metrics", "/probe", "/nothing", "/style.css"}) {
    EXPECT_THAT(get(exporter.port(), path).head,
                AllOf(HasSubstr("X-Content-Type-Options: nosniff\r\n"),
                      HasSubstr("Content-Security-Policy: default-src 'none'; style-src 'self';"),
                      HasSubstr("Cache-Control: no-store\r\n"), HasSubstr("Connection: close\r\n"),
                      // or browsers would call the origin of the page's own form "null"
                      HasSubstr("Referrer-Policy: same-origin\r\n")))
        << path;
  }
}

TEST(TheExporter, GetsByWithLongRequests) {
  const ExporterProcess exporter(listOf({}));
  const int port = exporter.port();
  EXPECT_EQ(get(port, "/", "X: " + std::string(9000, 'x') + "\r\n").status, 431);
  EXPECT_EQ(get(port, "/" + std::string(8000, '(')).status, 404);
  EXPECT_EQ(get(port, "/?" + std::string(8000, '&')).status, 200);
  std::string ranges = "Range: bytes=0-0";
  while (ranges.size() < 7900) ranges += ",0-0";
  const HttpAnswer answer = get(port, "/style.css", ranges + "\r\n");
  EXPECT_EQ(answer.status, 200);
  EXPECT_LT(answer.body.size(), 20'000U);
  EXPECT_EQ(get(port, "/-/healthy").status, 200);
}

TEST(TheExporter, CompressesForThoseWhoTakeIt) {
  const ExporterProcess exporter(listOf({}));
  const HttpAnswer answer =
      get(exporter.port(), "/style.css", "Accept-Encoding: gzip, deflate, br\r\n");
  EXPECT_THAT(answer.head, HasSubstr("Content-Encoding: gzip\r\n"));
  EXPECT_LT(answer.body.size(), get(exporter.port(), "/style.css").body.size() / 2);
}

TEST(TheExporter, AsksOnceForClientsThatComeTogether) {
  const TemporaryFolder folder;
  const std::string model = folder.path() / "slow.json";
  std::ofstream(model) << R"({"about": "Takes its time", "printer": "inkjet", "head": "Lantern",
    "cartridges": [{"slot": 1, "code": "B0"}], "ink-remaining": {"black": 12},
    "replies": {"inkjet-query": {"writes": [{"pause": 700}]}}})";
  const SimulatedPrinter printer(model);
  const ExporterProcess exporter(listOf({printer.uri()}, "inkjet"));
  auto one = getLater(exporter.port(), probeOf(printer.uri()));
  auto two = getLater(exporter.port(), probeOf(printer.uri()));
  EXPECT_THAT(one.get().body, HasSubstr("npa_probe_success 1\n"));
  EXPECT_THAT(two.get().body, HasSubstr("npa_probe_success 1\n"));
  EXPECT_THAT(get(exporter.port(), probeOf(printer.uri())).body,
              HasSubstr("npa_probe_success 1\n"));
  exporter.awaitMetric("npa_exporter_queries_total{status=\"success\"} 1");
  exporter.awaitMetric("npa_exporter_answers_shared_total 2");
}

TEST(TheExporter, AsksAgainAfterTheInterval) {
  const SimulatedPrinter printer("laser-mono-toner");
  const ExporterProcess exporter(listOf({printer.uri()}), {"--min-interval=1"});
  get(exporter.port(), probeOf(printer.uri()));
  std::this_thread::sleep_for(std::chrono::milliseconds(1100));
  get(exporter.port(), probeOf(printer.uri()));
  exporter.awaitMetric("npa_exporter_queries_total{status=\"success\"} 2");
}

TEST(TheExporter, LetsSilentPrintersDelayNobody) {
  std::vector<ReservedPort> ports;
  std::vector<FileDescriptor> listeners;  // take connections and say nothing
  std::vector<std::string> targets;
  for (int i = 0; i < 50; ++i) {
    ports.emplace_back();
    listeners.push_back(listenOn(ports.back()));
    targets.push_back(ports.back().uri());
  }
  const SimulatedPrinter healthy("laser-mono-toner");
  targets.push_back(healthy.uri());
  const ExporterProcess exporter(listOf(targets, "laser"), {"--min-interval=1"});
  get(exporter.port(), probeOf(healthy.uri()));
  std::vector<FileDescriptor> waiting;
  for (std::size_t i = 0; i < 50; ++i) {
    waiting.push_back(connectAndSend(exporter.port(), getting(probeOf(targets.at(i)))));
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(2500));
  for (int i = 0; i < 3; ++i) {
    const HttpAnswer answer = get(exporter.port(), probeOf(healthy.uri()));
    EXPECT_LT(answer.time.count(), 1);
    EXPECT_THAT(answer.body, HasSubstr("npa_probe_success 1\n"));
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
  }
  exporter.awaitMetric("npa_exporter_queries_total{status=\"success\"} 4");
  EXPECT_LE(exporter.queries().size(), 32U);
}

TEST(TheExporter, AnswersBeforeItsClientGivesUp) {
  const SimulatedPrinter printer("laser-mono-toner", {"silent"});
  const ExporterProcess exporter(listOf({printer.uri()}, "laser"));
  const HttpAnswer answer =
      get(exporter.port(), probeOf(printer.uri()), "X-Prometheus-Scrape-Timeout-Seconds: 1.5\r\n");
  EXPECT_NEAR(answer.time.count(), 1.0, 0.3);
  EXPECT_THAT(answer.body, AllOf(HasSubstr("npa_probe_success 0\n"),
                                 HasSubstr("npa_probe_status{status=\"deadline\"} 1\n"),
                                 Not(HasSubstr("npa_reading_age_seconds"))));
  const HttpAnswer odd =
      get(exporter.port(), probeOf(printer.uri()), "X-Prometheus-Scrape-Timeout-Seconds: 0.4\r\n");
  EXPECT_NEAR(odd.time.count(), 0.2, 0.2);
}

TEST(TheExporter, AnswersFromTheLastReadingWhileAPrinterTakesItsTime) {
  const ReservedPort port;
  const std::string model = MOXSUPPLY_MODELS "/laser-mono-toner.json";
  const ExporterProcess exporter(listOf({port.uri()}, "laser"),
                                 {"--min-interval=1", "--max-backoff=1", "--deadline=3"});
  {
    const SimulatedPrinter printer(port, simulator::readModelFile(model).value());
    EXPECT_THAT(get(exporter.port(), probeOf(port.uri())).body, HasSubstr("npa_probe_success 1\n"));
  }
  const SimulatedPrinter printer(port, simulator::readModelFile(model).value(), silence());
  std::this_thread::sleep_for(std::chrono::milliseconds(1100));
  const HttpAnswer answer =
      get(exporter.port(), probeOf(port.uri()), "X-Prometheus-Scrape-Timeout-Seconds: 1\r\n");
  EXPECT_NEAR(answer.time.count(), 0.5, 0.3);
  EXPECT_THAT(answer.body,
              AllOf(HasSubstr("npa_supply_level_ratio{supply=\"1\"} 0.73\n"),
                    HasSubstr("npa_reading_age_seconds 1"),
                    HasSubstr("npa_probe_success 1\n")));  // that of the attempt before
  exporter.awaitMetric("npa_exporter_queries_running 1");  // it goes on
  exporter.awaitMetric("npa_exporter_queries_total{status=\"deadline\"} 1");
  EXPECT_THAT(get(exporter.port(), probeOf(port.uri())).body,
              AllOf(HasSubstr("npa_supply_level_ratio{supply=\"1\"} 0.73\n"),
                    HasSubstr("npa_probe_success 0\n")));
}

TEST(TheExporter, EndsAQueryAtItsDeadline) {
  const SimulatedPrinter printer("laser-mono-toner", {"silent"});
  const ExporterProcess exporter(listOf({printer.uri()}, "laser"), {"--deadline=2"});
  const HttpAnswer answer = get(exporter.port(), probeOf(printer.uri()));
  EXPECT_NEAR(answer.time.count(), 2.2, 0.4);
  EXPECT_THAT(answer.body, HasSubstr("npa_probe_status{status=\"deadline\"} 1\n"));
  exporter.awaitMetric("npa_exporter_queries_total{status=\"deadline\"} 1");
  exporter.awaitLog(printer.uri() + ": was not done within 2 seconds; it is asked less and less");
  // From now on the answer is there at once, for a while.
  EXPECT_LT(get(exporter.port(), probeOf(printer.uri())).time.count(), 0.2);
}

TEST(TheExporter, SaysOnceThatAPrinterDoesNotAnswerAndOnceThatItDoes) {
  const ReservedPort port;
  const std::string target = "127.0.0.1:" + std::to_string(port.number());
  const ExporterProcess exporter(listOf({target}), {"--min-interval=1", "--max-backoff=1"});
  for (int i = 0; i < 3; ++i) {
    EXPECT_THAT(get(exporter.port(), probeOf(target)).body,
                HasSubstr("npa_probe_status{status=\"unreachable\"} 1\n"));
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
  }
  EXPECT_EQ(linesOf(exporter.log()), 2U) << exporter.log();
  EXPECT_THAT(exporter.log(),
              AllOf(HasSubstr(target + ": cannot connect to 127.0.0.1 port "),
                    HasSubstr("; it is asked less and less often until it answers\n")));
  const SimulatedPrinter printer(
      port, simulator::readModelFile(MOXSUPPLY_MODELS "/laser-mono-toner.json").value());
  for (int i = 0; i < 2; ++i) {
    EXPECT_THAT(get(exporter.port(), probeOf(target)).body, HasSubstr("npa_probe_success 1\n"));
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
  }
  EXPECT_EQ(linesOf(exporter.log()), 3U) << exporter.log();
  EXPECT_THAT(exporter.log(), HasSubstr(target + ": answers again\n"));
}

TEST(TheExporter, ShowsNoPasswords) {
  const SilentPort silent;
  const std::string host = fmt::format("127.0.0.1:{}", silent.number());
  // Other tests may run beside this one.
  const std::string password = fmt::format("w0rd{}", silent.number());
  const std::string target = fmt::format("socket://jane:{}@{}", password, host);
  const ExporterProcess exporter(listOf({target}), {"--deadline=1"});
  EXPECT_THAT(get(exporter.port(), "/").body, HasSubstr("socket://" + host));
  const FileDescriptor connection = silent.accept();
  EXPECT_TRUE(areGoneWithin(std::chrono::milliseconds(0), password))
      << "it stands in a command line";
  exporter.awaitLog("socket://" + host + ": was not done within 1 seconds; it is asked less");
  std::string all = exporter.log();
  for (const std::string& path :
       {std::string("/"), std::string("/?find=x"), std::string("/metrics"), probeOf(target)}) {
    all += get(exporter.port(), path).body;
  }
  EXPECT_THAT(all, HasSubstr("npa_probe_status"));
  EXPECT_EQ(all.find("w0rd"), std::string::npos) << all;
}

TEST(TheExporter, GetsByWithAPrinterThatFloods) {
  const SimulatedPrinter flood("laser-mono-toner", {"flood"});
  const SimulatedPrinter packets("laser-mono-toner", {"flood=packets"});
  const SimulatedPrinter healthy("laser-mono-toner");
  const ExporterProcess exporter(listOf({flood.uri(), packets.uri(), healthy.uri()}, "laser"));
  for (const auto* printer : {&flood, &packets}) {
    const HttpAnswer answer = get(exporter.port(), probeOf(printer->uri()));
    EXPECT_EQ(answer.status, 200);
    EXPECT_THAT(answer.body, HasSubstr("npa_probe_success 0\n"));
  }
  EXPECT_THAT(get(exporter.port(), probeOf(healthy.uri())).body,
              HasSubstr("npa_probe_success 1\n"));
  EXPECT_EQ(linesOf(exporter.log()), 3U) << exporter.log();
}

TEST(TheExporter, TakesAnotherListWhileItRuns) {
  const SimulatedPrinter one("laser-mono-toner");
  const SimulatedPrinter two("inkjet-quarry-colour-and-black");
  const ExporterProcess exporter(listOf({one.uri()}));
  get(exporter.port(), probeOf(one.uri()));
  exporter.replaceList(listOf({one.uri(), two.uri()}));
  exporter.awaitLog("the list was read again: 2 printers\n");
  EXPECT_EQ(get(exporter.port(), probeOf(two.uri())).status, 200);
  get(exporter.port(), probeOf(one.uri()));
  exporter.awaitMetric("npa_exporter_queries_total{status=\"success\"} 2");  // one's reading stayed

  exporter.replaceList("[{\"targets\": [7]}]");
  exporter.awaitLog("list.json: /0/targets/0: expected a text, not 7; the list before stays\n");
  exporter.awaitMetric("npa_exporter_list_valid 0");
  EXPECT_EQ(get(exporter.port(), probeOf(one.uri())).status, 200);
  EXPECT_THAT(get(exporter.port(), "/").body, HasSubstr("/0/targets/0: expected a text, not 7"));

  std::ofstream(exporter.list()) << listOf({two.uri()});  // written in its place
  exporter.awaitMetric("npa_exporter_targets 1");
  exporter.awaitMetric("npa_exporter_list_valid 1");
  EXPECT_EQ(get(exporter.port(), probeOf(one.uri())).status, 403);

  std::filesystem::remove(exporter.list());
  exporter.awaitLog("list.json: No such file or directory; the list before stays\n");
  EXPECT_EQ(get(exporter.port(), probeOf(two.uri())).status, 200);
  EXPECT_EQ(linesOf(exporter.log()), 5U) << exporter.log();
}

TEST(TheExporter, EndsQueriesOfPrintersThatLeaveTheList) {
  const SimulatedPrinter printer("laser-mono-toner", {"silent"});
  const ExporterProcess exporter(listOf({printer.uri()}, "laser"));
  auto answer = getLater(exporter.port(), probeOf(printer.uri()));
  exporter.awaitMetric("npa_exporter_queries_running 1");
  exporter.replaceList(listOf({}));
  EXPECT_EQ(answer.get().status, 403);
  EXPECT_TRUE(exporter.awaitQueries(0));
}

TEST(TheExporter, AsksWhatThePageShows) {
  const SimulatedPrinter printer("laser-mono-toner");
  const SimulatedPrinter silent("laser-mono-toner", {"silent"});
  const ExporterProcess exporter(listOf({printer.uri(), silent.uri()}, "laser"));
  const HttpAnswer first = get(exporter.port(), "/");
  EXPECT_LT(first.time.count(), 0.5);
  EXPECT_THAT(first.body, HasSubstr("Never read. Being asked now."));
  exporter.awaitMetric("npa_exporter_queries_total{status=\"success\"} 1");
  std::this_thread::sleep_for(seconds(1));  // a page made is good for so long
  const HttpAnswer second = get(exporter.port(), "/");
  EXPECT_THAT(second.body, HasSubstr("Black Toner Cartridge"));
  EXPECT_THAT(second.body, HasSubstr("<meter class=black"));
}

TEST(TheExporter, AsksNobodyTwiceForPeopleWhoLook) {
  const SimulatedPrinter printer("laser-mono-toner");
  const ReservedPort silent;
  const ExporterProcess exporter(listOf({printer.uri(), silent.uri()}, "laser"));
  get(exporter.port(), "/");
  exporter.awaitMetric("npa_exporter_query_duration_seconds_count 2");
  for (int i = 0; i < 2; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));  // a page made is good for less
    EXPECT_THAT(get(exporter.port(), "/").body,
                AllOf(HasSubstr("Black Toner Cartridge"), HasSubstr("it is asked again in 5 h"),
                      Not(HasSubstr("Being asked"))));
  }
  exporter.awaitMetric("npa_exporter_query_duration_seconds_count 2");
}

TEST(TheExporter, AsksOnPurposeForItsPage) {
  const SimulatedPrinter printer("laser-mono-toner");
  const ExporterProcess exporter(listOf({printer.uri()}, "laser"));
  get(exporter.port(), probeOf(printer.uri()));
  const std::string form = "token=" + tokenOf(exporter.port()) + "&order=place&find=x%26y&page=2";
  for (const int count : {2, 3}) {
    const HttpAnswer answer = post(exporter.port(), "/ask", form + "&target=" + printer.uri());
    EXPECT_EQ(answer.status, 303);
    EXPECT_THAT(answer.head, HasSubstr("Location: ./?order=place&find=x%26y&page=2\r\n"));
    exporter.awaitMetric(fmt::format("npa_exporter_queries_total{{status=\"success\"}} {}", count));
  }
  EXPECT_EQ(get(exporter.port(), "/ask").status, 405);
  EXPECT_THAT(get(exporter.port(), "/ask").head, HasSubstr("Allow: POST\r\n"));
}

TEST(TheExporter, AsksOnPurposeWithTheTokenOfItsPageOnly) {
  const SimulatedPrinter printer("laser-mono-toner");
  const SimulatedPrinter other("laser-mono-toner");
  const ExporterProcess exporter(listOf({printer.uri()}, "laser"));
  const int port = exporter.port();
  const std::string token = tokenOf(port);
  exporter.awaitMetric("npa_exporter_query_duration_seconds_count 1");  // the page's
  const std::string target = "target=" + printer.uri();
  const std::string form = target + "&token=" + token;
  std::string wrong = token;
  wrong.back() = wrong.back() == '0' ? '1' : '0';
  for (const std::string& given : {std::string(), std::string("&token="), "&token=" + wrong,
                                   fmt::format("&token={}&token={}", wrong, token)}) {
    const std::string body = target + given;
    EXPECT_EQ(post(port, "/ask", body).status, 403) << body;
  }
  EXPECT_EQ(post(port, "/ask?" + form, "").status, 403);  // addresses stand in logs of proxies
  for (const char* header :
       {"Sec-Fetch-Site: cross-site\r\n", "Origin: http://evil.example\r\n", "Origin: null\r\n"}) {
    EXPECT_EQ(post(port, "/ask", form, header).status, 403) << header;
  }
  EXPECT_EQ(post(port, "/ask", "token=" + token + "&target=" + other.uri()).status, 403);
  EXPECT_EQ(post(port, "/ask", "token=" + token).status, 400);
  EXPECT_EQ(post(port, "/ask", form + "&" + target).status, 400);
  EXPECT_EQ(post(port, "/ask", std::string(8193, 'x')).status, 413);
  exporter.awaitMetric("npa_exporter_queries_running 0");
  exporter.awaitMetric("npa_exporter_query_duration_seconds_count 1");

  const std::string own = fmt::format("Origin: http://127.0.0.1:{}\r\n", port);
  EXPECT_EQ(post(port, "/ask", form, own + "Sec-Fetch-Site: same-origin\r\n").status, 303);
  exporter.awaitMetric("npa_exporter_query_duration_seconds_count 2");
}

TEST(TheExporter, TakesAFormInPiecesAndAnotherRequestBehindIt) {
  const ExporterProcess exporter(listOf({}));
  const FileDescriptor connection = connectAndSend(
      exporter.port(), fmt::format("POST /ask HTTP/1.1\r\n{}Content-Length: 9\r\n\r\ntok", kHost));
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  const std::string rest =
      "en=xyzGET /-/healthy HTTP/1.1\r\nConnection: close\r\n" + std::string(kHost) + "\r\n";
  ::send(connection.get(), rest.data(), rest.size(), MSG_NOSIGNAL);
  const HttpAnswer answer = receiveAnswer(connection);
  EXPECT_EQ(answer.status, 403);
  EXPECT_THAT(answer.body, AllOf(HasSubstr("load it again"), HasSubstr("The exporter runs.\n")));
}

TEST(TheExporter, KeepsSlowClientsFromDisturbingOthers) {
  const SimulatedPrinter printer("laser-mono-toner");
  const ExporterProcess exporter(listOf({printer.uri()}));
  const auto idle = connections(exporter.port(), 200, "");
  const auto slow = connections(exporter.port(), 200, "GET / HTTP/1.1\r\nX: ");
  const auto deaf = connections(exporter.port(), 50, getting("/style.css"));
  const HttpAnswer answer = get(exporter.port(), probeOf(printer.uri()));
  EXPECT_LT(answer.time.count(), 1);
  EXPECT_EQ(answer.status, 200);

  // One that drips its request byte by byte has no more time for it than all others.
  const auto begin = std::chrono::steady_clock::now();
  for (int i = 0; i < 100; ++i) {
    if (::send(slow.front().get(), "x", 1, MSG_NOSIGNAL) < 0) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  EXPECT_NEAR(std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count(), 5.2,
              0.7);
  EXPECT_EQ(receiveAnswer(idle.front()).status, 0);
}

TEST(TheExporter, MakesRoomForNewClientsWhenItHasTooMany) {
  const SimulatedPrinter printer("laser-mono-toner");
  // 160 descriptors: 32 and 3 for each of 32 queries are kept, and 32 are left for clients.
  const ExporterProcess exporter(listOf({printer.uri()}), {}, {"prlimit", "--nofile=160"});
  const auto idle = connections(exporter.port(), 200, "");
  const HttpAnswer answer = get(exporter.port(), probeOf(printer.uri()));
  EXPECT_EQ(answer.status, 200);
  EXPECT_LT(answer.time.count(), 1);
}

TEST(TheExporter, TakesClientsInAgainAfterItRanOutOfDescriptors) {
  if (kIsSlowBuild) GTEST_SKIP() << "a sanitizer needs a pipe to look whether there is an object";
  const SimulatedPrinter printer("laser-mono-toner");
  const ExporterProcess exporter(listOf({printer.uri()}));
  rlimit before{};
  ASSERT_EQ(::prlimit(exporter.pid(), RLIMIT_NOFILE, nullptr, &before), 0);
  const rlimit few = {.rlim_cur = 4, .rlim_max = before.rlim_max};
  ASSERT_EQ(::prlimit(exporter.pid(), RLIMIT_NOFILE, &few, nullptr), 0);
  auto answer = getLater(exporter.port(), "/-/healthy");
  EXPECT_EQ(answer.wait_for(std::chrono::milliseconds(500)), std::future_status::timeout);
  ASSERT_EQ(::prlimit(exporter.pid(), RLIMIT_NOFILE, &before, nullptr), 0);
  EXPECT_EQ(answer.get().status, 200);
  EXPECT_EQ(get(exporter.port(), probeOf(printer.uri())).status, 200) << exporter.log();
}

TEST(TheExporter, CountsTheTimeThatItsQueriesTake) {
  const SimulatedPrinter printer("laser-mono-toner", {"wake=700"});
  const ExporterProcess exporter(listOf({printer.uri()}, "laser"));
  const HttpAnswer answer = get(exporter.port(), probeOf(printer.uri()));
  const auto valueOf = [](const std::string& metrics, const std::string& name) {
    return std::stod(metrics.substr(metrics.find('\n' + name + ' ') + name.size() + 2));
  };
  const double sum =
      valueOf(get(exporter.port(), "/metrics").body, "npa_exporter_query_duration_seconds_sum");
  EXPECT_GE(sum, 0.7);
  EXPECT_LE(sum, answer.time.count() + 0.001);
  EXPECT_DOUBLE_EQ(valueOf(answer.body, "npa_probe_duration_seconds"), sum);
}

TEST(TheExporter, EndsAtASignalWithItsQueries) {
  const SimulatedPrinter printer("laser-mono-toner", {"silent"});
  ExporterProcess exporter(listOf({printer.uri()}, "laser"));
  auto answer = getLater(exporter.port(), probeOf(printer.uri()));
  ASSERT_TRUE(exporter.awaitQueries(1));
  const std::vector<pid_t> queries = exporter.queries();
  const auto ending = exporter.terminate();
  EXPECT_EQ(ending.exitStatus, 0);
  EXPECT_LT(ending.time.count(), 1);
  EXPECT_EQ(::kill(queries.front(), 0), -1);
  EXPECT_EQ(answer.get().status, 0);
}

// A field of /proc/PID/status.
std::string statusOf(pid_t process, const std::string& field) {
  std::istringstream lines(contentOf(fmt::format("/proc/{}/status", process)));
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with(field + ":\t")) return line.substr(field.size() + 2);
  }
  return {};
}

// Whether it ends; whose child it is then may leave its place in the process table.
bool endsSoon(pid_t process) {
  for (int i = 0; i < 1000; ++i) {
    const std::string state = statusOf(process, "State");
    if (state.empty() || state.starts_with('Z')) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}

std::vector<std::string> descriptorsOf(pid_t process) {
  std::vector<std::string> descriptors;
  for (const auto& one : std::filesystem::directory_iterator(fmt::format("/proc/{}/fd", process))) {
    descriptors.push_back(std::filesystem::read_symlink(one).string());
  }
  return descriptors;
}

// What of these are sockets, each counted once.
std::size_t socketsAmong(const std::vector<std::string>& descriptors) {
  std::set<std::string> sockets(descriptors.begin(), descriptors.end());
  return static_cast<std::size_t>(std::ranges::count_if(
      sockets, [](const std::string& one) { return one.starts_with("socket:"); }));
}

TEST(TheExporter, ConfinesAQueryBeforeItHearsOfItsPrinter) {
  const SilentPort one;
  const SilentPort other;
  const ExporterProcess exporter(listOf({one.uri(), other.uri()}, "laser"));
  get(exporter.port(), "/");
  const FileDescriptor first = one.accept();
  const FileDescriptor second = other.accept();
  ASSERT_TRUE(exporter.awaitQueries(2));
  for (const pid_t query : exporter.queries()) {
    if (MOXSUPPLY_SLOW_BUILD == 0) {  // a sanitizer needs doors
      EXPECT_EQ(statusOf(query, "Seccomp"), "2");
      EXPECT_EQ(statusOf(query, "NoNewPrivs"), "1");
    }
    // Its printer, and whoever connects for it; nothing of the query beside it.
    EXPECT_LE(socketsAmong(descriptorsOf(query)), 2U);
  }
}

TEST(TheExporter, TakesTheDeathOfAQueryForThatQueryOnly) {
  const SilentPort silent;
  const SimulatedPrinter printer("laser-mono-toner");
  const ExporterProcess exporter(listOf({silent.uri(), printer.uri()}, "laser"));
  auto answer = getLater(exporter.port(), probeOf(silent.uri()));
  ASSERT_TRUE(exporter.awaitQueries(1));
  ::kill(exporter.queries().front(), SIGSEGV);
  EXPECT_THAT(answer.get().body, HasSubstr("npa_probe_status{status=\"internal\"} 1\n"));
  EXPECT_THAT(get(exporter.port(), probeOf(printer.uri())).body,
              HasSubstr("npa_probe_success 1\n"));
}

TEST(TheExporter, StartsAnotherQueryServerWhenItsOwnHasDied) {
  const SilentPort silent;
  const SimulatedPrinter printer("laser-mono-toner");
  const ExporterProcess exporter(listOf({silent.uri(), printer.uri()}, "laser"));
  const auto idle = connections(exporter.port(), 3, "");
  auto answer = getLater(exporter.port(), probeOf(silent.uri()));
  ASSERT_TRUE(exporter.awaitQueries(1));
  const pid_t query = exporter.queries().front();
  const pid_t server = exporter.queryServer();
  ::kill(server, SIGKILL);
  EXPECT_THAT(answer.get().body, HasSubstr("npa_probe_status{status=\"internal\"} 1\n"));
  EXPECT_TRUE(endsSoon(query));
  EXPECT_THAT(get(exporter.port(), probeOf(printer.uri())).body,
              HasSubstr("npa_probe_success 1\n"));
  EXPECT_NE(exporter.queryServer(), server);
  EXPECT_TRUE(exporter.awaitQueries(1));  // the last, which waits for another
  // That of requests, and that of the process that waits; no client's.
  EXPECT_EQ(socketsAmong(descriptorsOf(exporter.queryServer())), 2U);
}

// ---- Processes that have one query after the other.

std::string levelsIn(const std::string& metrics) {
  std::istringstream lines(metrics);
  std::string levels;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("npa_supply_level_ratio{")) levels += line + '\n';
  }
  return levels;
}

TEST(TheExporter, AsksOnePrinterAfterTheOtherInOneProcess) {
  const SimulatedPrinter laser("laser-colour-full");
  const SimulatedPrinter inkjet("inkjet-lantern-four-cartridges");
  nlohmann::json list = nlohmann::json::parse(listOf({laser.uri()}, "laser"));
  list.push_back(nlohmann::json::parse(listOf({inkjet.uri()}, "inkjet")).front());
  const ExporterProcess exporter(list.dump(), {"--min-interval=1"});
  const std::string first = levelsIn(get(exporter.port(), probeOf(laser.uri())).body);
  EXPECT_THAT(first, HasSubstr("{supply=\"10\"}"));
  ASSERT_TRUE(exporter.awaitQueries(1));
  const pid_t process = exporter.queries().front();
  EXPECT_THAT(get(exporter.port(), probeOf(inkjet.uri())).body, HasSubstr("npa_probe_success 1\n"));
  std::this_thread::sleep_for(std::chrono::milliseconds(1100));
  EXPECT_EQ(levelsIn(get(exporter.port(), probeOf(laser.uri())).body), first);
  exporter.awaitMetric("npa_exporter_queries_total{status=\"success\"} 3");
  EXPECT_EQ(exporter.queries(), std::vector{process});
  EXPECT_EQ(socketsAmong(descriptorsOf(process)), 1U) << "of a printer that is done with";
}

TEST(TheExporter, HasNoOtherQueryInAProcessWhoseQueryFailed) {
  const SimulatedPrinter printer("laser-mono-toner", {"cut"});
  const ExporterProcess exporter(listOf({printer.uri()}, "laser"));
  EXPECT_THAT(get(exporter.port(), probeOf(printer.uri())).body,
              HasSubstr("npa_probe_success 0\n"));
  EXPECT_TRUE(exporter.awaitQueries(0));
}

// It waits since it has asked one printer, and may be asked for another.
class AProcessThatWaits : public ::testing::Test {
 protected:
  void SetUp() override {
    get(exporter.port(), probeOf(one.uri()));
    ASSERT_TRUE(exporter.awaitQueries(1));
    process = exporter.queries().front();
  }

  [[nodiscard]] std::string probeOfAnother() const { return probeOf(other.uri()); }

  const SimulatedPrinter one{"laser-mono-toner"};
  const SimulatedPrinter other{"laser-mono-toner"};
  const ExporterProcess exporter{listOf({one.uri(), other.uri()}, "laser")};
  pid_t process = -1;
};

TEST_F(AProcessThatWaits, IsNotMissedWhenItHasDied) {
  ::kill(process, SIGKILL);
  ASSERT_TRUE(exporter.awaitQueries(0));
  EXPECT_THAT(get(exporter.port(), probeOfAnother()).body, HasSubstr("npa_probe_success 1\n"));
}

TEST_F(AProcessThatWaits, IsNotMissedWhenItDiesBeforeItSaysAnything) {
  ::kill(process, SIGSTOP);
  auto answer = getLater(exporter.port(), probeOfAnother());
  exporter.awaitMetric("npa_exporter_queries_running 1");
  ::kill(process, SIGKILL);
  EXPECT_THAT(answer.get().body, HasSubstr("npa_probe_success 1\n"));
}

TEST_F(AProcessThatWaits, IsNotMissedWhenItsServerHasDied) {
  const pid_t server = exporter.queryServer();
  ::kill(server, SIGKILL);
  ASSERT_TRUE(endsSoon(server));
  EXPECT_THAT(get(exporter.port(), probeOfAnother()).body, HasSubstr("npa_probe_success 1\n"));
}

TEST(TheExporter, LooksUpNamesInAProcessThatHearsNoPrinter) {
  const SimulatedPrinter printer("laser-mono-toner");
  std::string named = printer.uri();
  named.replace(named.find("127.0.0.1"), 9, "localhost");
  const ExporterProcess exporter(listOf({named}, "laser"), {"--min-interval=1"});
  EXPECT_THAT(get(exporter.port(), probeOf(named)).body, HasSubstr("npa_probe_success 1\n"));
  ASSERT_TRUE(exporter.awaitQueries(2));
  const std::vector<pid_t> processes = exporter.queries();
  const auto isConfined = [](pid_t one) { return statusOf(one, "Seccomp") == "2"; };
  if (MOXSUPPLY_SLOW_BUILD == 0) {  // a sanitizer needs doors
    EXPECT_EQ(std::ranges::count_if(processes, isConfined), 1);
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(1100));
  EXPECT_THAT(get(exporter.port(), probeOf(named)).body, HasSubstr("npa_probe_success 1\n"));
  exporter.awaitMetric("npa_exporter_queries_total{status=\"success\"} 2");
  EXPECT_EQ(exporter.queries(), processes);
}

TEST(TheExporter, KeepsFewProcessesThatWait) {
  std::vector<std::unique_ptr<SimulatedPrinter>> printers;
  std::vector<std::string> targets;
  for (int i = 0; i < 12; ++i) {
    const std::vector<std::string> asleep = {"wake=500"};  // until all are being asked
    printers.push_back(std::make_unique<SimulatedPrinter>("laser-mono-toner", asleep));
    targets.push_back(printers.back()->uri());
  }
  const ExporterProcess exporter(listOf(targets, "laser"));
  std::vector<std::future<HttpAnswer>> answers;
  answers.reserve(targets.size());
  for (const std::string& target : targets) {
    answers.push_back(getLater(exporter.port(), probeOf(target)));
  }
  EXPECT_TRUE(exporter.awaitQueries(12));
  for (auto& answer : answers) {
    EXPECT_THAT(answer.get().body, HasSubstr("npa_probe_success 1\n"));
  }
  EXPECT_TRUE(exporter.awaitQueries(8));
}

TEST(TheExporter, GivesUpAPrinterThatTakesNoConnection) {
  const PortWithoutConnections port;
  const ExporterProcess exporter(listOf({port.uri()}, "laser"), {"--deadline=1"});
  const HttpAnswer answer = get(exporter.port(), probeOf(port.uri()));
  EXPECT_NEAR(answer.time.count(), 1.1, 0.4);
  EXPECT_THAT(answer.body, HasSubstr("npa_probe_status{status=\"deadline\"} 1\n"));
  EXPECT_TRUE(exporter.awaitQueries(0));
}

TEST(TheExporter, SaysThatAHostIsNotThere) {
  const ExporterProcess exporter(listOf({"socket://printer.invalid"}, "laser"));
  EXPECT_THAT(get(exporter.port(), probeOf("socket://printer.invalid")).body,
              HasSubstr("npa_probe_status{status=\"unreachable\"} 1\n"));
  exporter.awaitLog("socket://printer.invalid: cannot find the host \"printer.invalid\": ");
}

TEST(TheExporter, FindsPrintersThatHaveAName) {
  const SimulatedPrinter printer("laser-mono-toner");
  std::string target = printer.uri();
  target.replace(target.find("127.0.0.1"), 9, "localhost");
  const ExporterProcess exporter(listOf({target}, "laser"));
  EXPECT_THAT(get(exporter.port(), probeOf(target)).body, HasSubstr("npa_probe_success 1\n"));
}

// One that hangs up upon the first question is asked the second over another connection.
TEST(TheExporter, ConnectsAgainToAPrinterOfUnknownType) {
  const SilentPort port;
  const ExporterProcess exporter(listOf({port.uri()}));
  auto answer = getLater(exporter.port(), probeOf(port.uri()));
  for (int i = 0; i < 2; ++i) {
    const FileDescriptor connection = port.accept();
    char first = 0;
    EXPECT_EQ(::recv(connection.get(), &first, 1, 0), 1);
  }
  EXPECT_THAT(answer.get().body, HasSubstr("npa_probe_success 0\n"));
}

TEST(TheExporter, SaysWhatIsWrongWithItsList) {
  const TemporaryFolder folder;
  const std::string list = folder.path() / "list.json";
  std::ofstream(list) << R"([{"targets": ["a"], "labels": {"printer_type": "matrix"}}])";
  const Ran ran = run({MOXSUPPLY_PROGRAM, "exporter", list, "--listen", "127.0.0.1:0"});
  EXPECT_EQ(ran.exitStatus, 2);
  EXPECT_EQ(ran.errors, "moxsupply exporter: " + list +
                            ": /0/labels/printer_type: expected \"laser\", \"inkjet\" or \"auto\", "
                            "not \"matrix\"\n");
  EXPECT_EQ(run({MOXSUPPLY_PROGRAM, "exporter", list + "x"}).errors,
            "moxsupply exporter: " + list + "x: No such file or directory\n");
}

TEST(TheExporter, SaysWhenItsPortIsTaken) {
  const ExporterProcess first(listOf({}));
  const std::string address = "127.0.0.1:" + std::to_string(first.port());
  const Ran ran = run({MOXSUPPLY_PROGRAM, "exporter", first.list(), "--listen", address});
  EXPECT_EQ(ran.exitStatus, 1);
  EXPECT_EQ(ran.errors, "moxsupply exporter: " + address + ": Address already in use\n");
}

TEST(TheExporter, SaysWhichArgumentIsWrong) {
  const TemporaryFolder folder;
  const std::string list = folder.path() / "list.json";
  std::ofstream(list) << "[]";
  const std::vector<std::pair<std::string, std::string>> kWrong = {
      {"--listen=localhost", "--listen: expected ADDRESS:PORT"},
      {"--min-interval=0",
       "--min-interval: expected a whole number of seconds from 1 to 86400, not \"0\""},
      {"--max-backoff=x", "--max-backoff: expected a whole number"},
      {"--deadline=3601", "--deadline: expected a whole number"},
      {"--queries-at-once=1", "--queries-at-once: expected a whole number from 2 to 1024"},
  };
  for (const auto& [argument, words] : kWrong) {
    const Ran ran = run({MOXSUPPLY_PROGRAM, "exporter", list, argument});
    EXPECT_EQ(ran.exitStatus, 2) << argument;
    EXPECT_THAT(ran.errors, HasSubstr(words));
    EXPECT_EQ(linesOf(ran.errors), 1U);
  }
}

}  // namespace
}  // namespace moxsupply::testing
