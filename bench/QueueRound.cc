// How long it takes from submitting a ReportLevels job until everybody can see the levels: with
// commandtomox, beside a filter that does nothing and beside the print server's own way of asking.
// One print server, the queues in turn, the simulated printer behind the real socket backend.
//   queue-round [--snmp]      with --snmp, an SNMP agent answers at port 161 of this machine

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <variant>
#include <vector>

#include "queue/PrintServer.h"
#include "tests/queue/Drivers.h"
#include "tests/queue/PrintTools.h"
#include "tests/queue/PrivatePrintServer.h"
#include "tests/support/Models.h"
#include "tests/support/ReservedPort.h"
#include "tests/support/SimulatedPrinter.h"

namespace moxsupply {
namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr int kRounds = 20;
constexpr int kRoundsOfSnmp = 5;  // four seconds each
constexpr auto kPatience = std::chrono::seconds(30);

struct Round {
  Milliseconds visible{};  // until the attributes were there
  Milliseconds over{};     // until the job was
};

template <typename Value>
Value orEnd(Result<Value> result) {
  if (!result) {
    fmt::print(stderr, "queue-round: {}\n", result.error().what);
    std::exit(EXIT_FAILURE);
  }
  return *std::move(result);
}

// Looks at something, as fast as the print server answers, until it is so.
template <typename Condition>
Milliseconds timeUntil(Clock::time_point start, Condition isSo) {
  while (!isSo()) {
    if (Clock::now() - start > kPatience) {
      fmt::print(stderr, "queue-round: nothing came\n");
      std::exit(EXIT_FAILURE);
    }
    std::this_thread::sleep_for(std::chrono::microseconds(500));
  }
  return Clock::now() - start;
}

// `levelOf`: the level that a job will publish; none: it will publish nothing.
template <typename LevelOf>
Round takeRound(PrintServer& server, const std::string& queue, LevelOf levelOf) {
  Round round;
  const auto start = Clock::now();
  const int job = orEnd(server.submitCommand(queue, "ReportLevels", kPatience));
  const std::optional<int> level = levelOf(job);
  if (level) {
    round.visible = timeUntil(
        start, [&] { return orEnd(server.queue(queue)).markerLevels == std::vector{*level}; });
  }
  round.over = timeUntil(start, [&] { return orEnd(server.job(queue, job)).isOver(); });
  // The print server may still be cleaning up.
  timeUntil(Clock::now(), [&] { return orEnd(server.unfinishedJobs(queue)).empty(); });
  return round;
}

double median(const std::vector<Round>& rounds, Milliseconds Round::*time) {
  std::vector<double> times;
  times.reserve(rounds.size());
  for (const Round& round : rounds) times.push_back((round.*time).count());
  std::ranges::sort(times);
  const std::size_t middle = times.size() / 2;
  return times.size() % 2 == 1 ? times[middle] : (times[middle - 1] + times[middle]) / 2;
}

void show(const std::vector<Round>& nothing, const std::vector<Round>& ours,
          const std::vector<Round>& snmp, bool snmpAnswers) {
  const auto visible = [](const auto& rounds) { return median(rounds, &Round::visible); };
  const auto over = [](const auto& rounds) { return median(rounds, &Round::over); };
  fmt::print("{:<42}{:>16}{:>16}\n", "from submitting ReportLevels", "levels visible", "job over");
  fmt::print("{:<42}{:>13.1f} ms{:>13.1f} ms\n", "a filter that does nothing", visible(nothing),
             over(nothing));
  fmt::print("{:<42}{:>13.1f} ms{:>13.1f} ms\n", "commandtomox", visible(ours), over(ours));
  fmt::print("{:<42}{:>16}{:>13.1f} ms\n",
             snmpAnswers ? "the print server, by SNMP" : "the print server, where no SNMP answers",
             snmpAnswers ? "" : "never", over(snmp));
  fmt::print("\n");
  fmt::print("commandtomox costs {:.1f} ms more than a filter that does nothing\n",
             visible(ours) - visible(nothing));
  fmt::print("and is over in {:.2f} times the time of the print server alone.\n",
             over(ours) / over(snmp));
  fmt::print("Medians of {} rounds in turn ({} with SNMP).\n", ours.size(), snmp.size());
}

void installFilter(const std::filesystem::path& program, const std::filesystem::path& folder) {
  std::filesystem::copy(program, folder);
  ::chmod((folder / program.filename()).c_str(), 0755);
}

int run(bool snmpAnswers) {
  const testing::PrivatePrintServer cups;
  installFilter(COMMAND_TO_NOTHING, cups.folder() / "lib/cups/filter");
  const testing::ReservedPort port;
  const auto driverWith = [](const std::string& filter, const std::string& snmp) {
    return testing::driver("*cupsFilter: \"application/vnd.cups-command 0 " + filter +
                           "\"\n"
                           "*cupsCommands: \"ReportLevels\"\n"
                           "*cupsSNMPSupplies: " +
                           snmp + "\n");
  };
  testing::addQueue(cups, "nothing", port.uri(), driverWith("command-to-nothing", "False"));
  testing::addQueue(cups, "snmp", port.uri(), driverWith("commandtops", "True"));
  testing::addQueue(cups, "ours", port.uri(), testing::postScriptDriver());
  if (cups.moxsupply({"enable", "ours", "--type", "laser"}).exitStatus != 0) return EXIT_FAILURE;

  ::setenv("CUPS_SERVER", (cups.folder() / "cups.sock").c_str(), 1);
  auto server = orEnd(PrintServer::connect());
  std::vector<Round> nothing;
  std::vector<Round> ours;
  std::vector<Round> snmp;
  for (int i = 0; i <= kRounds; ++i) {
    // Another level in each round, since the same would not be published again.
    const int level = i % 100;
    const testing::SimulatedPrinter printer(
        port, testing::laserPrinter({{"Black", static_cast<std::uint32_t>(level)}}));
    nothing.push_back(takeRound(server, "nothing", [](int job) { return std::optional(job); }));
    ours.push_back(takeRound(server, "ours", [&](int /*job*/) { return std::optional(level); }));
    if (i % (kRounds / kRoundsOfSnmp) == 1) {
      snmp.push_back(takeRound(server, "snmp", [](int /*job*/) { return std::optional<int>(); }));
    }
  }
  nothing.erase(nothing.begin());  // the first was to warm up
  ours.erase(ours.begin());
  show(nothing, ours, snmp, snmpAnswers);
  return EXIT_SUCCESS;
}

}  // namespace
}  // namespace moxsupply

int main(int argc, char** argv) try {
  return moxsupply::run(argc > 1 && argv[1] == std::string_view("--snmp"));
} catch (const std::exception& error) {
  std::fprintf(stderr, "queue-round: %s\n", error.what());
  return EXIT_FAILURE;
}
