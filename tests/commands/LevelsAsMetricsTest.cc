// `moxsupply levels --format openmetrics`, read by the tools of Prometheus.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/support/ReservedPort.h"
#include "tests/support/Run.h"
#include "tests/support/SilentPort.h"
#include "tests/support/SimulatedPrinter.h"
#include "tests/support/TemporaryFolder.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

Ran metrics(std::vector<std::string> arguments, const std::vector<std::string>& environment = {}) {
  arguments.insert(arguments.begin(), {MOXSUPPLY_PROGRAM, "levels"});
  arguments.insert(arguments.end(), {"--format", "openmetrics"});
  return run(arguments, environment);
}

void write(const std::filesystem::path& path, const std::string& text) {
  std::ofstream(path) << text;
}

// The linter of the text format, which also reads it.
void expectPromtoolHasNothingToSay(const std::string& text) {
  const TemporaryFolder folder;
  write(folder.path() / "metrics", text);
  const Ran checked =
      run({"sh", "-c", R"(exec promtool check metrics <"$0")", folder.path() / "metrics"});
  EXPECT_EQ(checked.exitStatus, 0);
  EXPECT_EQ(checked.output + checked.errors, "") << text;
}

// The reader of OpenMetrics. What it takes has times, so each series gets one.
void expectIsOpenMetrics(const std::string& text) {
  const TemporaryFolder folder;
  std::istringstream lines(text);
  std::string timed;
  for (std::string line; std::getline(lines, line);) {
    timed += line + (line.starts_with('#') ? "\n" : " 1700000000\n");
  }
  write(folder.path() / "metrics", timed);
  const Ran read = run({"promtool", "tsdb", "create-blocks-from", "openmetrics",
                        folder.path() / "metrics", folder.path() / "blocks"});
  EXPECT_EQ(read.exitStatus, 0) << read.output << read.errors << timed;
}

void expectWellFormed(const std::string& text) {
  EXPECT_THAT(text, EndsWith("\n# EOF\n"));
  expectPromtoolHasNothingToSay(text);
  expectIsOpenMetrics(text);
}

TEST(LevelsAsMetrics, AreWellFormed) {
  const SimulatedPrinter printer("laser-colour-full");
  const Ran shown = metrics({printer.uri()});
  EXPECT_EQ(shown.exitStatus, 0);
  EXPECT_EQ(shown.errors, "");
  EXPECT_THAT(shown.output, HasSubstr("npa_supply_info{instance=\"" + printer.uri() +
                                      "\",supply=\"1\",name=\"Cyan Toner Cartridge\","
                                      "type=\"toner\",color=\"Cyan\"} 1\n"));
  EXPECT_THAT(shown.output, HasSubstr("npa_supply_level_ratio{instance=\"" + printer.uri() +
                                      "\",supply=\"4\"} 0.15\n"));
  EXPECT_THAT(shown.output, HasSubstr("npa_probe_success{instance=\"" + printer.uri() + "\"} 1\n"));
  expectWellFormed(shown.output);
}

TEST(LevelsAsMetrics, OfFaultyCartridgesAreWellFormed) {
  const SimulatedPrinter printer("inkjet-lantern-cartridge-faults");
  const Ran shown = metrics({printer.uri(), "--type", "inkjet"});
  EXPECT_EQ(shown.exitStatus, 0);
  EXPECT_THAT(shown.output, HasSubstr("reason=\"missing\"} 1\n"));
  EXPECT_THAT(shown.output, HasSubstr("status=\"incorrect\"} 1\n"));
  expectWellFormed(shown.output);
}

// What a printer calls its supplies is text from outside.
TEST(LevelsAsMetrics, OfAPrinterWithOddNamesAreWellFormed) {
  const TemporaryFolder folder;
  write(folder.path() / "odd.json", R"({"about": "Odd", "printer": "laser", "supplies": [
      {"number": 1, "type": "toner", "description": "Toner \"}\n\\ # EOF\n\u202e",
       "max-level": 100, "level": 7}]})");
  const SimulatedPrinter printer(folder.path() / "odd.json");
  const Ran shown = metrics({printer.uri(), "--type", "laser"});
  EXPECT_THAT(shown.output, HasSubstr(R"(name="Toner \"} \\ # EOF")"));
  expectWellFormed(shown.output);
}

// They are what series are known by.
TEST(LevelsAsMetrics, HaveTheSameNamesInEveryLanguage) {
  const SimulatedPrinter printer("inkjet-lantern-four-cartridges");
  const Ran shown = metrics({printer.uri(), "--type", "inkjet"},
                            {"LC_ALL=", "LC_MESSAGES=en_US.UTF-8", "LANGUAGE=de"});
  EXPECT_THAT(shown.output, HasSubstr("name=\"Black Cartridge\""));
}

