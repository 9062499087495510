// What clients, and who listens to the log, can do to `moxsupply exporter`: nothing to each other.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <string>
#include <vector>

#include "system/Pipe.h"
#include "tests/monitoring/ExporterProcess.h"
#include "tests/monitoring/HttpRequest.h"
#include "tests/support/SilentPort.h"
#include "tests/support/SimulatedPrinter.h"

namespace moxsupply::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

// How soon a client with nothing wrong is served, whatever the others do.
constexpr double kSoon = 2;  // seconds

HttpAnswer getAs(int port, const std::string& path, const std::string& host) {
  return request(port,
                 "GET " + path + " HTTP/1.1\r\nConnection: close\r\nHost: " + host + "\r\n\r\n");
}

void expectServedSoon(const ExporterProcess& exporter) {
  for (const char* path : {"/-/healthy", "/"}) {
    const HttpAnswer answer = get(exporter.port(), path);
    EXPECT_EQ(answer.status, 200) << path;
    EXPECT_LT(answer.time.count(), kSoon) << path;
  }
}

// ---- Places

TEST(AClientThatHangsUp, GivesItsPlaceBack) {
  const SilentPort silent;
  // 400 descriptors: 128 are kept for queries and all else.
  const ExporterProcess exporter(listOf({silent.uri()}, "laser"), {"--deadline=8"},
                                 {"prlimit", "--nofile=400"});
  for (int i = 0; i < 1000; ++i) {
    EXPECT_TRUE(connectAndSend(exporter.port(), getting(probeOf(silent.uri())))) << i;
  }
  expectServedSoon(exporter);
}

// Nobody has hung up here: who has waited longest makes room.
TEST(ClientsThatWaitInVain, MakeRoomForOthers) {
  const SilentPort silent;
  const ExporterProcess exporter(listOf({silent.uri()}, "laser"), {"--deadline=60"},
                                 {"prlimit", "--nofile=400"});
  const auto waiting = connections(exporter.port(), 600, getting(probeOf(silent.uri())));
  expectServedSoon(exporter);
  EXPECT_EQ(receiveAnswer(waiting.front()).status, 0);
}

TEST(AClientThatOnlyHasFinishedAsking, GetsItsAnswer) {
  const SilentPort silent;
  const ExporterProcess exporter(listOf({silent.uri()}, "laser"), {"--deadline=2"});
  const FileDescriptor client = connectAndSend(exporter.port(), getting(probeOf(silent.uri())));
  ::shutdown(client.get(), SHUT_WR);
  const HttpAnswer answer = receiveAnswer(client);
  EXPECT_EQ(answer.status, 200);
  EXPECT_THAT(answer.body, HasSubstr("npa_probe_status{status=\"deadline\"} 1\n"));
}

TEST(AThousandPages, DoNotDelayWhetherItRuns) {
  std::vector<std::string> targets(5000);
  std::ranges::generate(targets,
                        [port = 9100]() mutable { return "192.0.2.7:" + std::to_string(port++); });
  const ExporterProcess exporter(listOf(targets));
  const auto clients = connections(exporter.port(), 1000, getting("/"));
  const HttpAnswer answer = get(exporter.port(), "/-/healthy");
  EXPECT_EQ(answer.status, 200);
  EXPECT_LT(answer.time.count(), kSoon);
}

TEST(AClient, MayAskAgainOnTheSameConnection) {
  const ExporterProcess exporter(listOf({}));
  const FileDescriptor client =
      connectAndSend(exporter.port(), getting("/-/healthy") + getting("/nothing") +
                                          getting("/metrics", "Connection: close\r\n"));
  const HttpAnswer answers = receiveAnswer(client);
  EXPECT_EQ(answers.status, 200);
  EXPECT_THAT(answers.head, HasSubstr("Connection: keep-alive\r\n"));
  EXPECT_THAT(answers.body, HasSubstr("HTTP/1.1 404 Not Found\r\n"));
  EXPECT_THAT(answers.body, HasSubstr("npa_exporter_targets 0\n"));
}

// ---- Answers

TEST(AnAnswer, IsNeverMoreThanWhatIsAskedFor) {
  const ExporterProcess exporter(listOf({}));
  const std::string page = get(exporter.port(), "/").body;
  const HttpAnswer whole = get(exporter.port(), "/", "Range: bytes=0-1,0-1\r\n");
  EXPECT_EQ(whole.status, 200);
  EXPECT_EQ(whole.body.size(), page.size());
  // A bare line feed, behind which one reader sees a header line and another one does not.
  std::string ranges = "Range: bytes=-";
  for (int i = 0; i < 3900; ++i) ranges += ",-";
  const HttpAnswer attack =
      get(exporter.port(), "/", "X-Prometheus-Scrape-Timeout-Seconds: 1\n" + ranges + "\r\n");
  EXPECT_EQ(attack.status, 400);
  EXPECT_LT(attack.body.size(), 1000U);
  expectServedSoon(exporter);
}

// ---- Names

