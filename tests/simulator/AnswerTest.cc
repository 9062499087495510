#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "simulator/Answer.h"
#include "tests/support/Hex.h"

namespace moxsupply::testing {
namespace {

using namespace std::chrono_literals;

using simulator::answerTo;
using simulator::DotsRecord;
using simulator::InkjetModel;
using simulator::LaserModel;
using simulator::Model;
using simulator::Request;
using simulator::Write;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

// The whole answer of an inkjet printer without items.
const Bytes kNoItems = hex("A5 00 07 50 E0 81 00 FF 00 00");

Model inkjet() {
  Model model;
  model.printer = InkjetModel{};
  return model;
}

Model laser() {
  LaserModel printer;
  printer.record = DotsRecord{};
  Model model;
  model.printer = printer;
  return model;
}

std::vector<Bytes> bytesOfWrites(const std::vector<Write>& writes) {
  std::vector<Bytes> all(writes.size());
  std::ranges::transform(writes, all.begin(), &Write::bytes);
  return all;
}

std::vector<std::int64_t> pausesOf(const std::vector<Write>& writes) {
  std::vector<std::int64_t> all(writes.size());
  std::ranges::transform(writes, all.begin(),
                         [](const Write& write) { return write.pause.count(); });
  return all;
}

TEST(Answer, IsTheReplyInOneWrite) {
  const auto writes = answerTo(inkjet(), Request::kInkjetQuery);
  EXPECT_THAT(bytesOfWrites(writes), ElementsAre(kNoItems));
  EXPECT_THAT(pausesOf(writes), ElementsAre(0));
}

TEST(Answer, OfAnInkjetPrinterIsSilenceToTheLaserQueries) {
  EXPECT_THAT(answerTo(inkjet(), Request::kDeviceQuery), IsEmpty());
  EXPECT_THAT(answerTo(inkjet(), Request::kSuppliesQuery), IsEmpty());
}

TEST(Answer, OfALaserPrinterIsSilenceToTheInkjetQuery) {
  EXPECT_THAT(answerTo(laser(), Request::kDeviceQuery), SizeIs(1));
  EXPECT_THAT(answerTo(laser(), Request::kSuppliesQuery), SizeIs(1));
  EXPECT_THAT(answerTo(laser(), Request::kInkjetQuery), IsEmpty());
}

TEST(Answer, ToTheLoopBackIsSilenceUnlessTheModelHasOne) {
  Model model = laser();
  EXPECT_THAT(answerTo(model, Request::kLoopBack), IsEmpty());
  model.loopBackReply = hex("A5 00 02 50 00");
  EXPECT_THAT(bytesOfWrites(answerTo(model, Request::kLoopBack)),
              ElementsAre(hex("A5 00 02 50 00")));
}

TEST(Answer, OfALaserPrinterWithoutARecordIsSilenceToTheSuppliesQuery) {
  Model model;
  model.printer = LaserModel{};
  EXPECT_THAT(answerTo(model, Request::kDeviceQuery), SizeIs(1));
  EXPECT_THAT(answerTo(model, Request::kSuppliesQuery), IsEmpty());
}

TEST(Answer, BeginsWithTheStrayReplies) {
  Model model = inkjet();
  model.replyTo(Request::kInkjetQuery).strays = {hex("01 02"), hex("03")};
  EXPECT_THAT(bytesOfWrites(answerTo(model, Request::kInkjetQuery)),
              ElementsAre(hex("01 02"), hex("03"), kNoItems));
}

TEST(Answer, IsTheStrayRepliesAloneOfAPrinterThatDoesNotAnswer) {
  Model model = inkjet();
  model.replyTo(Request::kInkjetQuery).answers = false;
  EXPECT_THAT(answerTo(model, Request::kInkjetQuery), IsEmpty());
  model.replyTo(Request::kInkjetQuery).strays = {hex("01 02")};
  EXPECT_THAT(bytesOfWrites(answerTo(model, Request::kInkjetQuery)), ElementsAre(hex("01 02")));
}

TEST(Answer, IsCutIntoPacketsAndWrites) {
  Model model = inkjet();
  model.replyTo(Request::kInkjetQuery).packets = {1};
  model.replyTo(Request::kInkjetQuery).writes = {{.size = 5, .pause = 10ms}, {.size = 6}};
  const auto writes = answerTo(model, Request::kInkjetQuery);
  EXPECT_THAT(bytesOfWrites(writes), ElementsAre(hex("A5 00 06 70 E0"),     //
                                                 hex("81 00 FF 00 A5 00"),  //
                                                 hex("03 50 E0 00")));
  EXPECT_THAT(pausesOf(writes), ElementsAre(10, 0, 0));
}

TEST(Answer, HasNoWritesBeyondItsEnd) {
  Model model = inkjet();
  model.replyTo(Request::kInkjetQuery).writes = {{.size = 9}, {.size = 9}, {.size = 9}};
  EXPECT_THAT(bytesOfWrites(answerTo(model, Request::kInkjetQuery)),
              ElementsAre(hex("A5 00 07 50 E0 81 00 FF 00"), hex("00")));
}

}  // namespace
}  // namespace moxsupply::testing
