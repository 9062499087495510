#include <gtest/gtest.h>

#include "text/Columns.h"

namespace moxsupply::testing {
namespace {

TEST(Columns, AreAsWideAsTheirWidestCell) {
  EXPECT_EQ(inColumns({{"A", "LEVEL", "C"}, {"long", "5 %", "x"}, {"last", "", ""}}),
            "A     LEVEL  C\n"
            "long  5 %    x\n"
            "last\n");
  EXPECT_EQ(inColumns({}), "");
}

}  // namespace
}  // namespace moxsupply::testing
