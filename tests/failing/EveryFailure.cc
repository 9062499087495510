#include "tests/failing/EveryFailure.h"

#include <fmt/format.h>

#include <atomic>
#include <cstdio>
#include <fstream>
#include <map>
#include <mutex>
#include <optional>
#include <sstream>
#include <thread>

#include "tests/support/Depth.h"

namespace moxsupply::testing {

bool diedInLibcups(const FailedRun& run) {
  if (run.exitStatus < 128) return false;
  std::istringstream stack(run.errors);
  for (std::string place; std::getline(stack, place);) {
    const bool isPlace = place.ends_with(']') && place.starts_with('/');
    const bool isPassedBy = place.find("/libfailing-allocations.so") != std::string::npos ||
                            place.find("/libc.so") != std::string::npos;
    if (isPlace && !isPassedBy) return place.find("/libcups.so") != std::string::npos;
  }
  return false;
}

std::set<std::string> linesOfText(const std::string& text) {
  std::set<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.insert(line);
  return lines;
}

void EveryFailure::SetUp() {
  if (kIsSlowBuild) GTEST_SKIP() << "a sanitizer has memory of its own";
}

Texts EveryFailure::withFailure(std::uint64_t number, const Texts& command,
                                const std::string& name) const {
  Texts all = {MOXSUPPLY_WITH_FAILURE, GetParam(), std::to_string(number), pathOf(name)};
  all.insert(all.end(), command.begin(), command.end());
  return all;
}

void EveryFailure::addResult(FailedRun& run, const std::string& name) const {
  std::ifstream(pathOf(name)) >> run.counted >> run.call;
}

void EveryFailure::forEach(const RunOnce& runOnce, const Judge& judge, int atOnce) {
  const FailedRun undisturbed = runOnce(0);
  ASSERT_GT(undisturbed.counted, 0U);
  ASSERT_EQ(undisturbed.exitStatus, 0) << undisturbed.errors;
  const std::uint64_t every = undisturbed.counted / failuresTried(undisturbed.counted);
  const auto only = onlyFailure();
  const std::uint64_t last = only.value_or(undisturbed.counted);

  std::map<std::string, int> endings;
  std::mutex mutex;
  std::atomic<std::uint64_t> next = only.value_or(1);
  const auto work = [&] {
    for (auto number = next.fetch_add(every); number <= last; number = next.fetch_add(every)) {
      const FailedRun run = runOnce(number);
      const std::lock_guard lock(mutex);
      SCOPED_TRACE(fmt::format("{}, MOXSUPPLY_FAILURE={} ({}): {} {}", GetParam(), number, run.call,
                               run.exitStatus, run.errors));
      const bool isUnchanged = run.looksLike(undisturbed);
      if (!isUnchanged) judge(run, undisturbed);
      ++endings[isUnchanged ? "unchanged" : fmt::format("exit {}", run.exitStatus)];
    }
  };
  std::vector<std::thread> others;
  for (int i = 1; i < atOnce; ++i) others.emplace_back(work);
  work();
  for (std::thread& other : others) other.join();

  std::string text = fmt::format("{}: {} in all", GetParam(), undisturbed.counted);
  for (const auto& [ending, count] : endings) text += fmt::format("; {} {}", ending, count);
  std::printf("%s\n", text.c_str());
}

}  // namespace moxsupply::testing
