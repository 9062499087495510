#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulator/Printer.h"
#include "tests/support/Hex.h"
#include "tests/support/Requests.h"

namespace moxsupply::testing {
namespace {

using simulator::InkjetModel;
using simulator::Junk;
using simulator::Model;
using simulator::Printer;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class PrinterTest : public ::testing::Test {
 protected:
  PrinterTest() { mModel.printer = InkjetModel{}; }

  Model mModel;
  std::vector<Bytes> mJunk;
  Printer mPrinter{mModel, [this](const Junk& junk) { mJunk.push_back(junk.head); }};
};

TEST_F(PrinterTest, AnswersEachOfSeveralRequestsInOneWrite) {
  EXPECT_THAT(mPrinter.receive(joined({kLoopBack, kInkjetQuery, kInkjetQuery})), SizeIs(2));
  EXPECT_THAT(mJunk, IsEmpty());
}

TEST_F(PrinterTest, AnswersARequestThatComesInPiecesOnceItIsWhole) {
  EXPECT_THAT(mPrinter.receive(hex("A5 00 05 50")), IsEmpty());
  EXPECT_THAT(mPrinter.receive(hex("E0 81 00")), IsEmpty());
  EXPECT_THAT(mPrinter.receive(hex("FF")), SizeIs(1));
}

TEST_F(PrinterTest, ComplainsOfJunkAndAnswersWhatFollowsIt) {
  EXPECT_THAT(mPrinter.receive(joined({hex("01 02"), kInkjetQuery})), SizeIs(1));
  EXPECT_THAT(mJunk, ElementsAre(hex("01 02")));
}

TEST_F(PrinterTest, ComplainsOfJunkOnceItIsQuiet) {
  EXPECT_FALSE(mPrinter.holdsJunk());
  EXPECT_THAT(mPrinter.receive(hex("01 02 A5")), IsEmpty());
  EXPECT_TRUE(mPrinter.holdsJunk());
  EXPECT_THAT(mJunk, IsEmpty());
  mPrinter.hearNothing();
  EXPECT_THAT(mJunk, ElementsAre(hex("01 02")));  // a request may have begun
  mPrinter.hearNothing();
  EXPECT_THAT(mJunk, SizeIs(1));
  mPrinter.hearEnd();
  EXPECT_THAT(mJunk, ElementsAre(hex("01 02"), hex("A5")));
}

TEST_F(PrinterTest, SaysNothingOfARequestForTheOtherKindOfPrinter) {
  EXPECT_THAT(mPrinter.receive(hex("A5 00 10 80 A4 5B A4 5B 10 EF A4 5B 11 EE 00 FF 13 EC 2E"
                                   "A5 00 05 50 E0 07 02 00")),
              IsEmpty());
  mPrinter.hearEnd();
  EXPECT_THAT(mJunk, IsEmpty());
}

}  // namespace
}  // namespace moxsupply::testing
