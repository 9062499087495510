// The exporter, in which each allocation and each system call fails once, one a run.
#include <fcntl.h>
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <set>
#include <string>
#include <thread>

#include "history/Store.h"
#include "system/Process.h"
#include "tests/failing/EveryFailure.h"
#include "tests/monitoring/ExporterProcess.h"
#include "tests/monitoring/HttpRequest.h"
#include "tests/support/Depth.h"
#include "tests/support/ReservedPort.h"
#include "tests/support/SimulatedPrinter.h"
#include "tests/support/TextFile.h"

namespace moxsupply::testing {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// Each wait of a run ends by then. A query has three seconds, what is remembered has five; the
// longest is until the process from which queries are forked has gone round in circles for two
// seconds of processor time.
constexpr auto kLongestWait = 30s;

std::set<std::string> levelsInMetrics(const std::string& metrics) {
  std::set<std::string> levels = linesOfText(metrics);
  std::erase_if(levels, [](const auto& line) { return !line.starts_with("npa_supply_level"); });
  return levels;
}

std::string joinedLines(const std::set<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + '\n';
  return text;
}

// What the last reading in a store says of levels, or why nobody can read it.
std::string levelsInStore(const std::string& file) {
  if (!fs::exists(file)) return {};
  auto store = Store::openToRead(file);
  if (!store) return "broken store: " + store.error().what + '\n';
  if (const auto whole = store->check(); !whole) return "broken store: " + whole.error().what;
  std::string levels;
  const auto given = store->forEachLast({}, [&](const Reading& reading) -> Result<> {
    for (const ReadSupply& supply : reading.supplies) {
      levels += fmt::format("kept of {}: {}\n", supply.number, supply.level.value_or(-1));
    }
    return {};
  });
  return given ? levels : "broken store: " + given.error().what + '\n';
}

// One exporter of one printer, from its start to its end.
class FailingExporter {
 public:
  // `through`: a program, with its arguments, that runs it with a failure.
  FailingExporter(const std::string& printer, const Texts& through) : mPrinter(printer) {
    write(pathOf("list.json"), listOf({printer}, "laser"));
    Texts command = through;
    const Texts own = {
        MOXSUPPLY_PROGRAM, "exporter",         pathOf("list.json"), "--listen=" + mPort.address(),
        "--deadline=3",    "--min-interval=1", "--max-backoff=1",   "--store=" + pathOf("store")};
    command.insert(command.end(), own.begin(), own.end());
    const FileDescriptor nothing =
        aboveFilterDescriptors(FileDescriptor(::open("/dev/null", O_RDWR | O_CLOEXEC)));
    const FileDescriptor log = aboveFilterDescriptors(FileDescriptor(
        ::open(pathOf("log").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600)));
    mProcess = Process::start({.program = command.front(),
                               .arguments = command,
                               .descriptors = {nothing.get(), nothing.get(), log.get()}})
                   .value();
  }

  // Has it serve one probe and its own metrics, ends it, and looks at what it leaves behind.
  FailedRun serve() {
    tryUntil([this] { return hasWholeProbe(); });
    tryUntil([this] { return get(mPort.number(), "/metrics").status == 200; });
    mProcess.signal(SIGTERM);
    if (!mProcess.waitFor(kLongestWait)) mTold += "did not end by itself\n";
    mProcess.kill();
    return {.exitStatus = mProcess.shellStatus().value_or(-1),
            .output = mTold + joinedLines(mLevels) + levelsInStore(pathOf("store")),
            .errors = log()};
  }

 private:
  [[nodiscard]] std::string pathOf(const char* name) const { return mFolder.path() / name; }

  // Without the line with which it begins.
  [[nodiscard]] std::string log() const {
    std::string lines = contentOf(pathOf("log"));
    const std::size_t begin = lines.find("moxsupply exporter: listening on ");
    if (begin != std::string::npos) lines.erase(begin, lines.find('\n', begin) - begin + 1);
    return lines;
  }

  [[nodiscard]] bool isRunning() { return !mProcess.waitFor(0ms); }

  template <typename Action>
  void tryUntil(Action isDone) {
    for (const auto end = Clock::now() + kLongestWait; isRunning() && !isDone();) {
      if (Clock::now() > end) {
        mTold += "did not answer\n";
        return;
      }
      std::this_thread::sleep_for(50ms);
    }
  }

  bool hasWholeProbe() {
    const auto answer = get(mPort.number(), probeOf(mPrinter));
    const auto levels = levelsInMetrics(answer.body);
    mLevels.insert(levels.begin(), levels.end());
    return answer.body.find("\nnpa_probe_success 1\n") != std::string::npos;
  }

  TemporaryFolder mFolder;
  ReservedPort mPort;
  std::string mPrinter;
  Process mProcess;
  std::set<std::string> mLevels;  // in any answer
  std::string mTold;
};

class EveryFailureOfTheExporter : public EveryFailure {};
INSTANTIATE_TEST_SUITE_P(Of, EveryFailureOfTheExporter,
                         ::testing::Values("allocation", "refusal", "interruption"),
                         [](const auto& row) { return std::string(row.param); });

TEST_P(EveryFailureOfTheExporter, LeavesLevelsTrue) {
  const SimulatedPrinter printer("laser-colour-full");
  const auto runOnce = [&](std::uint64_t number) {
    const std::string name = fmt::format("result-{}", number);
    FailingExporter exporter(printer.uri(), withFailure(number, {}, name));
    FailedRun run = exporter.serve();
    addResult(run, name);
    return run;
  };
  int diedThere = 0;
  const auto judge = [&diedThere](const FailedRun& run, const FailedRun& undisturbed) {
    if (diedInLibcups(run)) {
      ++diedThere;
      return;
    }
    EXPECT_LE(run.exitStatus, 2);
    const auto told = linesOfText(run.output);
    const auto trueLevels = linesOfText(undisturbed.output);
    const bool isTold = told == trueLevels;
    EXPECT_TRUE(isTold || !run.errors.empty()) << run.output;
    EXPECT_TRUE(isTold || std::ranges::includes(trueLevels, told)) << run.output;
    EXPECT_EQ(run.errors.find("std::"), std::string::npos);
  };
  forEach(runOnce, judge, 6);
  std::printf("of these %d ended in a library\n", diedThere);
  EXPECT_LT(diedThere, 10);
}

}  // namespace
}  // namespace moxsupply::testing
