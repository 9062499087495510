#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "tests/support/TemporaryFolder.h"

namespace moxsupply::testing {

using Texts = std::vector<std::string>;

// A run of a program in which something has failed.
struct FailedRun {
  int exitStatus = -1;  // 128 and more: a signal
  std::string output = {};
  std::string errors = {};
  std::uint64_t counted = 0;
  std::string call = {};  // that has failed

  [[nodiscard]] bool looksLike(const FailedRun& other) const {
    return exitStatus == other.exitStatus && output == other.output && errors == other.errors;
  }
};

// Whether it died in libcups, which reads PPD files and keeps what is its own without looking
// whether it got memory: that comes first where the stack at its end leaves the C library.
bool diedInLibcups(const FailedRun& run);

std::set<std::string> linesOfText(const std::string& text);

// A program of ours, run with one failure. The parameter: of what (see WithFailure.cc).
class EveryFailure : public ::testing::TestWithParam<const char*> {
 protected:
  void SetUp() override;

  [[nodiscard]] std::string pathOf(const std::string& name) const { return mFolder.path() / name; }

  // Runs this with the failure of that number; addResult then adds what is known of it. `name`: of
  // a run, where several go on at once.
  [[nodiscard]] Texts withFailure(std::uint64_t number, const Texts& command,
                                  const std::string& name = "result") const;
  void addResult(FailedRun& run, const std::string& name = "result") const;

  // Says how the runs ended. Judges those that differ from one without a failure, which is 0.
  using RunOnce = std::function<FailedRun(std::uint64_t number)>;
  using Judge = std::function<void(const FailedRun& run, const FailedRun& undisturbed)>;
  // So many runs go on at once.
  static void forEach(const RunOnce& runOnce, const Judge& judge, int atOnce = 1);

 private:
  TemporaryFolder mFolder;
};

}  // namespace moxsupply::testing
