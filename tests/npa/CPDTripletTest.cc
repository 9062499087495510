#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "npa/CPDTriplet.h"

namespace moxsupply::testing {
namespace {

using Rows = std::vector<std::pair<std::string, int>>;

TEST(CPDTriplet, HasTheseRowsInThisOrder) {
  Rows rows;
  for (const CPDTripletRow& row : CPDTriplet) {
    if (row.key != nullptr) rows.emplace_back(row.key, row.itemId & 0xFFFF);
  }
  EXPECT_EQ(rows, (Rows{
                      {"kPrintHead", 0x0019},
                      {"kFirstCartID", 0x0110},
                      {"kFirstCartID", 0x0100},
                      {"kSecondCartID", 0x0120},
                      {"kSecondCartID", 0x0200},
                      {"kThirdCartID", 0x0130},
                      {"kFourthCartID", 0x0140},
                      {"kDotCountBlack", 0x0400},
                      {"kDotCountCyan", 0x0401},
                      {"kDotCountMagenta", 0x0402},
                      {"kDotCountYellow", 0x0403},
                      {"kDotCountPhotoK", 0x0404},
                      {"kDotCountPhotoC", 0x0405},
                      {"kDotCountPhotoM", 0x0406},
                      {"kDotCountAlternativeC", 0x0407},
                      {"kDotCountAlternativeM", 0x0408},
                      {"kDotCountAlternativeY", 0x0409},
                      {"kSlot1DotCapacityB", 0x0414},
                      {"kSlot1DotCapacityB", 0x0203},
                      {"kSlot2DotCapacityC", 0x0415},
                      {"kSlot2DotCapacityC", 0x0103},
                      {"kAltColorDotCapacity", 0x0416},
                      {"kPhotoDotCapacity", 0x0417},
                      {"kSlot3DotCapacityM", 0x0418},
                      {"kSlot4DotCapacityY", 0x0419},
                      {"kMonoInkRemaining", 0x0427},
                      {"kCyanInkRemaining", 0x0428},
                      {"kMagentaInkRemaining", 0x0429},
                      {"kYellowInkRemaining", 0x042A},
                      {"kCyanPhotoInkRemaining", 0x042B},
                      {"kMagentaPhotoInkRemaining", 0x042C},
                      {"kYellowPhotoInkRemaining", 0x042D},
                  }));
}

TEST(CPDTriplet, EndsWithTheOneRowThatHasNoKey) {
  ASSERT_EQ(CPDTriplet.size(), 33U);
  EXPECT_EQ(CPDTriplet.back().key, nullptr);
  for (std::size_t i = 0; i + 1 < CPDTriplet.size(); ++i) EXPECT_NE(CPDTriplet.at(i).key, nullptr);
}

}  // namespace
}  // namespace moxsupply::testing