TEST(AHost, IsAnsweredToUnderItsOwnNamesOnly) {
  const ExporterProcess exporter(listOf({}), {"--host", "prints.example"});
  const std::string port = ':' + std::to_string(exporter.port());
  for (const std::string& host :
       {"127.0.0.1" + port, std::string("127.0.0.1"), "localhost" + port,
        std::string("prints.example"), std::string("PRINTS.example.:443")}) {
    EXPECT_EQ(getAs(exporter.port(), "/", host).status, 200) << host;
  }
  for (const char* host : {"evil.example", "127.0.0.1.evil.example", "192.0.2.7",
                           "prints.example.x", "a@127.0.0.1", "[::1", "\"localhost\""}) {
    const HttpAnswer answer = getAs(exporter.port(), "/metrics", host);
    EXPECT_THAT(answer.status, ::testing::AnyOf(421, 400)) << host;
    EXPECT_THAT(answer.body, Not(HasSubstr("npa_"))) << host;
  }
  EXPECT_EQ(getAs(exporter.port(), "/", "evil.example").status, 421);
}

TEST(APageOfSomebodyElse, HasNoPrinterAsked) {
  const SimulatedPrinter printer("laser-mono-toner");
  const ExporterProcess exporter(listOf({printer.uri()}));
  const std::string own = "http://127.0.0.1:" + std::to_string(exporter.port());
  for (const char* header :
       {"Sec-Fetch-Site: cross-site\r\n", "Origin: http://evil.example\r\n", "Origin: null\r\n"}) {
    const HttpAnswer answer = get(exporter.port(), probeOf(printer.uri()), header);
    EXPECT_EQ(answer.status, 200) << header;
    EXPECT_THAT(answer.body, Not(HasSubstr("npa_supply_level_ratio"))) << header;
    EXPECT_EQ(get(exporter.port(), "/", header).status, 200) << header;
  }
  exporter.awaitMetric("npa_exporter_query_duration_seconds_count 0");
  exporter.awaitMetric("npa_exporter_queries_running 0");

  const std::string fromHere = "Sec-Fetch-Site: same-origin\r\nOrigin: " + own + "\r\n";
  EXPECT_THAT(get(exporter.port(), probeOf(printer.uri()), fromHere).body,
              HasSubstr("npa_supply_level_ratio"));
  // What has been read is told to all.
  EXPECT_THAT(get(exporter.port(), probeOf(printer.uri()), "Origin: http://evil.example\r\n").body,
              HasSubstr("npa_supply_level_ratio"));
  exporter.awaitMetric("npa_exporter_query_duration_seconds_count 1");
}

// ---- Signals and the log

// Who writes to it next waits.
void fill(const Pipe& pipe) {
  ::fcntl(pipe.writeEnd.get(), F_SETFL, O_NONBLOCK);
  const std::string lines(4096, '\n');
  while (::write(pipe.writeEnd.get(), lines.data(), lines.size()) > 0) {
  }
  EXPECT_EQ(errno, EAGAIN);
  ::fcntl(pipe.writeEnd.get(), F_SETFL, 0);
}

TEST(TheExporter, ReadsItsListAgainAtASignal) {
  const ExporterProcess exporter(listOf({"192.0.2.7", "192.0.2.8"}));
  ::kill(exporter.pid(), SIGHUP);
  exporter.awaitLog("the list was read again: 2 printers\n");
  EXPECT_EQ(get(exporter.port(), "/-/healthy").status, 200);
}

TEST(TheExporter, GoesOnWhenNobodyReadsItsLog) {
  const Pipe log = makePipe(Blocking::kYes);
  ExporterProcess exporter(listOf({}), log);
  fill(log);
  std::vector<std::string> targets;
  for (int count = 1; count <= 3; ++count) {
    targets.push_back("192.0.2." + std::to_string(count));
    exporter.replaceList(listOf(targets));
    exporter.awaitMetric("npa_exporter_targets " + std::to_string(count));
  }

  // Once somebody reads again, the log says that there is something missing.
  std::string text(std::size_t{1} << 20U, '\0');
  ASSERT_GT(::read(log.readEnd.get(), text.data(), text.size()), 0);
  exporter.replaceList(listOf({}));
  exporter.awaitMetric("npa_exporter_targets 0");
  const ssize_t count = ::read(log.readEnd.get(), text.data(), text.size());
  ASSERT_GT(count, 0);
  text.resize(static_cast<std::size_t>(count));
  EXPECT_THAT(text, HasSubstr("3 lines left out: nobody read the log\n"));
  EXPECT_THAT(text, HasSubstr("the list was read again: 0 printers\n"));
}

TEST(TheExporter, EndsAtASignalWhenNobodyReadsItsLog) {
  const Pipe log = makePipe(Blocking::kYes);
  ExporterProcess exporter(listOf({}), log);
  fill(log);
  exporter.replaceList(listOf({"192.0.2.7"}));
  exporter.awaitMetric("npa_exporter_targets 1");
  const auto ending = exporter.terminate();
  EXPECT_EQ(ending.exitStatus, 0);
  EXPECT_LT(ending.time.count(), kSoon);
}

}  // namespace
}  // namespace moxsupply::testing
