// Names the test in which a program of tests dies. When it is to be brief, GoogleTest names only
// those that fail.

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <string>

#include "tests/support/Depth.h"

namespace moxsupply::testing {
namespace {

extern "C" void nameTest(int signal) {
  if (const auto* test = ::testing::UnitTest::GetInstance()->current_test_info()) {
    const std::string line =
        std::string("Died in ") + test->test_suite_name() + '.' + test->name() + '\n';
    static_cast<void>(::write(STDERR_FILENO, line.data(), line.size()) > 0);
  }
  ::signal(signal, SIG_DFL);
  ::raise(signal);
}

[[maybe_unused]] const bool kIsListening = [] {
  ::signal(SIGABRT, nameTest);
  if (kIsSlowBuild) return true;  // sanitizers tell more themselves of what follows
  for (const int signal : {SIGBUS, SIGFPE, SIGILL, SIGSEGV}) ::signal(signal, nameTest);
  return true;
}();

}  // namespace
}  // namespace moxsupply::testing
