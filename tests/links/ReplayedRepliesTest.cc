// What is heard of recorded answers that are played again.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "links/ReplayedReplies.h"
#include "tests/support/Bytes.h"

namespace moxsupply::testing {
namespace {

using std::chrono::milliseconds;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const Bytes kPacket = {0xA5, 0x00, 0x06, 0x50, 0xE0, 0x21, 0x01, 0x00, 0xFF};

transcript::Session answerAfter(milliseconds pause) {
  return {"Laser", "socket", 1, {{transcript::Event::kReceived, pause, kPacket}}};
}

TEST(ReplayedReplies, HaveAnAnswerOfOnePieceAndItsEnd) {
  const auto begin = std::chrono::steady_clock::now();
  const auto none = [](auto) { return false; };
  EXPECT_THAT(replayedReplies(answerAfter(milliseconds(3)), none),
              ElementsAre(kPacket, IsEmpty(), IsEmpty(), IsEmpty()));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
}

TEST(ReplayedReplies, HaveTheSilenceBeforeAnAnswer) {
  const auto any = [](auto) { return true; };
  EXPECT_THAT(replayedReplies(answerAfter(milliseconds(1500)), any),
              ElementsAre(IsEmpty(), kPacket));
}

}  // namespace
}  // namespace moxsupply::testing
