#include <gtest/gtest.h>

#include "queue/QueueChecks.h"

namespace moxsupply::testing {
namespace {

TEST(TheCheckOfTheKernel, NamesWhatItLacks) {
  EXPECT_FALSE(checkKernel({.hasSeccomp = true, .hasLandlock = true}));

  const auto remark = checkKernel({.hasSeccomp = true, .hasLandlock = false}).value();
  EXPECT_TRUE(remark.isGood());
  EXPECT_EQ(remark.what, "the kernel has no Landlock; seccomp alone keeps queries from files");

  const auto fault = checkKernel({.hasSeccomp = false, .hasLandlock = true}).value();
  EXPECT_EQ(fault.weight, Weight::kCostly);
  EXPECT_EQ(fault.what, "the kernel has no seccomp");
  EXPECT_EQ(checkKernel({}).value().what, "the kernel has neither seccomp nor Landlock");
}

}  // namespace
}  // namespace moxsupply::testing
