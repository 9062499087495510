#include <gtest/gtest.h>

#include "simulator/Replay.h"
#include "tests/support/Hex.h"
#include "tests/support/Requests.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;
using simulator::Request;
using simulator::Then;
using simulator::Write;
using transcript::Event;
using transcript::Transcript;

// A printer that was asked as a laser printer, in part in vain, and then as an inkjet printer.
const Transcript kRecorded = {
    {"Laser",
     "socket",
     1,
     {{Event::kSent, 0ms, kDeviceQuery},
      {Event::kReceived, 5ms, {1}},
      {Event::kReceived, 20ms, {2, 3}},
      {Event::kSent, 0ms, kSuppliesQuery}}},
    {"Inkjet",
     "socket",
     2,
     {{Event::kSent, 0ms, kLoopBack},
      {Event::kSent, 0ms, kInkjetQuery},
      {Event::kReceived, 7ms, {4}},
      {Event::kEnded, 9ms, {}}}},
};

// What is written: "5+01 20+0203", and "end" where the printer hangs up.
std::string text(const std::vector<Write>& writes) {
  std::string text;
  for (const Write& write : writes) {
    if (!text.empty()) text += ' ';
    text += std::to_string(write.pause.count()) + '+' + hexText(write.bytes);
    if (write.then == Then::kHangUp) text += "end";
  }
  return text;
}

TEST(Replay, AnswersEachRequestAsItWasAnswered) {
  auto laser = simulator::Replay::of(kRecorded)->conversation();
  EXPECT_EQ(text(laser(Request::kDeviceQuery)), "5+01 20+02 03");
  EXPECT_EQ(text(laser(Request::kSuppliesQuery)), "");
  auto inkjet = simulator::Replay::of(kRecorded)->conversation();
  EXPECT_EQ(text(inkjet(Request::kLoopBack)), "");
  EXPECT_EQ(text(inkjet(Request::kInkjetQuery)), "7+04 9+end");
}

TEST(Replay, AnswersARequestWhereverItStands) {
  auto answers = simulator::Replay::of(kRecorded)->conversation();
  EXPECT_EQ(text(answers(Request::kInkjetQuery)), "7+04 9+end");
  EXPECT_EQ(text(answers(Request::kDeviceQuery)), "5+01 20+02 03");
  EXPECT_EQ(text(answers(Request::kDeviceQuery)), "5+01 20+02 03");
  auto other = simulator::Replay::of({kRecorded[1]})->conversation();
  EXPECT_EQ(text(other(Request::kDeviceQuery)), "");
  EXPECT_EQ(text(other(Request::kInkjetQuery)), "7+04 9+end");
}

TEST(Replay, GoesOnBehindTheLastRequest) {
  auto answers = simulator::Replay::of({{"Laser",
                                         "usb",
                                         1,
                                         {{Event::kSent, 0ms, kDeviceQuery},
                                          {Event::kReceived, 0ms, {1}},
                                          {Event::kSent, 0ms, kDeviceQuery},
                                          {Event::kReceived, 0ms, {2}}}}})
                     ->conversation();
  EXPECT_EQ(text(answers(Request::kDeviceQuery)), "0+01");
  EXPECT_EQ(text(answers(Request::kDeviceQuery)), "0+02");
  EXPECT_EQ(text(answers(Request::kDeviceQuery)), "0+01");
}

TEST(Replay, CanDoWithoutThePauses) {
  auto answers = simulator::Replay::of(kRecorded, simulator::Pauses::kNone)->conversation();
  EXPECT_EQ(text(answers(Request::kDeviceQuery)), "0+01 0+02 03");
}

TEST(Replay, SendsWhatCameUnaskedWithTheFirstAnswer) {
  auto answers = simulator::Replay::of({{"Inkjet",
                                         "usb",
                                         1,
                                         {{Event::kReceived, 3ms, {1}},
                                          {Event::kSent, 0ms, kInkjetQuery},
                                          {Event::kReceived, 4ms, {2}}}}})
                     ->conversation();
  EXPECT_EQ(text(answers(Request::kInkjetQuery)), "3+01 4+02");
}

TEST(Replay, OfNoRequestIsRefused) {
  const Transcript silent = {{"Laser", "usb", 1, {{Event::kReceived, 0ms, {1}}}}};
  EXPECT_FALSE(simulator::Replay::of(silent));
  const Transcript foreign = {{"Laser", "usb", 1, {{Event::kSent, 0ms, hex("1B 25")}}}};
  EXPECT_FALSE(simulator::Replay::of(foreign));
}

}  // namespace
}  // namespace moxsupply::testing
