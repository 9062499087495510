// Programs in which each allocation and each system call fails once, one a run: each run ends in
// time and by itself, says what is wrong where something is, and makes nothing up.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>

#include "tests/failing/EveryFailure.h"
#include "tests/support/Depth.h"
#include "tests/support/FilterProcess.h"
#include "tests/support/LaserRecords.h"
#include "tests/support/Run.h"
#include "tests/support/SimulatedPrinter.h"
#include "tests/support/SmallPpd.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TextFile.h"

namespace moxsupply::testing {
namespace {

INSTANTIATE_TEST_SUITE_P(Of, EveryFailure,
                         ::testing::Values("allocation", "refusal", "interruption"),
                         [](const auto& row) { return std::string(row.param); });

// The rows with a level, without their bars: these may be of other characters.
std::set<std::string> levelsIn(const std::string& table) {
  std::set<std::string> levels;
  for (const std::string& line : linesOfText(table)) {
    if (line.find(" %") == std::string::npos) continue;
    std::string row = line;
    std::erase_if(row, [](char c) { return (c & 0x80) != 0 || c == '#' || c == '.' || c == ' '; });
    levels.insert(row);
  }
  return levels;
}

TEST_P(EveryFailure, LeavesLevelsTrue) {
  // An inkjet that nobody calls one is asked as a laser first.
  const std::map<std::string, Texts> optionsOf = {{"laser-colour-full", {"--type", "laser"}},
                                                  {"laser-mono-toner", {"--type", "laser"}},
                                                  {"inkjet-lantern-photo-inks", {}}};
  for (const auto& [model, options] : optionsOf) {
    const SimulatedPrinter printer(model);
    Texts command = {MOXSUPPLY_PROGRAM, "levels", printer.uri(), "--deadline", "5"};
    command.insert(command.end(), options.begin(), options.end());
    const auto runOnce = [&, this](std::uint64_t number) {
      const std::string name = fmt::format("result-{}", number);
      const Ran ran = run(withFailure(number, command, name));
      FailedRun result{.exitStatus = ran.exitStatus, .output = ran.output, .errors = ran.errors};
      addResult(result, name);
      return result;
    };
    const auto judge = [](const FailedRun& run, const FailedRun& undisturbed) {
      EXPECT_LE(run.exitStatus, 2);
      const auto levels = levelsIn(run.output);
      const auto trueLevels = levelsIn(undisturbed.output);
      EXPECT_TRUE(std::ranges::includes(trueLevels, levels)) << run.output;
      if (run.exitStatus == 0) {
        EXPECT_EQ(levels, trueLevels) << run.output;
      } else {
        EXPECT_TRUE(run.errors.starts_with("moxsupply")) << run.errors;
        EXPECT_EQ(run.errors.find("std::"), std::string::npos);
      }
    };
    // Most of a run's time is waited.
    forEach(runOnce, judge, 8);
    EXPECT_EQ(printer.paper(), "");
  }
}

// A JSON value ends in a destructor that allocates, and lets no exception out.
bool diedInADestructor(const FailedRun& run) {
  return run.exitStatus == 128 + SIGABRT && run.errors.find("std::bad_alloc") != std::string::npos;
}

// The line that gives the queue levels; empty where there is none.
std::string publishedLevels(const FailedRun& run) {
  for (const std::string& line : linesOfText(run.errors)) {
    if (line.starts_with("ATTR: marker-levels=")) return line;
  }
  return {};
}

// The same without the level of the second supply, for which the printer is asked once more.
std::string withoutTheSecond(std::string levels) {
  return levels.replace(levels.find(',') + 1, std::string::npos, "-2'");
}

TEST_P(EveryFailure, LeavesTheLevelsOfAQueueTrue) {
  std::ofstream(pathOf("queue.ppd"))
      << smallPpd("*moxPrinterType: \"Laser\"\n*moxTimeout: \"1\"\n*moxDeadline: \"8\"\n");
  std::ofstream(pathOf("commands")) << "#CUPS-COMMAND\nReportLevels\n";
  // The levels of the second supply come from the second answer.
  const Bytes table = deviceReply(suppliesRecord(
      {supply(1, {description("Cyan Toner"), field(7, hex("01")), maxLevel(100), currentLevel(37)}),
       supply(2, {description("Fuser"), field(7, hex("05"))})}));
  const Bytes record = queryReply(dotCountRecord({{1, 100, 37}, {2, 100, 64}}));
  const auto runOnce = [&](std::uint64_t number) {
    std::filesystem::remove_all(pathOf("cache"));
    std::filesystem::create_directory(pathOf("cache"));
    Texts command = {"env", "-u", "SOFTWARE", "-u", "CUPS_SERVER"};
    const Texts rest = withFailure(
        number, {MOXSUPPLY_COMMAND_FILTER, "17", "user", "title", "1", "", pathOf("commands")});
    command.insert(command.end(), rest.begin(), rest.end());
    FilterProcess filter(BackChannel::kNonBlockingPipe, command,
                         {"LC_ALL=C", "PRINTER=lobby", "DEVICE_URI=socket://printer/",
                          "PPD=" + pathOf("queue.ppd"), "CUPS_CACHEDIR=" + pathOf("cache")});
    if (!filter.receive(30).empty()) filter.send(table);
    if (!filter.receive(27).empty()) filter.send(record);
    filter.endBackChannel();
    const auto ending = filter.wait();
    FailedRun run{.exitStatus = ending.exitStatus, .errors = ending.result};
    addResult(run);
    return run;
  };
  int diedThere = 0;
  forEach(runOnce, [&](const FailedRun& run, const FailedRun& undisturbed) {
    if (diedInLibcups(run) || diedInADestructor(run)) {
      ++diedThere;
      return;
    }
    EXPECT_LE(run.exitStatus, 1);
    // To libcups a command file that cannot be read is one that has ended: nothing was asked for.
    if (run.call == "read" && run.exitStatus == 0 && run.errors.empty()) return;
    const auto levels = publishedLevels(run);
    if (run.call != "write" || !levels.empty()) {
      const bool saysWhy = run.errors.find("ERROR: ") != std::string::npos ||
                           run.errors.find("WARNING: ") != std::string::npos;
      const std::string all = publishedLevels(undisturbed);
      const bool areTrue = levels == all || levels == withoutTheSecond(all);
      EXPECT_TRUE(areTrue || (levels.empty() && saysWhy)) << levels;
    }
    EXPECT_EQ(run.errors.find("std::"), std::string::npos);
  });
  std::printf("of these %d ended in a library\n", diedThere);
  EXPECT_LT(diedThere, 10);
}

}  // namespace
}  // namespace moxsupply::testing
