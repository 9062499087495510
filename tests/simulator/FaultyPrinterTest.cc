// `moxsupply simulate --fault`, as a host on the network meets it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <thread>

#include "tests/simulator/FourCartridges.h"
#include "tests/support/Client.h"
#include "tests/support/FilterProcess.h"
#include "tests/support/Hex.h"
#include "tests/support/Requests.h"
#include "tests/support/SimulatedPrinter.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using ::testing::HasSubstr;

Bytes firstOf(const Bytes& bytes, std::size_t size) {
  return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)};
}

TEST(PrinterWithAFault, HangsUpInTheMiddle) {
  const SimulatedPrinter printer(kFour, {"cut=20"});
  const Client client(printer.uri());
  client.send(kInkjetQuery);
  EXPECT_EQ(client.receive(1000), firstOf(kFourCartridges, 20));
}

TEST(PrinterWithAFault, HangsUpUponTheFirstRequest) {
  const SimulatedPrinter printer(kFour, {"cut"});
  const Client client(printer.uri());
  client.send(joined({kInkjetQuery, kInkjetQuery}));
  EXPECT_EQ(client.receive(1), Bytes());
}

TEST(PrinterWithAFault, ResetsTheConnectionOnceItsBytesHaveArrived) {
  const SimulatedPrinter printer(kFour, {"reset=20"});
  const Client client(printer.uri());
  client.send(kInkjetQuery);
  EXPECT_EQ(client.receive(20), firstOf(kFourCartridges, 20));
  EXPECT_TRUE(client.isReset());
}

TEST(PrinterWithAFault, StaysSilentAndConnected) {
  const SimulatedPrinter printer(kFour, {"silent=20"});
  const Client client(printer.uri());
  client.send(kInkjetQuery);
  EXPECT_EQ(client.receive(20), firstOf(kFourCartridges, 20));
  client.send(kInkjetQuery);
  EXPECT_TRUE(client.isQuietFor(300ms));
}

TEST(PrinterWithAFault, Drips) {
  const SimulatedPrinter printer(kFour, {"drip=20"});
  const Client client(printer.uri());
  const auto start = Clock::now();
  client.send(kInkjetQuery);
  EXPECT_EQ(client.receive(10), firstOf(kFourCartridges, 10));
  EXPECT_GE(Clock::now() - start, 200ms);
}

TEST(PrinterWithAFault, WakesUpAndAnswersWhatItWasAsked) {
  const SimulatedPrinter printer(kFour, {"wake=400"});
  const auto start = Clock::now();
  const Client client(printer.uri());
  client.send(kInkjetQuery);
  EXPECT_EQ(client.receive(10), firstOf(kFourCartridges, 10));
  EXPECT_GE(Clock::now() - start, 400ms);
}

TEST(PrinterWithAFault, FloodsOneHostAndServesTheOthers) {
  const SimulatedPrinter printer(kFour, {"flood"});
  const Client flooded(printer.uri());
  flooded.send(kInkjetQuery);
  EXPECT_EQ(flooded.receive(1'000'000), repeated('x', 1'000'000));
  const Client other(printer.uri());
  other.send(kInkjetQuery);
  EXPECT_EQ(other.receive(5000), repeated('x', 5000));
}

TEST(PrinterWithAFault, StaysWhenTheHostHasHungUp) {
  const SimulatedPrinter printer(kFour, {"never-close"});
  const Client client(printer.uri());
  client.send(kInkjetQuery);
  client.endSending();
  EXPECT_EQ(client.receive(kFourCartridges.size()), kFourCartridges);
  EXPECT_TRUE(client.isQuietFor(300ms));
}

TEST(PrinterWithFaults, HasThemAll) {
  const SimulatedPrinter printer(kFour, {"flip=47", "flip=1", "twice", "cut=50"});
  const Client client(printer.uri());
  client.send(kInkjetQuery);
  Bytes expected = firstOf(joined({kFourCartridges, kFourCartridges}), 50);
  expected[0] ^= 0x40;
  expected[5] ^= 0x01;
  EXPECT_EQ(client.receive(1000), expected);
}

TEST(PrinterWithAFault, HasItOnEachConnection) {
  const SimulatedPrinter printer(kFour, {"cut=3"});
  for (int i = 0; i < 3; ++i) {
    const Client client(printer.uri());
    client.send(kInkjetQuery);
    EXPECT_EQ(client.receive(1000), hex("A5 00 2B"));
  }
}

TEST(SimulateFault, ThatIsWrongIsToldInOneLineAndGives2) {
  for (const auto& [fault, line] :
       {std::pair("drip",
                  "--fault drip: expected a number of milliseconds from 0 to 3600000, not "
                  "nothing\n"),
        {"burn", "--fault burn: there is no such fault; there are cut[=N], "}}) {
    FilterProcess program(BackChannel::kClosed,
                          {MOXSUPPLY_PROGRAM, "simulate", kFour, "--fault", fault});
    const auto ending = program.wait();
    EXPECT_EQ(ending.exitStatus, 2);
    EXPECT_THAT(ending.result, HasSubstr(std::string("moxsupply simulate: ") + line));
    EXPECT_TRUE(ending.written.empty());
  }
}

TEST(SimulateFault, DoesNotTakeTheModelForItsOwn) {
  FilterProcess program(BackChannel::kClosed, {MOXSUPPLY_PROGRAM, "simulate", "--fault", "cut=1",
                                               "--fault=twice", kFour, "--", "true"});
  EXPECT_EQ(program.wait().exitStatus, 0);
}

}  // namespace
}  // namespace moxsupply::testing