TEST(MetricsOfAPrinterThatIsSilent, SaySo) {
  const SilentPort port;
  const Ran shown = metrics({port.uri(), "--type", "laser", "--timeout", "0"});
  EXPECT_EQ(shown.exitStatus, 1);
  EXPECT_THAT(shown.errors, StartsWith("moxsupply levels: " + port.uri() + " did not answer"));
  EXPECT_THAT(shown.output, Not(HasSubstr("npa_supply")));
  EXPECT_THAT(shown.output, HasSubstr("npa_probe_success{instance=\"" + port.uri() + "\"} 0\n"));
  EXPECT_THAT(shown.output, HasSubstr("status=\"nothing_received\"} 1\n"));
  expectWellFormed(shown.output);
}

// The query is given up while standard output is the printer's link: the metrics must not go there.
TEST(MetricsOfAPrinterThatIsSilent, ComeAtTheDeadline) {
  const SilentPort port;
  const Ran shown = metrics({port.uri(), "--timeout", "100", "--deadline", "1"});
  EXPECT_EQ(shown.exitStatus, 1);
  EXPECT_LT(shown.time, 4s);
  EXPECT_THAT(shown.output, HasSubstr("status=\"deadline\"} 1\n"));
  EXPECT_THAT(shown.output,
              HasSubstr("npa_probe_duration_seconds{instance=\"" + port.uri() + "\"} 1.0"));
  expectWellFormed(shown.output);
}

TEST(MetricsOfAHostThatRefuses, SayThatItCannotBeReached) {
  const ReservedPort port;
  const Ran shown = metrics({port.uri()});
  EXPECT_EQ(shown.exitStatus, 1);
  EXPECT_THAT(shown.errors, HasSubstr("Connection refused"));
  EXPECT_THAT(shown.output, HasSubstr("status=\"unreachable\"} 1\n"));
  expectWellFormed(shown.output);
}

TEST(LevelsAsMetrics, OfNoPrinterAreNone) {
  const Ran shown = metrics({"carrier-pigeon://loft"});
  EXPECT_EQ(shown.exitStatus, 2);
  EXPECT_EQ(shown.output, "");
  EXPECT_THAT(shown.errors, StartsWith("moxsupply levels: no CUPS backend carries"));
}

TEST(LevelsAsMetrics, AreNotRecorded) {
  const Ran shown = metrics({"socket://192.0.2.7", "--record", "transcript"});
  EXPECT_EQ(shown.exitStatus, 2);
  EXPECT_EQ(shown.output, "");
  EXPECT_THAT(shown.errors, StartsWith("moxsupply levels: --record"));
}

TEST(LevelsAsMetrics, OnAFullDeviceSayThatTheyCouldNotBeWritten) {
  const SimulatedPrinter printer("laser-mono-toner");
  const Ran shown =
      run({"sh", "-c", R"(exec "$0" levels "$1" --type laser --format openmetrics >/dev/full)",
           MOXSUPPLY_PROGRAM, printer.uri()});
  EXPECT_EQ(shown.exitStatus, 2);
  EXPECT_EQ(shown.errors, "moxsupply levels: standard output: No space left on device\n");
}

// Most print servers have moxsupply and no monitoring.
TEST(WithoutTheMonitoringProgram, OneLineNamesWhatIsMissing) {
  namespace fs = std::filesystem;
  const TemporaryFolder folder;
  fs::create_directory(folder.path() / "bin");
  fs::create_directory(folder.path() / "lib");
  fs::copy(MOXSUPPLY_PROGRAM, folder.path() / "bin/moxsupply");
  fs::copy(MOXSUPPLY_MODULE, folder.path() / "lib");
  for (const auto& arguments : std::vector<std::vector<std::string>>{
           {"exporter", "--help"},
           {"exporter", "--printers", "printers.json"},
           {"levels", "socket://192.0.2.7", "--format", "openmetrics"}}) {
    std::vector<std::string> command = {folder.path() / "bin/moxsupply"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    const Ran shown = run(command);
    EXPECT_EQ(shown.exitStatus, 2);
    EXPECT_EQ(shown.output, "");
    EXPECT_EQ(shown.errors,
              "moxsupply: metrics need the package moxsupply-exporter, which is not installed\n");
  }
}

}  // namespace
}  // namespace moxsupply::testing
