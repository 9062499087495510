#include <gtest/gtest.h>

#include <filesystem>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>

#include "commands/Command.h"
#include "tests/support/CapturedErrors.h"

namespace moxsupply::testing {
namespace {

// The exit status, and behind it what is said on standard error.
std::string endBy(const std::exception& error) {
  CapturedErrors errors;
  const int exitStatus = complainOfEnd(error);
  return std::to_string(exitStatus) + ' ' + errors.text();
}

TEST(AnExceptionThatReachesMain, IsAFailureWhereTheMachineRefuses) {
  EXPECT_EQ(endBy(std::bad_alloc()), "1 moxsupply: out of memory\n");
  const std::system_error thread(std::make_error_code(std::errc::resource_unavailable_try_again),
                                 "thread");
  EXPECT_EQ(endBy(thread), "1 moxsupply: thread: Resource temporarily unavailable\n");
}

TEST(AnExceptionThatReachesMain, IsOtherwiseAMistakeOfWhoeverGaveTheArguments) {
  EXPECT_EQ(endBy(std::runtime_error("no such thing")), "2 moxsupply: no such thing\n");
  const std::filesystem::filesystem_error file("cannot read", "/there",
                                               std::make_error_code(std::errc::permission_denied));
  EXPECT_EQ(endBy(file).substr(0, 24), "2 moxsupply: filesystem ");
}

}  // namespace
}  // namespace moxsupply::testing
