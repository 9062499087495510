// Each fault of the simulated printer, met by the programs: they end in time, say so, and leave
// nothing behind.

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <iterator>
#include <list>
#include <nlohmann/json.hpp>
#include <thread>

#include "tests/support/FilterProcess.h"
#include "tests/support/Golden.h"
#include "tests/support/Processes.h"
#include "tests/support/SimulatedPrinter.h"
#include "tests/support/TestName.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto kSlack = 3s;  // for a busy machine

// The command line.
std::vector<std::string> levels(const SimulatedPrinter& printer, std::vector<std::string> options) {
  options.insert(options.begin(), {MOXSUPPLY_PROGRAM, "levels", printer.uri()});
  return options;
}

// ---- The faults, one by one.

struct Meeting {
  const char* fault;
  int exitStatus;  // of a query whose every read, and all of it, has 2 seconds
};

void PrintTo(const Meeting& meeting, std::ostream* out) { *out << meeting.fault; }

class Fault : public ::testing::TestWithParam<Meeting> {};

// laser-mono-toner answers with 122 bytes, and then with 51 more.
INSTANTIATE_TEST_SUITE_P(
    OfAPrinter, Fault,
    ::testing::Values(Meeting{"cut", 1}, Meeting{"cut=60", 1}, Meeting{"reset", 1},
                      Meeting{"reset=60", 1}, Meeting{"silent", 1}, Meeting{"silent=60", 1},
                      Meeting{"drip=900", 1}, Meeting{"flood", 1}, Meeting{"flood=packets", 1},
                      Meeting{"twice", 0}, Meeting{"wrong-request", 1}, Meeting{"length=60000", 1},
                      Meeting{"length=-1", 1}, Meeting{"flip=0", 1}, Meeting{"never-close", 0}),
    [](const auto& meeting) { return asTestName(meeting.param.fault); });

// Directly, and at the same time through the real socket backend.
TEST_P(Fault, EndsByTheDeadline) {
  const SimulatedPrinter printer("laser-mono-toner", {GetParam().fault});
  std::vector<std::string> options = {"--type", "laser", "--timeout", "2", "--deadline", "2"};
  const auto start = Clock::now();
  std::list<FilterProcess> both;
  both.emplace_back(BackChannel::kClosed, levels(printer, options),
                    std::vector<std::string>{"LC_ALL=C"});
  options.emplace_back("--backend");
  both.emplace_back(BackChannel::kClosed, levels(printer, options),
                    std::vector<std::string>{"LC_ALL=C"});
  for (FilterProcess& process : both) {
    const auto ending = process.wait();
    EXPECT_LT(Clock::now() - start, 2s + kSlack);
    EXPECT_EQ(ending.exitStatus, GetParam().exitStatus) << ending.result;
    EXPECT_EQ(ending.result.empty(), GetParam().exitStatus == 0) << ending.result;
  }
  EXPECT_TRUE(areGoneWithin(2s, printer.uri()));
}

// ---- A printer that sends each byte just before the read for it would give up.

struct Drip {
  const char* printerType;
  int readsInVain;
};

class DrippingPrinter : public ::testing::TestWithParam<Drip> {};

INSTANTIATE_TEST_SUITE_P(ToAReport, DrippingPrinter,
                         ::testing::Values(Drip{"Laser", 8}, Drip{"Inkjet", 4}),
                         [](const auto& drip) { return std::string(drip.param.printerType); });

// Each byte may cost a read, and after the last one four attempts for each query may find nothing.
TEST_P(DrippingPrinter, IsWaitedForOnceAByteAndOnceAnAttempt) {
  constexpr int kBytes = 5;
  FilterProcess report(BackChannel::kNonBlockingPipe,
                       {MOXSUPPLY_PROGRAM, "report", "--printer-type", GetParam().printerType,
                        "--transport", "usb", "--timeout", "1"});
  report.receive(8);
  const auto start = Clock::now();
  for (int i = 0; i < kBytes; ++i) {
    std::this_thread::sleep_for(800ms);
    report.send(bytesOf("x"));
  }
  const auto dripped = Clock::now();
  while (report.isRunning() && Clock::now() - start < 30s) std::this_thread::sleep_for(10ms);
  EXPECT_LT(Clock::now() - start, (kBytes + GetParam().readsInVain) * 1s + kSlack);
  EXPECT_GE(Clock::now() - dripped, 4s) << "it did not wait for each of its attempts";
  EXPECT_EQ(report.wait().result, "{\"status\":-6,\"report\":{}}\n");
}

// ---- A printer that answers as late as it may: each query in its fourth reply, each reply just in
// time.

struct Late {
  const char* printerType;
  std::vector<Bytes> answers;  // one for each query
};

class LatePrinter : public ::testing::TestWithParam<Late> {};

INSTANTIATE_TEST_SUITE_P(
    ToAReport, LatePrinter,
    ::testing::Values(Late{"Laser",
                           {hex("A5 00 06 50 E0 21 01 00 00"), hex("A5 00 06 50 E0 07 02 00 00")}},
                      Late{"Inkjet", {hex("A5 00 0B 50 E0 81 00 FF 00 01 01 10 01 30")}}),
    [](const auto& late) { return std::string(late.param.printerType); });

TEST_P(LatePrinter, IsWaitedForFourTimesAQuery) {
  const Bytes other = hex("A5 00 06 50 E1 21 01 00 FF");
  FilterProcess report(BackChannel::kNonBlockingPipe,
                       {MOXSUPPLY_PROGRAM, "report", "--printer-type", GetParam().printerType,
                        "--transport", "usb", "--timeout", "1"});
  report.receive(8);
  const auto start = Clock::now();
  for (const Bytes& answer : GetParam().answers) {
    EXPECT_TRUE(report.isRunning());
    for (const Bytes& reply : {other, other, other, answer}) {
      std::this_thread::sleep_for(700ms);
      report.send(reply);
    }
  }
  const auto ending = report.wait();
  const auto queries = static_cast<int>(GetParam().answers.size());
  EXPECT_LT(Clock::now() - start, queries * 4s + kSlack);
  EXPECT_EQ(ending.result.find("{\"status\":-6"), std::string::npos) << "it was not waited for";
}

// ---- Many queries.

bool comeDownTo(std::size_t descriptors) {
  for (const auto end = Clock::now() + 2s; openDescriptors() > descriptors;) {
    if (Clock::now() > end) return false;
    std::this_thread::sleep_for(10ms);
  }
  return true;
}

TEST(ManyQueries, LeaveNoProcessAndThePrinterNoDescriptor) {
  const SimulatedPrinter printer("laser-mono-toner");
  const std::size_t before = openDescriptors();
  for (int i = 0; i < 40; ++i) {
    std::vector<std::string> options = {"--type", "laser"};
    if (i % 2 == 0) options.emplace_back("--backend");
    FilterProcess process(BackChannel::kClosed, levels(printer, options),
                          std::vector<std::string>{"LC_ALL=C"});
    const auto ending = process.wait();
    EXPECT_EQ(ending.exitStatus, 0) << ending.result;
  }
  EXPECT_TRUE(areGoneWithin(2s, printer.uri()));
  EXPECT_TRUE(comeDownTo(before));
}

}  // namespace
}  // namespace moxsupply::testing
