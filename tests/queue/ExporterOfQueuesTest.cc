// `moxsupply exporter` with print queues in its list: it reads a real print server.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "simulator/ModelFile.h"
#include "tests/monitoring/ExporterProcess.h"
#include "tests/monitoring/HttpRequest.h"
#include "tests/queue/QueueTest.h"
#include "tests/support/SimulatedPrinter.h"

namespace moxsupply::testing {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

class AnExporterOfQueues : public QueueTest {
 protected:
  // The queue reports once; then its printer is gone.
  void report(const std::string& type, const std::string& model) {
    addEnabledQueue(type);
    const SimulatedPrinter printer(
        port(), simulator::readModelFile(MOXSUPPLY_MODELS "/" + model + ".json").value());
    QueueTest::report();
  }

  [[nodiscard]] std::string target() const { return server().printerUri(queue()); }
};

TEST_F(AnExporterOfQueues, ReadsThePrintServerAndAsksNoPrinter) {
  report("laser", "laser-colour-full");
  const ExporterProcess exporter(listOf({target()}));
  const std::string metrics = get(exporter.port(), probeOf(target())).body;
  EXPECT_THAT(metrics,
              AllOf(HasSubstr("npa_probe_success 1\n"),
                    HasSubstr("npa_supply_info{supply=\"1\",name=\"Cyan Toner Cartridge\","
                              "type=\"toner\",color=\"Cyan\"} 1\n"),
                    HasSubstr("npa_supply_level_ratio{supply=\"1\"} 0.62\n"),
                    HasSubstr("npa_reading_age_seconds "), Not(HasSubstr("npa_supply_status"))));
  EXPECT_THAT(get(exporter.port(), "/").body, HasSubstr("Cyan Toner Cartridge"));
  EXPECT_THAT(exporter.log(), Not(HasSubstr(queue())));
}

TEST_F(AnExporterOfQueues, TellsWhatIsWrongWithACartridge) {
  report("inkjet", "inkjet-lantern-cartridge-faults");
  const ExporterProcess exporter(listOf({target()}));
  EXPECT_THAT(get(exporter.port(), probeOf(target())).body,
              AllOf(HasSubstr("npa_supply_level_unknown{supply=\"1\",reason=\"missing\"} 1\n"),
                    HasSubstr("npa_supply_status{supply=\"1\",status=\"missing\"} 1\n"),
                    HasSubstr("status=\"invalid\"} 1\n"), HasSubstr("status=\"incorrect\"} 1\n")));
}

TEST_F(AnExporterOfQueues, SaysWhenAQueueHasNoLevelsAndWhenThereIsNone) {
  addEnabledQueue("laser");
  const ExporterProcess exporter(listOf({target(), target() + "x"}));
  EXPECT_THAT(get(exporter.port(), probeOf(target())).body,
              HasSubstr("npa_probe_status{status=\"nothing_received\"} 1\n"));
  EXPECT_THAT(get(exporter.port(), probeOf(target() + "x")).body,
              HasSubstr("npa_probe_status{status=\"unreachable\"} 1\n"));
  exporter.awaitLog(target() + ": has told its print server no supplies; it is asked less");
  exporter.awaitLog(target() + "x: no queue \"" + queue() + "x\"");
}

// All of them at once.
std::vector<FileDescriptor> clientsThatProbe(const ExporterProcess& exporter,
                                             const std::vector<std::string>& targets) {
  std::vector<FileDescriptor> clients;
  std::ranges::transform(targets, std::back_inserter(clients), [&](const std::string& target) {
    return connectAndSend(exporter.port(), getting(probeOf(target), "Connection: close\r\n"));
  });
  return clients;
}

TEST_F(AnExporterOfQueues, ReadsSeveralOverFewConnections) {
  report("laser", "laser-colour-full");
  constexpr std::size_t kMany = 12;
  std::vector<std::string> targets(kMany + 1, target());
  for (std::size_t i = 0; i < kMany; ++i) targets[i] += "none" + std::to_string(i);
  const auto connectionsSoFar = [] {
    std::istringstream log(server().log());
    int count = 0;
    for (std::string line; std::getline(log, line);) count += line.ends_with("(IPv4)") ? 1 : 0;
    return count;
  };
  const auto before = connectionsSoFar();
  const ExporterProcess exporter(listOf(targets));
  const auto clients = clientsThatProbe(exporter, targets);
  for (std::size_t i = 0; i < kMany; ++i) {
    EXPECT_THAT(receiveAnswer(clients[i]).body,
                HasSubstr("npa_probe_status{status=\"unreachable\"} 1\n"));
  }
  EXPECT_THAT(receiveAnswer(clients.back()).body,
              AllOf(HasSubstr("npa_probe_success 1\n"),
                    HasSubstr("npa_supply_level_ratio{supply=\"1\"} 0.62\n")));
  const auto made = connectionsSoFar() - before;
  EXPECT_GE(made, 1) << "the log tells of no connections";
  EXPECT_LE(made, 4);
}

TEST_F(AnExporterOfQueues, ReadsTheOthersBesideOneThatIsClosedToIt) {
  report("laser", "laser-colour-full");
  std::ofstream(server().folder() / "cupsd.conf", std::ios::app)
      << "<Policy closed>\n<Limit All>\nAuthType Basic\nRequire user nobody\nOrder deny,allow\n"
         "</Limit>\n</Policy>\n";
  server().restart();
  const std::string closed = queue() + "closed";
  const Ran added = server().run(
      {"lpadmin", "-p", closed, "-E", "-v", port().uri(), "-o", "printer-op-policy=closed"});
  ASSERT_EQ(added.exitStatus, 0) << added.errors;
  const std::vector<std::string> targets = {target() + "none", server().printerUri(closed),
                                            target()};
  const ExporterProcess exporter(listOf(targets));
  const auto clients = clientsThatProbe(exporter, targets);
  EXPECT_THAT(receiveAnswer(clients[1]).body,
              HasSubstr("npa_probe_status{status=\"unreachable\"} 1\n"));
  EXPECT_THAT(receiveAnswer(clients[2]).body, HasSubstr("npa_probe_success 1\n"));
  exporter.awaitLog(closed + ": no queue \"" + closed + "\": the print server says: ");
}

TEST_F(AnExporterOfQueues, NamesAPrinterThatStandsInTheListBesideItsQueue) {
  report("laser", "laser-mono-toner");
  const ExporterProcess exporter(listOf({target(), port().address()}), {"--min-interval=1"});
  get(exporter.port(), probeOf(target()));
  const std::string line = target() + " prints to " + port().address() +
                           ", which stands in the list as well: take one of them out\n";
  exporter.awaitLog(line);
  std::this_thread::sleep_for(std::chrono::milliseconds(1100));
  get(exporter.port(), probeOf(target()));
  exporter.awaitMetric("npa_exporter_queries_total{status=\"success\"} 2");
  const std::string log = exporter.log();
  EXPECT_EQ(log.find(line), log.rfind(line)) << log;
}

TEST(AnExporterOfQueuesWithoutAPrintServer, SaysSo) {
  const ReservedPort nobody;
  const std::string target = "ipp://" + nobody.address() + "/printers/office";
  const ExporterProcess exporter(listOf({target}));
  EXPECT_THAT(get(exporter.port(), probeOf(target)).body,
              HasSubstr("npa_probe_status{status=\"unreachable\"} 1\n"));
  exporter.awaitLog(target + ": no connection to the print server at 127.0.0.1");
}

}  // namespace
}  // namespace moxsupply::testing
