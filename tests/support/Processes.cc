#include "tests/support/Processes.h"

#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <sstream>
#include <thread>

#include "tests/support/TextFile.h"

namespace moxsupply::testing {

namespace fs = std::filesystem;

std::optional<pid_t> processWithWord(const std::string& word) {
  for (const fs::path& entry : fs::directory_iterator("/proc")) {
    const pid_t process = std::atoi(entry.filename().c_str());
    const bool isOther = process > 0 && process != ::getpid();
    if (isOther && contentOf(entry / "cmdline").find(word) != std::string::npos) return process;
  }
  return std::nullopt;
}

bool areGoneWithin(std::chrono::milliseconds patience, const std::string& word) {
  using Clock = std::chrono::steady_clock;
  for (const auto end = Clock::now() + patience; processWithWord(word);) {
    if (Clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

std::vector<pid_t> childrenOf(pid_t process) {
  const std::string folder = "/proc/" + std::to_string(process);
  std::istringstream list(contentOf(folder + "/task/" + std::to_string(process) + "/children"));
  return {std::istream_iterator<pid_t>(list), {}};
}

std::chrono::duration<double> processorTime(pid_t process) {
  const std::string stat = contentOf("/proc/" + std::to_string(process) + "/stat");
  // Behind the name, which ends with the last bracket, eleven fields come before the times.
  std::istringstream fields(stat.substr(stat.rfind(')') + 1));
  std::string field;
  for (int i = 0; i < 11; ++i) fields >> field;
  std::int64_t ticks = 0;
  for (int i = 0; i < 4; ++i) {  // user and system; the same of the children that have ended
    std::int64_t time = 0;
    fields >> time;
    ticks += time;
  }
  std::chrono::duration<double> time(static_cast<double>(ticks) /
                                     static_cast<double>(::sysconf(_SC_CLK_TCK)));
  for (const pid_t child : childrenOf(process)) time += processorTime(child);
  return time;
}

std::size_t openDescriptors() {
  const fs::directory_iterator all("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

}  // namespace moxsupply::testing
