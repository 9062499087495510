#include <gtest/gtest.h>

#include "transcript/ReplayPace.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;
using transcript::Event;
using transcript::ReplayPace;
using transcript::Session;

Session queryWithPause(std::uint32_t timeout, std::chrono::milliseconds pause) {
  return {"Laser", "usb", timeout, {{Event::kSent, 0ms, {1}}, {Event::kReceived, pause, {1}}}};
}

TEST(ReplayPace, WaitsForNothingWhereNoReadTimedOut) {
  const Session query = queryWithPause(5, 4999ms);
  const ReplayPace pace(query);
  EXPECT_FALSE(pace.hasSilence());
  EXPECT_GE(pace.timeout(), 10U);
  EXPECT_EQ(pace.pauseBefore(query.operations[1]), 0ms);
}

TEST(ReplayPace, LetsAsManyReadsTimeOutAsDid) {
  const Session query = queryWithPause(5, 10001ms);
  const ReplayPace pace(query);
  EXPECT_TRUE(pace.hasSilence());
  EXPECT_EQ(pace.timeout(), 1U);
  EXPECT_EQ(pace.pauseBefore(query.operations[0]), 0ms);
  EXPECT_EQ(pace.pauseBefore(query.operations[1]), 2500ms);
}

TEST(ReplayPace, IsBoundedWhateverIsWritten) {
  const Session query = queryWithPause(1, 4294967295ms);
  EXPECT_EQ(ReplayPace(query).pauseBefore(query.operations[1]), 8500ms);
  const Session unending = queryWithPause(4294967295, 4294967295ms);
  EXPECT_FALSE(ReplayPace(unending).hasSilence());
}

TEST(ReplayPace, OfAQueryThatNeverWaitsHasNoPauses) {
  const Session query = queryWithPause(0, 3000ms);
  EXPECT_EQ(ReplayPace(query).pauseBefore(query.operations[1]), 0ms);
}

}  // namespace
}  // namespace moxsupply::testing
